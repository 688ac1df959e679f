// What happens to a service, as its host learns of it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "capture_host/answers.h"
#include "capture_host/exit_status.h"

namespace capture_host {

// How a service ended.
struct ServiceEnd {
  std::uint32_t exit_status = 0;
  ExitMeaning meaning;                   // of the status
  bool asked_to_end = false;             // by RequestEnd or Close
  bool killed = false;                   // it did not end by itself; the status is then 1
  std::string fault;                     // what was wrong with what it sent; empty for nothing
  std::chrono::milliseconds ran_for{0};  // since it had connected
};

// Something that the service said, or its end.
struct Event {
  std::string text;               // the message as it came; empty for the end
  Answer answer;                  // the same read into a structure
  std::optional<ServiceEnd> end;  // set for the end, after which nothing comes
  std::size_t lost_lines = 0;     // log lines left out before this event, see NextEvent
};

}  // namespace capture_host
