// The clock that pictures, sound and packets of all sessions share.
#pragma once

#include <chrono>
#include <cstdint>

namespace open_gsdk {

// Now, in nanoseconds on the steady clock.
inline std::int64_t SteadyNowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

inline std::chrono::steady_clock::time_point SteadyPoint(std::int64_t time_ns) {
  return std::chrono::steady_clock::time_point(
      std::chrono::duration_cast<std::chrono::steady_clock::duration>(
          std::chrono::nanoseconds(time_ns)));
}

}  // namespace open_gsdk
