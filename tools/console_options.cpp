#include "tools/console_options.h"

#include <map>

namespace host_tools {
namespace {

using capture_host::RecorderSettings;
using capture_host::RecordingMode;

std::int32_t ModeNumber(RecordingMode mode) { return static_cast<std::int32_t>(mode); }

void AddCommonOptions(CLI::App& app, ConsoleOptions& options) {
  app.add_option("--service", options.service,
                 "Path of CaptureService.exe; by default it is beside this program");
  app.add_option("--library", options.library,
                 "Capture library to use instead of the gsdk.dll beside the service");
  app.add_option("--journal", options.journal,
                 "File to append every message to, one JSON object a line; report packs it");
  app.add_flag("--json", options.json,
               "Print JSON for scripts; doctor and report print one object");
  app.add_option("--progress", options.progress, "How to show progress")
      ->check(CLI::IsMember({"auto", "line", "plain"}))
      ->capture_default_str();
}

void AddRecordingOptions(CLI::App& command, ConsoleOptions& options) {
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

}  // namespace

void AddCommands(CLI::App& app, ConsoleOptions& options) {
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

  CLI::App* const report =
      app.add_subcommand("report", "Pack doctor, journal and local reports into a ZIP for support");
  report->add_option("zip", options.report, "The ZIP to write, a new file")->required();
}

}  // namespace host_tools
