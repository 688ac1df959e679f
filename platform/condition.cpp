#include "platform/condition.h"

#include <windows.h>

#include <algorithm>

namespace platform {
namespace {

// Both are one pointer, null at first, so that the header needs no Windows.
static_assert(sizeof(SRWLOCK) == sizeof(void*) && sizeof(CONDITION_VARIABLE) == sizeof(void*));

SRWLOCK* Lock(void*& pointer) { return reinterpret_cast<SRWLOCK*>(&pointer); }

CONDITION_VARIABLE* Variable(void*& pointer) {
  return reinterpret_cast<CONDITION_VARIABLE*>(&pointer);
}

}  // namespace

void Mutex::lock() { AcquireSRWLockExclusive(Lock(lock_)); }

void Mutex::unlock() { ReleaseSRWLockExclusive(Lock(lock_)); }

void ConditionVariable::notify_one() { WakeConditionVariable(Variable(variable_)); }

void ConditionVariable::notify_all() { WakeAllConditionVariable(Variable(variable_)); }

void ConditionVariable::wait(std::unique_lock<Mutex>& lock) {
  SleepConditionVariableSRW(Variable(variable_), Lock(lock.mutex()->lock_), INFINITE, 0);
}

void ConditionVariable::wait_until(std::unique_lock<Mutex>& lock,
                                   std::chrono::steady_clock::time_point deadline) {
  using std::chrono::milliseconds;
  const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
  // INFINITE itself would be no time-out.
  const milliseconds wait = std::clamp(left, milliseconds(0), milliseconds(INFINITE - 1));
  SleepConditionVariableSRW(Variable(variable_), Lock(lock.mutex()->lock_),
                            static_cast<DWORD>(wait.count()), 0);
}

}  // namespace platform
