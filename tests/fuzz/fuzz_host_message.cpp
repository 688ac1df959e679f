// Any bytes that a host may put into a frame, through the real main loop: whatever they are, the
// service reads them without a fault, queues at most what one message can ask for, answers a clip
// request once, and stops only for a "die".
#include <cstddef>
#include <cstdint>
#include <json11.hpp>
#include <optional>
#include <string>
#include <vector>

#include "protocol/host_message.h"
#include "protocol/message_queue.h"
#include "service/stop.h"
#include "tests/fuzz/fuzz_service.h"

namespace {

using namespace capture_service;
using fuzz::Require;
using json11::Json;

std::string ClipAnswer(const std::string& id) {
  return Json(Json::object{{"clip", Json::object{{"id", id},
                                                 {"succeeded", false},
                                                 {"error", "recorder not initialized"}}}})
      .dump();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxMessageBytes) return -1;
  const std::string body(data, data + size);
  // As the pipe reader hands it on, which cuts it at its first zero byte.
  const std::string text = MakePipeMessage(Direction::kInbound, body)->text.data();

  const std::optional<HostMessage> message = ReadHostMessage(text);
  const bool clip = message && message->clip;
  // An id that does not fit its answer ends the service by contract.
  const std::string answer = clip ? ClipAnswer(message->clip->id) : "";
  if (answer.size() > kMaxMessageBytes) return -1;
  const bool event = message && message->event;
  const bool dies = event && message->event->action == HostEvent::Action::kDie;
  const bool queues = event && !dies && message->event->action != HostEvent::Action::kNone;
  const int settings = message && message->settings ? 1 : 0;

  fuzz::ResetService();
  const std::uint32_t status = fuzz::RunMainLoopOn({text, R"({"event": {"die": 77}})"});
  Require(status == (dies ? static_cast<std::uint32_t>(message->event->exit_code) : 77U));
  Require(StopFlag);
  // The last command is the one that wakes the worker.
  Require(fuzz::TakeCommands() == settings + (queues ? 1 : 0) + 1);
  if (clip) {
    // The main loop may have ended before the clip thread answered.
    std::vector<std::string> answers = fuzz::TextsToHost(fuzz::TakeStory());
    if (answers.empty()) answers = {fuzz::AwaitTextToHost()};
    Require(answers == std::vector<std::string>{answer});
  }
  fuzz::RequireNothingLeft();
  return 0;
}
