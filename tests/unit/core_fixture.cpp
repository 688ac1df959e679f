#include "tests/unit/core_fixture.h"

#include <memory>
#include <mutex>

#include "diagnostics/error_reporting.h"
#include "gsdk/capture_library.h"
#include "protocol/command_queue.h"
#include "recording/packet_watchdog.h"
#include "recording/session_state.h"
#include "recording/worker_stop.h"
#include "service/stop.h"

namespace core_test {

using namespace capture_service;

void CoreTest::SetUp() {
  CollectMessages(true);
  Fake().Reset();
  ResetSentry();
  ResetWindows();
  InstallCaptureLibrary(FakeLibrary::MakeTable());

  CurrentRecorderSettings() = {};
  StopFlag = false;
  ErrorReportingEnabled = false;
  {
    PacketWatch& watch = Watch();
    const std::lock_guard lock(watch.mutex);
    watch.packet_seen = false;
    watch.stop = false;
    watch.restart_counter = 0;
  }
  {
    SessionState& session = Session();
    const std::lock_guard lock(session.mutex);
    session.stop = false;
  }
  TakeCommandTypes();
  TakeRecorded();
}

void CoreTest::TearDown() {
  CollectMessages(true);
  StopWorkers();
  SessionState& session = Session();
  {
    const std::lock_guard lock(session.mutex);
    session.session = nullptr;
    session.audio_inputs = {};
  }
  if (gsdk_recorder* const recorder = session.recorder.exchange(nullptr)) {
    Library().gsdk_recorder_destroy(recorder);
  }

  std::vector<std::string> live = Fake().LiveObjects();
  std::erase_if(live, [](const std::string& name) { return name.starts_with("input"); });
  EXPECT_EQ(live, expected_live_objects);
  EXPECT_EQ(Fake().LivePackets(), 0);
  EXPECT_EQ(LiveSentryValues(), 0U);
}

RecorderSettings CompleteSettings() {
  return {.audio_samplerate = 48000,
          .audio_bitrate = 128000,
          .video_fps = 60,
          .encoding_crf = 23,
          .video_max_height = 1080,
          .video_max_width = 1920,
          .record_length = 30,
          .recording_mode = 3,
          .game_pid = 4711,
          .game_hwnd = 132456,
          .logging_level = 1,
          .capture_cursor = true,
          .audio_game = "Speakers",
          .audio_chat = "Headset",
          .audio_input = "Microphone"};
}

std::vector<int> TakeCommandTypes() {
  constexpr auto kEnd = static_cast<CommandType>(0xE0DU);
  PushCommand(std::make_unique<Command>(Command{.type = kEnd, .settings = {}}));
  std::vector<int> types;
  for (;;) {
    const std::unique_ptr<Command> command = PopCommand();
    if (command->type == kEnd) return types;
    types.push_back(static_cast<int>(command->type));
  }
}

void GiveSessionARecorder() { Session().recorder = Library().gsdk_recorder_create(nullptr); }

}  // namespace core_test
