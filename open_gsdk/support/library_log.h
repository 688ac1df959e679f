// The library's own log lines, given to the callback that gsdk_logging_set_callback registered.
#pragma once

#include <cstdint>
#include <string>

#include "gsdk/gsdk_api.h"

namespace open_gsdk {

// A line is given out when its number is not above the global level.
enum class LogLevel : std::int32_t { kError = 0, kWarning = 1, kInfo = 2 };

// Any thread. Null ends the logging.
void SetLogCallback(gsdk_log_callback callback);
void SetLogLevel(std::int32_t level);

// Sends FFmpeg's error lines this way, as warnings, and keeps all of its lines off the standard
// error stream.
void TakeFfmpegLines();

// While it exists, FFmpeg's error lines of its thread are kept here instead of being logged. One at
// a time for each thread.
class FfmpegLines {
 public:
  FfmpegLines();
  ~FfmpegLines();
  FfmpegLines(const FfmpegLines&) = delete;
  FfmpegLines& operator=(const FfmpegLines&) = delete;

  // The lines so far, with ", " between them.
  [[nodiscard]] const std::string& text() const { return text_; }

  void Add(const std::string& line);

 private:
  std::string text_;
};

// Any thread; no lock is held while the callback runs.
void Log(LogLevel level, const std::string& text);

}  // namespace open_gsdk
