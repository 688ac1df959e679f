// What happens while the console waits, in one queue, so that a command is a plain loop.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

namespace host_tools {

struct Event {
  enum class Kind {
    kMessage,      // the service sent `text`
    kClosed,       // the service closed its end of the pipe
    kLine,         // the user typed `text`
    kEndOfInput,   // the user will type no more
    kInterrupted,  // Ctrl+C, or the console is closing
  };
  Kind kind;
  std::string text;
};

// Any thread may push; one thread takes.
class Inbox {
 public:
  using Clock = std::chrono::steady_clock;

  void Push(Event event) {
    {
      const std::lock_guard lock(mutex_);
      events_.push_back(std::move(event));
    }
    arrived_.notify_one();
  }

  // The oldest event, as soon as there is one; none when `deadline` passes first.
  std::optional<Event> TakeUntil(Clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_until(lock, deadline, [this] { return !events_.empty(); })) {
      return std::nullopt;
    }
    Event event = std::move(events_.front());
    events_.pop_front();
    return event;
  }

  // The oldest event, however long it takes to come.
  Event Take() {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this] { return !events_.empty(); });
    Event event = std::move(events_.front());
    events_.pop_front();
    return event;
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<Event> events_;
};

}  // namespace host_tools
