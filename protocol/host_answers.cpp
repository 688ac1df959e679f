#include "protocol/host_answers.h"

#include <json11.hpp>

#include "protocol/json_flag.h"
#include "protocol/message_queue.h"

namespace capture_service {
namespace {

using json11::Json;

void SendClipAnswer(const Json::object& clip) {
  const Json message = Json::object{{"clip", clip}};
  PushMessage(MakePipeMessage(Direction::kOutbound, message.dump()));
}

std::int32_t Milliseconds(std::int64_t nanoseconds) {
  return static_cast<std::int32_t>(nanoseconds / 1'000'000);
}

}  // namespace

void SendClipResult(const std::string& id, std::int64_t duration, std::int64_t last_timestamp,
                    std::int64_t audio_drop, std::int64_t video_drop, bool captured_from_hdr) {
  SendClipAnswer({{"id", id},
                  {"succeeded", JsonFlag(true)},
                  {"duration", Milliseconds(duration)},
                  {"last_ts", std::to_string(last_timestamp)},
                  {"audio_drop", Milliseconds(audio_drop)},
                  {"video_drop", Milliseconds(video_drop)},
                  {"captured_from_hdr", JsonFlag(captured_from_hdr)}});
}

void SendClipFailure(const std::string& id, const std::string& error) {
  SendClipAnswer({{"id", id}, {"succeeded", JsonFlag(false)}, {"error", error}});
}

}  // namespace capture_service
