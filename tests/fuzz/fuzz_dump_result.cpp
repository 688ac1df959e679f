// Any record and path that a dump may have, through the real main loop and clip thread: the host is
// answered once, with the figures or the text that belongs to the status.
//
// An input is the 56 bytes of the record, then the path.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <json11.hpp>
#include <string>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "protocol/message_queue.h"
#include "recording/clip_dump.h"
#include "tests/fakes/fake_library.h"
#include "tests/fakes/fake_windows.h"
#include "tests/fuzz/fuzz_service.h"

namespace {

using namespace capture_service;
using fuzz::Require;
using json11::Json;

Json Milliseconds(std::int64_t nanoseconds) {
  return static_cast<std::int32_t>(nanoseconds / 1'000'000);
}

Json ExpectedAnswer(const gsdk_dump_result& dump, const std::string& path) {
  Json::object clip = {{"id", "7"}, {"succeeded", dump.status == 0}};
  if (dump.status == 0) {
    clip["duration"] = Milliseconds(dump.duration);
    clip["last_ts"] = std::to_string(dump.last_timestamp);
    clip["audio_drop"] = Milliseconds(dump.audio_drop);
    clip["video_drop"] = Milliseconds(dump.video_drop);
    clip["captured_from_hdr"] = dump.captured_from_hdr != 0;
  } else {
    clip["error"] = DumpErrorText(dump.status, path);
  }
  return Json::object{{"clip", clip}};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  gsdk_dump_result dump{};
  if (size < sizeof(dump)) return -1;
  std::memcpy(&dump, data, sizeof(dump));
  // As the main loop hands it on, whose texts end at their first zero byte.
  const std::string path = std::string(data + sizeof(dump), data + size).c_str();
  const std::string request =
      Json(Json::object{{"clip", Json::object{{"filepath", path}, {"id", "7"}}}}).dump();
  const std::string answer = ExpectedAnswer(dump, path).dump();
  if (request.size() > kMaxMessageBytes || answer.size() > kMaxMessageBytes) return -1;

  fuzz::ResetService();
  fuzz::GiveRecorder();
  core_test::Fake().SetDumpResult(dump);
  // The answer cannot be written, which ends the main loop.
  core_test::Windows().frames_before_failure = 0;
  Require(fuzz::RunMainLoopOn({request}) == 0);
  const std::vector<std::string> story = fuzz::TakeStory();
  Require(fuzz::TextsToHost(story) == std::vector<std::string>{answer});
  bool removed = false;
  for (const std::string& line : story) {
    if (line.starts_with("RemoveFile ")) removed = line == "RemoveFile " + Json(path).dump();
  }
  Require(removed == (dump.status != 0));
  fuzz::RequireNothingLeft();
  return 0;
}
