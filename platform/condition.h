// The mutex and the condition variable of what is passed from thread to thread all the time.
//
// mingw's std::condition_variable is made of semaphores and critical sections, so that a wait and
// its wake-up take several calls of the system each; Windows's own condition variables, which other
// toolchains use anyway, take one. The names are those of the standard library.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace platform {

#ifdef __MINGW32__

// An SRWLOCK. Not recursive; unlocked by the thread that locked it.
class Mutex {
 public:
  Mutex() = default;
  ~Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock();
  void unlock();

 private:
  friend class ConditionVariable;
  void* lock_ = nullptr;
};

// A CONDITION_VARIABLE.
class ConditionVariable {
 public:
  ConditionVariable() = default;
  ~ConditionVariable() = default;
  ConditionVariable(const ConditionVariable&) = delete;
  ConditionVariable& operator=(const ConditionVariable&) = delete;

  void notify_one();
  void notify_all();

  // Both may wake up without a reason, and the second early.
  void wait(std::unique_lock<Mutex>& lock);
  void wait_until(std::unique_lock<Mutex>& lock, std::chrono::steady_clock::time_point deadline);

  template <typename Condition>
  void wait(std::unique_lock<Mutex>& lock, Condition condition) {
    while (!condition()) wait(lock);
  }

 private:
  void* variable_ = nullptr;
};

#else

using Mutex = std::mutex;
using ConditionVariable = std::condition_variable;

#endif

}  // namespace platform
