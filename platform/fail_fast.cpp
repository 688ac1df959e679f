#include "platform/fail_fast.h"

#include <windows.h>

#include <exception>

#ifdef _MSC_VER
#include <intrin.h>
#endif

namespace platform {

void FailFast() noexcept {
#ifdef _MSC_VER
  __fastfail(FAST_FAIL_INVALID_ARG);
#else
  // The fast-fail interrupt takes its code in ecx.
  __asm__ volatile("int $0x29" : : "c"(FAST_FAIL_INVALID_ARG));
  __builtin_unreachable();
#endif
}

void FailFastOnUncaughtExceptions() noexcept { std::set_terminate(FailFast); }

}  // namespace platform
