// A whole host: records a game and saves a clip of its last seconds.
//   minimal_host CaptureService.exe GAME_PROCESS_ID CLIP.mp4
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "capture_host/service.h"

using namespace std::chrono_literals;

namespace {

int Fail(const std::string& text) {
  std::fprintf(stderr, "%s\n", text.c_str());
  return 1;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc != 4) return Fail("Usage: minimal_host CaptureService.exe GAME_PROCESS_ID CLIP.mp4");
  capture_host::Error error;
  const auto service = capture_host::Service::Start({.program = argv[1]}, {}, error);
  if (!service) return Fail(Describe(error));

  capture_host::RecorderSettings settings = capture_host::DefaultSettings();
  settings.recording_mode = static_cast<int>(capture_host::RecordingMode::kGame);
  settings.game_pid = std::wcstol(argv[2], nullptr, 10);
  settings.record_length = 5;  // seconds
  if (const auto failure = service->Configure(settings)) return Fail(Describe(*failure));
  if (const auto failure = service->RestartRecording()) return Fail(Describe(*failure));

  // A recording begins 3 seconds after it was asked for, with a line that announces it.
  for (bool started = false; !started;) {
    const auto event = service->NextEvent(30s);
    if (!event) return Fail("The recording did not start within 30 s.");
    if (event->end) return Fail(capture_host::DescribeExit(event->end->exit_status));
    const auto* const line = std::get_if<capture_host::LogLine>(&event->answer);
    if (line != nullptr) std::printf("%s\n", line->text.c_str());
    started = line != nullptr && AnnouncesRecording(*line);
  }
  std::this_thread::sleep_for(std::chrono::seconds(settings.record_length + 1));

  using capture_host::ClipOutcome;
  const ClipOutcome clip = service->SaveClip(argv[3], 60s);
  if (clip.kind != ClipOutcome::Kind::kSaved) return Fail(clip.answer.error + ". " + clip.advice);
  std::printf("Saved %d ms.\n", clip.answer.duration_ms);
  if (const auto failure = service->RequestEnd()) return Fail(Describe(*failure));
  const auto end = service->WaitForEnd(30s);
  return end && end->exit_status == 0 ? 0 : Fail("The service did not end in good order.");
}
