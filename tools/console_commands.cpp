#include "tools/console_commands.h"

#include <windows.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <json11.hpp>
#include <optional>
#include <vector>

#include "capture_host/exit_status.h"
#include "capture_host/messages.h"
#include "platform/text_encoding.h"
#include "tools/doctor_command.h"
#include "tools/host_session.h"
#include "tools/prompt_command.h"
#include "tools/record_command.h"
#include "tools/replay_command.h"
#include "tools/report_command.h"
#include "tools/window_lookup.h"

namespace host_tools {
namespace {

using capture_host::RecorderSettings;
using capture_host::RecordingMode;
using capture_host::ServiceLaunch;
using platform::Utf8FromWide;
using platform::WideFromUtf8;

std::filesystem::path AbsolutePath(const std::string& path) {
  return std::filesystem::absolute(WideFromUtf8(path)).make_preferred();
}

std::filesystem::path OwnFolder() {
  std::wstring path(32'768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return std::filesystem::path(path).parent_path();
}

// Settings with the game's window filled in.
RecorderSettings CompleteSettings(const ConsoleOptions& options, Transcript& transcript) {
  RecorderSettings settings = options.settings;
  settings.capture_cursor = !options.hide_cursor;
  const WindowQuery& query = options.window;
  const bool named = query.hwnd || query.pid || !query.title.empty();
  if (!named) {
    // Without a window the service takes the monitor nearest to none, the primary one.
    if (settings.recording_mode == static_cast<std::int32_t>(RecordingMode::kMonitor)) {
      return settings;
    }
    throw CLI::RequiredError("--title, --pid or --hwnd");
  }
  if (query.pid && settings.recording_mode == static_cast<std::int32_t>(RecordingMode::kGame)) {
    settings.game_pid = static_cast<std::int32_t>(*query.pid);
    return settings;
  }
  const GameWindow window =
      FindGameWindow(query, std::chrono::seconds(options.window_limit_s), transcript);
  transcript.Note("The game is \"" + window.title + "\": window " + std::to_string(window.hwnd) +
                  " of process " + std::to_string(window.pid) + ".");
  settings.game_hwnd = window.hwnd;
  settings.game_pid = window.pid;
  return settings;
}

std::filesystem::path ServiceProgram(const ConsoleOptions& options) {
  return options.service.empty() ? OwnFolder() / L"CaptureService.exe"
                                 : AbsolutePath(options.service);
}

ServiceLaunch LaunchOf(const ConsoleOptions& options) {
  ServiceLaunch launch;
  launch.program = ServiceProgram(options);
  if (!std::filesystem::exists(launch.program)) {
    throw CommandFailure("There is no service " + Utf8FromWide(launch.program.wstring()) +
                         ". Name it with --service.");
  }
  if (!options.library.empty()) {
    launch.library = AbsolutePath(options.library);
  }
  return launch;
}

int Record(const ConsoleOptions& options, Transcript& transcript, Inbox& inbox) {
  const std::filesystem::path clip = AbsolutePath(options.out);
  if (!std::filesystem::is_directory(clip.parent_path())) {
    throw CommandFailure("There is no folder " + Utf8FromWide(clip.parent_path().wstring()) +
                         " for the clip. Create it first, or name another with --out.");
  }
  const RecorderSettings settings = CompleteSettings(options, transcript);
  const InterruptGuard guard(inbox);
  HostSession session(LaunchOf(options), transcript, inbox);
  RecordClip(session, inbox, transcript, settings, clip);
  return 0;
}

int Watch(const ConsoleOptions& options, Transcript& transcript, Inbox& inbox) {
  const RecorderSettings settings = CompleteSettings(options, transcript);
  std::optional<std::chrono::seconds> limit;
  if (options.watch_seconds > 0) limit = std::chrono::seconds(options.watch_seconds);
  const InterruptGuard guard(inbox);
  HostSession session(LaunchOf(options), transcript, inbox);
  const std::uint32_t status = WatchRecording(session, inbox, transcript, settings, limit);
  transcript.Note(capture_host::DescribeExit(status));
  return status == options.expected_status ? 0 : kCommandFailed;
}

int Console(const ConsoleOptions& options, Transcript& transcript, Inbox& inbox) {
  PromptOptions prompt;
  prompt.show_prompt = options.progress == "line";
  prompt.clip_folder = Utf8FromWide(AbsolutePath(options.clip_folder).wstring());
  const WindowQuery& query = options.window;
  if (query.hwnd || query.pid || !query.title.empty()) {
    prompt.at_start = {capture_host::SettingsMessage(CompleteSettings(options, transcript)),
                       capture_host::RestartMessage()};
  }
  const InterruptGuard guard(inbox);
  HostSession session(LaunchOf(options), transcript, inbox);
  return RunPrompt(session, inbox, transcript, prompt) ? 0 : kCommandFailed;
}

std::vector<Finding> Examine(const ConsoleOptions& options, Transcript& transcript) {
  ServiceLaunch launch;
  launch.program = ServiceProgram(options);
  if (!options.library.empty()) launch.library = AbsolutePath(options.library);
  return ExamineInstallation(launch, transcript);
}

int Doctor(const ConsoleOptions& options, Transcript& transcript) {
  const std::vector<Finding> findings = Examine(options, transcript);
  if (options.json) {
    std::puts(FindingsJson(findings).c_str());
  } else {
    transcript.Result(DescribeFindings(findings, options.progress == "line"));
  }
  return AllWell(findings) ? 0 : kCommandFailed;
}

int Report(const ConsoleOptions& options, Transcript& transcript) {
  SupportReport report;
  report.zip = AbsolutePath(options.report);
  if (!options.journal.empty()) report.journal = AbsolutePath(options.journal);
  CheckSupportReport(report);
  report.findings = Examine(options, transcript);
  const std::vector<std::string> members = WriteSupportReport(report);
  const std::string path = Utf8FromWide(report.zip.wstring());
  if (options.json) {
    const json11::Json summary = json11::Json::object{
        {"zip", path}, {"members", members}, {"well", AllWell(report.findings)}};
    std::puts(summary.dump().c_str());
    return 0;
  }
  for (const std::string& member : members) transcript.Result(member);
  transcript.Result(kSupportReportAdvice);
  transcript.Result(path);
  return 0;
}

int Replay(const ConsoleOptions& options, Transcript& transcript, Inbox& inbox) {
  const Journal journal = ReadJournal(AbsolutePath(options.replayed));
  const InterruptGuard guard(inbox);
  HostSession session(LaunchOf(options), transcript, inbox);
  const std::uint32_t status = ReplayJournal(session, inbox, transcript, journal);
  transcript.Note(capture_host::DescribeExit(status));
  return status == options.expected_status ? 0 : kCommandFailed;
}

}  // namespace

int RunCommand(const std::string& name, const ConsoleOptions& options, Transcript& transcript) {
  // Never destroyed: a thread that waits for typed lines may push one while the process ends.
  Inbox& inbox = *new Inbox;
  try {
    const bool converses = name != "doctor" && name != "report";
    if (converses && !options.journal.empty()) transcript.JournalTo(AbsolutePath(options.journal));
    if (name == "doctor") return Doctor(options, transcript);
    if (name == "record") return Record(options, transcript, inbox);
    if (name == "report") return Report(options, transcript);
    if (name == "replay") return Replay(options, transcript, inbox);
    if (name == "watch") return Watch(options, transcript, inbox);
    return Console(options, transcript, inbox);
  } catch (const CLI::ParseError&) {
    throw;
  } catch (const std::exception& failure) {
    transcript.Failure(failure.what());
    throw;
  }
}

}  // namespace host_tools
