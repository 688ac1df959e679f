// A failure as a value: what happened, where, and what to do about it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace capture_host {

struct Error {
  std::string what = {};    // one sentence
  std::string where = {};   // the file, pipe or Windows call that it happened at; may be empty
  std::string advice = {};  // one sentence on what to do next
  std::uint32_t windows_error = 0;                // 0 when it was none
  std::optional<std::uint32_t> exit_status = {};  // of a service that ended before it connected
};

// All of it as one line for a log or a console: "What. (where) Advice."
std::string Describe(const Error& error);

}  // namespace capture_host
