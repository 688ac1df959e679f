// How often a program allocates. A program that asks has operator new of this file's source, which
// a sanitizer's build must not: that brings one of its own.
#pragma once

#include <cstdint>

namespace core_test {

// The allocations by operator new on the calling thread so far. Any thread.
std::int64_t Allocations();

}  // namespace core_test
