// A first-in first-out queue between threads.
#pragma once

#include <deque>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/condition.h"
#include "platform/deadline.h"

namespace platform {

// Any number of threads may push and pop. Such a queue is never destroyed while a thread may still
// use it; the process-wide ones are not destroyed at all.
template <typename T>
class BlockingQueue {
 public:
  void Push(T item) {
    const std::lock_guard lock(mutex_);
    items_.push_back(std::move(item));
    not_empty_.notify_one();
  }

  // Waits, without a time-out, until there is an item.
  T Pop() {
    std::unique_lock lock(mutex_);
    not_empty_.wait(lock, [this] { return !items_.empty(); });
    return TakeFirst();
  }

  // Waits until there is an item; none when `deadline` is reached first.
  std::optional<T> PopUntil(SteadyTime deadline) {
    std::unique_lock lock(mutex_);
    if (!WaitUntil(not_empty_, lock, deadline, [this] { return !items_.empty(); })) {
      return std::nullopt;
    }
    return TakeFirst();
  }

 private:
  T TakeFirst() {
    T item = std::move(items_.front());
    items_.pop_front();
    return item;
  }

  Mutex mutex_;
  ConditionVariable not_empty_;
  std::deque<T> items_;
};

}  // namespace platform
