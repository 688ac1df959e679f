// The events that a host has not taken yet.
#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <optional>
#include <utility>
#include <variant>

#include "capture_host/events.h"

namespace capture_host {

// Not for several threads at once: its owner holds a lock over it.
class EventQueue {
 public:
  // Keeps at most `most_lines` log lines.
  explicit EventQueue(std::size_t most_lines) : most_lines_(most_lines) {}

  // When there are too many log lines, the oldest one goes, and the event after it says so.
  void Push(Event event) {
    if (IsLine(event)) ++lines_;
    events_.push_back(std::move(event));
    if (lines_ <= most_lines_) return;
    const auto oldest = std::find_if(events_.begin(), events_.end(), IsLine);
    const std::size_t lost = oldest->lost_lines + 1;
    const auto next = events_.erase(oldest);
    if (next != events_.end()) next->lost_lines += lost;
    --lines_;
  }

  // The oldest event; none when there is none.
  std::optional<Event> Take() {
    if (events_.empty()) return std::nullopt;
    Event event = std::move(events_.front());
    events_.pop_front();
    if (IsLine(event)) --lines_;
    return event;
  }

  [[nodiscard]] bool empty() const { return events_.empty(); }

 private:
  // Unknown texts count as well: a service that floods need not keep to the protocol.
  static bool IsLine(const Event& event) {
    return !event.end && !std::holds_alternative<ClipAnswer>(event.answer);
  }

  std::size_t most_lines_;
  std::size_t lines_ = 0;
  std::deque<Event> events_;
};

}  // namespace capture_host
