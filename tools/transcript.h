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

// How a transcript looks.
enum class TranscriptStyle {
  kPlain,     // lines for people
  kTerminal,  // the same with colours, and a progress line that overwrites itself
  kJson,      // one JSON object a line, for scripts: "time" in seconds, "kind", "text"
};

// All functions may be called from any thread; lines never mix.
class Transcript {
 public:
  explicit Transcript(TranscriptStyle style) : style_(style) {}

  // From now on each message is also appended to `path` as one JSON line with "direction" ("in" to
  // the service, "out" from it), "time" (seconds since the transcript was made) and "text". Throws
  // std::runtime_error when it cannot be written.
  void JournalTo(const std::filesystem::path& path);

  void Sent(std::string_view text);
  void Received(const capture_host::Event& event);
  void Note(std::string_view text);
  // A line without time or mark, for results.
  void Result(std::string_view text);
  // What went wrong at last. Not shown to people here: they get it on the standard error.
  void Failure(std::string_view text);

  // Replaces the progress line. On anything but a terminal it is printed when `milestone` is set
  // and left out otherwise.
  void Progress(std::string_view text, bool milestone);
  void EndProgress();

 private:
  // `kind` is for scripts, `mark` for people; `red` colours the line on a terminal.
  void PrintLine(const char* kind, std::string_view mark, std::string_view text, bool red = false);
  [[nodiscard]] double Elapsed() const;
  void ClearProgress();
  void Journal(std::string_view direction, std::string_view text);

  const TranscriptStyle style_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::mutex mutex_;
  std::ofstream journal_;
  std::size_t progress_length_ = 0;
};

}  // namespace host_tools
