// What the console shows: every message with its time, notes of the console itself, and a progress
// line; and a journal of the messages for programs that check them.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>

#include "capture_host/service.h"

namespace host_tools {

// All functions may be called from any thread; lines never mix.
class Transcript {
 public:
  // `animated` is for terminals: the progress line then overwrites itself.
  explicit Transcript(bool animated) : animated_(animated) {}

  // From now on each message is also appended to `path` as one JSON line with "direction" ("in" to
  // the service, "out" from it) and "text". Throws std::runtime_error when it cannot be written.
  void JournalTo(const std::filesystem::path& path);

  void Sent(std::string_view text);
  void Received(const capture_host::Event& event);
  void Note(std::string_view text);
  // A line without time or mark, for results.
  void Result(std::string_view text);

  // Replaces the progress line. On anything but a terminal it is printed when `milestone` is set
  // and left out otherwise.
  void Progress(std::string_view text, bool milestone);
  void EndProgress();

 private:
  void PrintLine(std::string_view mark, std::string_view text);
  void ClearProgress();
  void Journal(std::string_view direction, std::string_view text);

  const bool animated_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::mutex mutex_;
  std::ofstream journal_;
  std::size_t progress_length_ = 0;
};

}  // namespace host_tools
