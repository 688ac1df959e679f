// How often the benchmarks' program allocates.
#pragma once

#include <cstdint>

namespace core_bench {

// The allocations by operator new on this thread so far.
std::int64_t Allocations();

}  // namespace core_bench
