// Any bytes that a host may put into a frame: whatever they are, the service reads them without a
// fault, queues at most what one message can ask for, and stops only for a "die".
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "diagnostics/error_reporting.h"
#include "protocol/command_queue.h"
#include "protocol/host_message.h"
#include "protocol/message_queue.h"
#include "service/main_loop.h"
#include "service/stop.h"
#include "tests/fakes/fake_library.h"
#include "tests/fakes/fake_sentry_sdk.h"
#include "tests/fakes/fake_windows.h"
#include "tests/fakes/transcript.h"

namespace {

using namespace capture_service;

void Require(bool condition) {
  if (!condition) std::abort();
}

// Takes all commands off the queue; returns how many there were.
int TakeCommands() {
  constexpr auto kEnd = static_cast<CommandType>(0xE0DU);
  PushCommand(std::make_unique<Command>(Command{.type = kEnd, .settings = {}}));
  int commands = 0;
  while (PopCommand()->type != kEnd) ++commands;
  return commands;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxMessageBytes) return -1;
  const std::string body(data, data + size);
  // As the pipe reader hands it on, which cuts it at its first zero byte.
  const std::string text = MakePipeMessage(Direction::kInbound, body)->text.data();

  std::optional<HostMessage> message = ReadHostMessage(text);
  const bool event = message && message->event;
  const bool dies = event && message->event->action == HostEvent::Action::kDie;
  const bool queues = event && !dies && message->event->action != HostEvent::Action::kNone;

  StopFlag = false;
  ServiceState state;
  // The queue of clip requests has no end but the clip thread, so no clip is handed to it.
  if (!message || !message->clip) {
    HandleInboundMessage(text, state);
    Require(StopFlag == dies);
    Require(state.exit_code == (dies ? static_cast<std::uint32_t>(message->event->exit_code) : 0U));
    const int settings = message && message->settings ? 1 : 0;
    Require(TakeCommands() == settings + (queues || dies ? 1 : 0));
  }
  core_test::TakeRecorded();
  Require(core_test::LiveSentryValues() == 0);
  return 0;
}
