// Plays the host application at a console: starts the service, talks to it over its pipe and shows
// every message. See --help.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "capture_host/exit_status.h"
#include "capture_host/messages.h"
#include "platform/text_encoding.h"
#include "tools/doctor_command.h"
#include "tools/host_session.h"
#include "tools/prompt_command.h"
#include "tools/record_command.h"
#include "tools/replay_command.h"
#include "tools/window_lookup.h"

namespace host_tools {
namespace {

using capture_host::RecorderSettings;
using capture_host::RecordingMode;
using capture_host::ServiceLaunch;
using platform::Utf8FromWide;
using platform::WideFromUtf8;

constexpr int kFailed = 1;
constexpr int kMisused = 2;

std::int32_t ModeNumber(RecordingMode mode) { return static_cast<std::int32_t>(mode); }

struct Options {
  std::string service;
  std::string library;
  std::string journal;
  std::string progress = "auto";

  RecorderSettings settings = capture_host::DefaultSettings();
  WindowQuery window;
  int window_limit_s = 10;
  bool hide_cursor = false;

  std::string out;
  int watch_seconds = 0;  // 0: until the service ends
  std::uint32_t expected_status = 0;
  std::string clip_folder = ".";
  std::string replayed;
  bool json = false;
};

std::filesystem::path AbsolutePath(const std::string& path) {
  return std::filesystem::absolute(WideFromUtf8(path)).make_preferred();
}

std::filesystem::path OwnFolder() {
  std::wstring path(32'768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return std::filesystem::path(path).parent_path();
}

bool IsTerminal(DWORD standard_handle) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(standard_handle), &mode) != 0;
}

void AddCommonOptions(CLI::App& app, Options& options) {
  app.add_option("--service", options.service,
                 "Path of CaptureService.exe; by default it is beside this program");
  app.add_option("--library", options.library,
                 "Capture library to use instead of the gsdk.dll beside the service");
  app.add_option("--journal", options.journal,
                 "File to append every message to, one JSON object a line");
  app.add_flag("--json", options.json, "Print JSON for scripts; doctor prints one object");
  app.add_option("--progress", options.progress, "How to show progress")
      ->check(CLI::IsMember({"auto", "line", "plain"}))
      ->capture_default_str();
}

void AddRecordingOptions(CLI::App& command, Options& options) {
  static const std::map<std::string, std::int32_t> modes{
      {"monitor", ModeNumber(RecordingMode::kMonitor)},
      {"game", ModeNumber(RecordingMode::kGame)},
      {"window", ModeNumber(RecordingMode::kWindow)}};
  RecorderSettings& settings = options.settings;
  command
      .add_option("--mode", settings.recording_mode,
                  "What to record: monitor, window or game (default window)")
      ->transform(CLI::CheckedTransformer(modes));
  auto* const title =
      command.add_option("--title", options.window.title, "Title of the game's window, or a part");
  auto* const pid = command.add_option("--pid", options.window.pid, "Process of the game");
  auto* const hwnd = command.add_option("--hwnd", options.window.hwnd, "The game's window handle");
  title->excludes(pid)->excludes(hwnd);
  pid->excludes(hwnd);
  command
      .add_option("--window-wait", options.window_limit_s,
                  "Seconds to wait for the window to appear")
      ->check(CLI::Range(0, 3'600))
      ->capture_default_str();
  command.add_option("--seconds", settings.record_length, "Length of the replay buffer")
      ->check(CLI::Range(1, 3'600))
      ->capture_default_str();
  command.add_option("--fps", settings.video_fps, "Frames a second")
      ->check(CLI::Range(1, 240))
      ->capture_default_str();
  command.add_option("--crf", settings.encoding_crf, "Quality, 1 (best) to 51")
      ->check(CLI::Range(1, 51))
      ->capture_default_str();
  command.add_option("--max-width", settings.video_max_width, "Largest width in pixels")
      ->check(CLI::Range(2, 16'384))
      ->capture_default_str();
  command.add_option("--max-height", settings.video_max_height, "Largest height in pixels")
      ->check(CLI::Range(2, 16'384))
      ->capture_default_str();
  command.add_flag("--no-cursor", options.hide_cursor, "Leave the mouse cursor out");
  command.add_option("--samplerate", settings.audio_samplerate, "Audio samples a second")
      ->capture_default_str();
  command.add_option("--audio-bitrate", settings.audio_bitrate, "Audio bits a second")
      ->capture_default_str();
  command.add_option("--audio-game", settings.audio_game, "Game-audio device, or none")
      ->capture_default_str();
  command.add_option("--audio-chat", settings.audio_chat, "Chat-audio device, or none")
      ->capture_default_str();
  command.add_option("--audio-input", settings.audio_input, "Microphone, or none")
      ->capture_default_str();
  command.add_option("--log-level", settings.logging_level, "Log level of the capture library")
      ->check(CLI::Range(1, 10))
      ->capture_default_str();
}

// Settings with the game's window filled in.
RecorderSettings CompleteSettings(const Options& options, Transcript& transcript) {
  RecorderSettings settings = options.settings;
  settings.capture_cursor = !options.hide_cursor;
  const WindowQuery& query = options.window;
  const bool named = query.hwnd || query.pid || !query.title.empty();
  if (!named) {
    // Without a window the service takes the monitor nearest to none, the primary one.
    if (settings.recording_mode == ModeNumber(RecordingMode::kMonitor)) return settings;
    throw CLI::RequiredError("--title, --pid or --hwnd");
  }
  if (query.pid && settings.recording_mode == ModeNumber(RecordingMode::kGame)) {
    settings.game_pid = static_cast<std::int32_t>(*query.pid);
    return settings;
  }
  const GameWindow window = FindGameWindow(query, std::chrono::seconds(options.window_limit_s));
  transcript.Note("The game is \"" + window.title + "\": window " + std::to_string(window.hwnd) +
                  " of process " + std::to_string(window.pid) + ".");
  settings.game_hwnd = window.hwnd;
  settings.game_pid = window.pid;
  return settings;
}

std::filesystem::path ServiceProgram(const Options& options) {
  return options.service.empty() ? OwnFolder() / L"CaptureService.exe"
                                 : AbsolutePath(options.service);
}

ServiceLaunch LaunchOf(const Options& options) {
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

int Record(const Options& options, Transcript& transcript, Inbox& inbox) {
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

int Watch(const Options& options, Transcript& transcript, Inbox& inbox) {
  const RecorderSettings settings = CompleteSettings(options, transcript);
  std::optional<std::chrono::seconds> limit;
  if (options.watch_seconds > 0) limit = std::chrono::seconds(options.watch_seconds);
  const InterruptGuard guard(inbox);
  HostSession session(LaunchOf(options), transcript, inbox);
  const std::uint32_t status = WatchRecording(session, inbox, settings, limit);
  transcript.Note(capture_host::DescribeExit(status));
  return status == options.expected_status ? 0 : kFailed;
}

int Console(const Options& options, Transcript& transcript, Inbox& inbox) {
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
  return RunPrompt(session, inbox, transcript, prompt) ? 0 : kFailed;
}

int Doctor(const Options& options, Transcript& transcript) {
  ServiceLaunch launch;
  launch.program = ServiceProgram(options);
  if (!options.library.empty()) launch.library = AbsolutePath(options.library);
  const std::vector<Finding> findings = ExamineInstallation(launch, transcript);
  if (options.json) {
    std::puts(FindingsJson(findings).c_str());
  } else {
    transcript.Result(DescribeFindings(findings, options.progress == "line"));
  }
  return AllWell(findings) ? 0 : kFailed;
}

int Replay(const Options& options, Transcript& transcript, Inbox& inbox) {
  const Journal journal = ReadJournal(AbsolutePath(options.replayed));
  const InterruptGuard guard(inbox);
  HostSession session(LaunchOf(options), transcript, inbox);
  const std::uint32_t status = ReplayJournal(session, inbox, transcript, journal);
  transcript.Note(capture_host::DescribeExit(status));
  return status == options.expected_status ? 0 : kFailed;
}

TranscriptStyle StyleOf(const Options& options) {
  if (options.json) return TranscriptStyle::kJson;
  return options.progress == "line" ? TranscriptStyle::kTerminal : TranscriptStyle::kPlain;
}

// The chosen command, with what it throws shown. Ends with the exit status.
int RunCommand(const CLI::App& command, const Options& options, Transcript& transcript) {
  // Never destroyed: a thread that waits for typed lines may push one while the process ends.
  Inbox& inbox = *new Inbox;
  const std::string& name = command.get_name();
  try {
    if (name == "doctor") return Doctor(options, transcript);
    if (name == "record") return Record(options, transcript, inbox);
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

int Main(const std::vector<std::string>& arguments) {
  CLI::App app{
      "Plays the host application: starts CaptureService, sends it messages over its pipe and\n"
      "shows every message with the seconds since the start. Exit status 0 means success,\n"
      "1 that something failed, 2 that the command line is wrong."};
  app.name("host_console");
  app.set_version_flag("--version", "host_console " PROJECT_VERSION);
  app.require_subcommand(1);
  app.fallthrough();
  Options options;
  AddCommonOptions(app, options);

  CLI::App* const record =
      app.add_subcommand("record", "Record a window, a game or a monitor and save one clip");
  AddRecordingOptions(*record, options);
  record->add_option("--out", options.out, "The clip to write, an .mp4 file")->required();

  CLI::App* const watch =
      app.add_subcommand("watch", "Start a recording and show what the service says until it ends");
  AddRecordingOptions(*watch, options);
  watch->add_option("--for", options.watch_seconds,
                    "Tell the service to end after this many seconds");
  watch
      ->add_option("--expect-status", options.expected_status,
                   "Exit status of the service that counts as success")
      ->capture_default_str();

  CLI::App* const console = app.add_subcommand(
      "console", "A prompt for sending messages; with a window named, a recording starts at once");
  AddRecordingOptions(*console, options);
  console->add_option("--clips", options.clip_folder, "Folder for clips without a path")
      ->capture_default_str();

  app.add_subcommand("doctor", "Look over the installation and say what is wrong with it");

  CLI::App* const replay =
      app.add_subcommand("replay", "Send the messages of a journal again, at their times");
  replay->add_option("journal", options.replayed, "File that --journal wrote")->required();
  replay
      ->add_option("--expect-status", options.expected_status,
                   "Exit status of the service that counts as success")
      ->capture_default_str();

  try {
    // CLI11 takes the words in reverse order.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    if (options.progress == "auto") {
      options.progress = IsTerminal(STD_OUTPUT_HANDLE) ? "line" : "plain";
    }
    Transcript transcript(StyleOf(options));
    if (!options.journal.empty()) transcript.JournalTo(AbsolutePath(options.journal));
    return RunCommand(*app.get_subcommands().front(), options, transcript);
  } catch (const CLI::ParseError& mistake) {
    return app.exit(mistake) == 0 ? 0 : kMisused;
  } catch (const std::exception& failure) {
    std::cerr << "host_console: " << failure.what() << std::endl;
  }
  return kFailed;
}

}  // namespace
}  // namespace host_tools

int wmain(int argc, wchar_t** argv) {
  SetConsoleOutputCP(CP_UTF8);
  SetConsoleCP(CP_UTF8);
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(platform::Utf8FromWide(argv[i]));
  return host_tools::Main(arguments);
}
