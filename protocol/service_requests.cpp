#include "protocol/service_requests.h"

#include <json11.hpp>

#include "protocol/json_flag.h"
#include "protocol/message_queue.h"

namespace capture_service {
namespace {

using json11::Json;

void PostEvent(const Json::object& event) {
  const Json message = Json::object{{"event", event}};
  PushMessage(MakePipeMessage(Direction::kInbound, message.dump()));
}

}  // namespace

void PostRestartEvent() { PostEvent({{"restart", JsonFlag(true)}}); }

void PostDieEvent(std::uint32_t code) { PostEvent({{"die", static_cast<std::int32_t>(code)}}); }

void PostDieEvent(ErrorCode failure) {
  PostDieEvent(static_cast<std::uint32_t>(ErrorNumber(failure)));
}

}  // namespace capture_service
