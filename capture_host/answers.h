// The messages that the service sends, read into structures. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace capture_host {

// The answer to a clip request. The figures are those of a clip that was written.
struct ClipAnswer {
  std::string id = {};
  bool succeeded = false;
  std::int32_t duration_ms = 0;
  std::int64_t last_timestamp_ns = 0;
  std::int32_t audio_drop_ms = 0;
  std::int32_t video_drop_ms = 0;
  bool captured_from_hdr = false;
  std::string error = {};  // why it was not written
};

// A line for the host's log, good news too.
struct LogLine {
  std::string text;
};

// A text that is neither: not one of the service's messages. Hosts leave it alone.
struct UnknownAnswer {};

using Answer = std::variant<UnknownAnswer, LogLine, ClipAnswer>;

// Reads one message. A clip answer needs an id that is a text and a flag that says whether the clip
// was written; a figure that is missing or of another type is 0.
Answer ReadAnswer(const std::string& text);

// Whether the line reports a failure.
bool IsFailure(const LogLine& line);

// Whether the line announces what a session start captures: the first sign that a recording is
// about to run.
bool AnnouncesRecording(const LogLine& line);

}  // namespace capture_host
