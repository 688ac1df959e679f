#include "capture_host/answers.h"

#include <charconv>
#include <json11.hpp>

namespace capture_host {
namespace {

using json11::Json;

std::int64_t ReadInt64(const std::string& text) {
  std::int64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

ClipAnswer ReadClip(const Json& clip) {
  ClipAnswer answer;
  answer.id = clip["id"].string_value();
  answer.succeeded = clip["succeeded"].bool_value();
  answer.duration_ms = clip["duration"].int_value();
  answer.last_timestamp_ns = ReadInt64(clip["last_ts"].string_value());
  answer.audio_drop_ms = clip["audio_drop"].int_value();
  answer.video_drop_ms = clip["video_drop"].int_value();
  answer.captured_from_hdr = clip["captured_from_hdr"].bool_value();
  answer.error = clip["error"].string_value();
  return answer;
}

}  // namespace

Answer ReadAnswer(const std::string& text) {
  std::string parse_error;
  const Json message = Json::parse(text, parse_error);
  if (const Json& clip = message["clip"]; clip["id"].is_string() && clip["succeeded"].is_bool()) {
    return ReadClip(clip);
  }
  if (const Json& line = message["error"]; line.is_string()) return LogLine{line.string_value()};
  return UnknownAnswer{};
}

bool IsFailure(const LogLine& line) { return line.text.starts_with("[Glimra error]: "); }

bool AnnouncesRecording(const LogLine& line) { return line.text.starts_with("capture settings: "); }

}  // namespace capture_host
