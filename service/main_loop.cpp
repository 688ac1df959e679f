#include "service/main_loop.h"

#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "diagnostics/error_reporting.h"
#include "protocol/command_queue.h"
#include "protocol/host_message.h"
#include "protocol/message_queue.h"
#include "recording/clip_dump.h"
#include "service/stop.h"

namespace capture_service {
namespace {

void StartErrorReporting(const ReportingSettings& settings, const ServiceState& state) {
  ErrorReportingEnabled = InitErrorReporting(settings.environment);
  if (!ErrorReportingEnabled) return;

  SetReportUser(settings.user_id);
  const std::map<std::string, std::string> tags = {
      {"GLIMRA_GAME_ID", settings.game_id},    {"GLIMRA_GAME_EXE", settings.game_exe},
      {"GUID", settings.daskel_guid},          {"DaskelVersion", settings.daskel_version},
      {"BETA_ENABLED", settings.beta_enabled}, {"GsdkVersion", state.capture_library_version},
  };
  for (const auto& [name, value] : tags) SetReportTag(name, value);
}

// Its members have initializers, so that it need not be zeroed first.
std::unique_ptr<Command> NewCommand(CommandType type) {
  auto command = std::make_unique_for_overwrite<Command>();
  command->type = type;
  return command;
}

void QueueSettings(RecorderSettings settings) {
  std::unique_ptr<Command> command = NewCommand(CommandType::kUpdateSettings);
  command->settings = std::move(settings);
  PushCommand(std::move(command));
}

void HandleEvent(const HostEvent& event, ServiceState& state) {
  switch (event.action) {
    case HostEvent::Action::kDie:
      state.exit_code = static_cast<std::uint32_t>(event.exit_code);
      RequestStop();
      break;
    case HostEvent::Action::kRestart:
      PushCommand(NewCommand(CommandType::kRestart));
      break;
    case HostEvent::Action::kChangeAudio:
      PushCommand(NewCommand(CommandType::kChangeAudio));
      break;
    case HostEvent::Action::kNone:
      break;
  }
}

}  // namespace

void RunMainLoop(PipeHandle pipe, ServiceState& state) {
  std::string text;  // of the message from the host; keeps its memory for the next
  while (!StopFlag) {
    const std::unique_ptr<PipeMessage> message = PopMessage();
    switch (message->direction) {
      case Direction::kInbound:
        text = message->text.data();
        HandleInboundMessage(text, state);
        break;
      case Direction::kOutbound:
        if (!WriteFrame(pipe, message->text.data())) RequestStop();
        break;
    }
  }
}

void HandleInboundMessage(const std::string& text, ServiceState& state) {
  std::optional<HostMessage> message = ReadHostMessage(text);
  if (!message) return;
  if (message->reporting) StartErrorReporting(*message->reporting, state);
  if (message->clip) EnqueueClipRequest(*std::move(message->clip));
  if (message->settings) QueueSettings(*std::move(message->settings));
  if (message->event) HandleEvent(*message->event, state);
}

}  // namespace capture_service
