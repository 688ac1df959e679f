// Window handles as the host names them.
#pragma once

#include <windows.h>

#include <cstdint>

namespace platform {

// Window handles have 32 significant bits, so the host sends them as 32-bit numbers.
inline HWND WindowFromNumber(std::uint32_t number) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how Windows defines a shared handle.
  return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(number));
}

inline std::uint32_t WindowNumber(HWND window) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(window));
}

}  // namespace platform
