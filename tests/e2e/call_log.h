// Reads the log of the scripted capture library (tests/doubles/gsdk_double_log.h).
#pragma once

#include <cstdint>
#include <filesystem>
#include <json11.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace e2e {

// The JSON lines of a log file; a last line that is still being written is left out.
std::vector<json11::Json> ReadJsonLines(const std::filesystem::path& path);

class CallLog {
 public:
  explicit CallLog(const std::filesystem::path& path) : lines_(ReadJsonLines(path)) {}

  // The calls in order, each as "name(argument, argument)", followed by " = true", " = false
  // error1" or the handle that it gave ("gsdk_recorder_create(properties1) = recorder1").
  std::vector<std::string> Calls() const;

  // The calls of which the name or the text up to an argument is `start`.
  std::vector<std::string> CallsThatStart(std::string_view start) const;

  // When each call of `name` came, in microseconds on the monotonic clock.
  std::vector<std::int64_t> TimesOf(std::string_view name) const;

  // How objects were not given back as often as they were made, in the last account: lines like
  // "error: 2 made, 1 given back"; one line that says so when there is no account. Empty when all
  // is well. Misuses are listed by their texts.
  std::vector<std::string> Imbalances() const;

  // "free_library", "process_end" or, when the library wasn't told, "".
  std::string Detach() const;

  // How many of `kind` ("packet", "error") were made and given back by the last account.
  std::int64_t Made(const std::string& kind) const;
  std::int64_t GivenBack(const std::string& kind) const;

  // All lines as they stand, for people.
  std::string Text() const;

  const std::vector<json11::Json>& Lines() const { return lines_; }

 private:
  json11::Json LastAccount() const;

  std::vector<json11::Json> lines_;
};

}  // namespace e2e
