// The host library and the example against the built service. Against services that misbehave it is
// tested in tests/capture_host/.
#include <fstream>
#include <sstream>

#include "capture_host/restart_policy.h"
#include "capture_host/service.h"
#include "tests/e2e/service_test.h"

namespace e2e {
namespace {

using capture_host::ClipOutcome;
using capture_host::Service;
using std::chrono::milliseconds;

class Host : public ::testing::Test {
 protected:
  // Puts a service in the folder and starts it.
  std::unique_ptr<Service> StartService(const RunOptions& options = {},
                                        const std::filesystem::path& library = {}) {
    for (const auto& [name, value] : PlaceService(options, folder_.Path())) {
      SetEnvironmentVariableW(name.c_str(), value.c_str());
    }
    return Service::Start({.program = folder_.Path() / "CaptureService.exe", .library = library},
                          {}, error_);
  }

  // The settings of Settings() as a structure.
  static capture_host::RecorderSettings TypedSettings() {
    return capture_service::ReadHostMessage(RecorderSettings(Settings()).dump())->settings.value();
  }

  // Takes lines until one announces the recording; false when none does.
  static bool AwaitRecording(Service& service) {
    while (const auto event = service.NextEvent(kLimit)) {
      const auto* const line = std::get_if<capture_host::LogLine>(&event->answer);
      if (line != nullptr && AnnouncesRecording(*line)) return true;
    }
    return false;
  }

  TemporaryFolder folder_;
  capture_host::Error error_;
};

TEST_F(Host, RecordsAndSavesClips) {
  const auto service = StartService(
      {.script = Json::object{{"dumps", Json::array{Json::object{{"write", "clip"},
                                                                 {"duration", "1999999"},
                                                                 {"last_timestamp", -5},
                                                                 {"audio_drop", 3'000'000},
                                                                 {"video_drop", 4'000'000},
                                                                 {"hdr", 1}},
                                                    Json::object{{"status", 3}}}}}});
  ASSERT_NE(service, nullptr) << Describe(error_);

  // Before there is a recording
  const std::filesystem::path file = folder_.Path() / L"\u00E4 clip.mp4";
  const ClipOutcome early = service->SaveClip(file, kLimit);
  EXPECT_EQ(early.kind, ClipOutcome::Kind::kFailed);
  EXPECT_EQ(early.answer.error, "recorder not initialized");
  EXPECT_EQ(early.advice, "Start a recording first; it begins 3 seconds after it was asked for.");

  capture_host::ReportingSettings reporting;
  reporting.user_id = "u";
  ASSERT_FALSE(service->SetUpReporting(reporting));
  ASSERT_FALSE(service->Configure(TypedSettings()));
  ASSERT_FALSE(service->RestartRecording());
  ASSERT_FALSE(service->ChangeAudio());
  ASSERT_TRUE(AwaitRecording(*service));

  ClipOutcome saved;
  do {
    saved = service->SaveClip(file, kLimit);
  } while (saved.answer.error == "recorder not initialized");
  EXPECT_EQ(saved.kind, ClipOutcome::Kind::kSaved);
  EXPECT_EQ(saved.answer.duration_ms, 1);
  EXPECT_EQ(saved.answer.last_timestamp_ns, -5);
  EXPECT_EQ(saved.answer.audio_drop_ms, 3);
  EXPECT_EQ(saved.answer.video_drop_ms, 4);
  EXPECT_TRUE(saved.answer.captured_from_hdr);
  EXPECT_EQ(saved.advice, "");
  EXPECT_TRUE(std::filesystem::exists(file));
  EXPECT_EQ(service->SaveClip(file, kLimit).kind, ClipOutcome::Kind::kFailed);

  ASSERT_FALSE(service->RequestEnd(5));
  const auto end = service->WaitForEnd(kLimit);
  ASSERT_TRUE(end);
  EXPECT_EQ(end->exit_status, 5U);
  EXPECT_TRUE(end->asked_to_end);
  EXPECT_FALSE(end->killed);
  EXPECT_EQ(end->fault, "");
  EXPECT_EQ(CallLog(folder_.Path() / "calls.jsonl").Imbalances(), Texts{});
}

TEST_F(Host, EndsAServiceByClosingThePipe) {
  const auto service = StartService();
  ASSERT_NE(service, nullptr) << Describe(error_);
  service->Close();
  const auto end = service->WaitForEnd(kLimit);
  ASSERT_TRUE(end);
  EXPECT_EQ(end->exit_status, 0U);
  EXPECT_TRUE(end->asked_to_end);
  EXPECT_FALSE(end->killed);
  const auto error = service->RestartRecording();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->what, "The service has gone.");
}

TEST_F(Host, LearnsThatTheLibraryIsMissing) {
  // The service may connect before it looks for its library.
  const auto service = StartService({.library = LibraryFile::kNone});
  if (service == nullptr) {
    EXPECT_EQ(error_.exit_status, 126U);
    EXPECT_EQ(error_.advice, "Put it beside the service.");
    return;
  }
  const auto end = service->WaitForEnd(kLimit);
  ASSERT_TRUE(end);
  EXPECT_EQ(end->exit_status, 126U);
  EXPECT_EQ(end->meaning.what, "gsdk.dll or a library that it needs is missing.");
  EXPECT_FALSE(end->asked_to_end);
}

TEST_F(Host, NamesAnotherLibrary) {
  const auto service =
      StartService({.library = LibraryFile::kNotALibrary, .other_library = L"sub\\other.dll"},
                   folder_.Path() / "sub" / "other.dll");
  ASSERT_NE(service, nullptr) << Describe(error_);
  ASSERT_FALSE(service->RequestEnd(4));
  EXPECT_EQ(service->WaitForEnd(kLimit)->exit_status, 4U);
}

TEST_F(Host, LearnsWhyARecordingDoesNotStartAndWhetherToTryAgain) {
  const auto service = StartService();
  ASSERT_NE(service, nullptr) << Describe(error_);
  capture_host::RecorderSettings settings = TypedSettings();
  settings.game_pid = 0;
  ASSERT_FALSE(service->Configure(settings));
  ASSERT_FALSE(service->RestartRecording());
  const auto end = service->WaitForEnd(kLimit);
  ASSERT_TRUE(end);
  EXPECT_EQ(end->meaning.name, "MissingGamePid");
  const capture_host::RestartDecision decision = capture_host::DecideRestart(
      {}, {.exit_status = end->exit_status, .asked_to_end = end->asked_to_end});
  EXPECT_FALSE(decision.restart);
  EXPECT_EQ(decision.reason, "Another start would end the same way. Send one of them.");
}

TEST_F(Host, TheExampleSavesAClip) {
  const Json script = Json::object{
      {"dumps", Json::array{Json::object{{"write", "clip"}, {"duration", "5000000000"}}}}};
  const std::filesystem::path file = folder_.Path() / "clip.mp4";
  const ChildProcess example({.program = ProgramFolder() / "minimal_host.exe",
                              .arguments = {(folder_.Path() / "CaptureService.exe").wstring(),
                                            std::to_wstring(GetCurrentProcessId()), file.wstring()},
                              .variables = PlaceService({.script = script}, folder_.Path())});
  EXPECT_EQ(example.WaitForExit(kLimit), 0U);
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  EXPECT_EQ(text.str(), "clip");
  EXPECT_EQ(CallLog(folder_.Path() / "calls.jsonl").Imbalances(), Texts{});
}

TEST_F(Host, TheExampleFailsWithoutAGame) {
  const ChildProcess example({.program = ProgramFolder() / "minimal_host.exe",
                              .arguments = {(folder_.Path() / "CaptureService.exe").wstring(), L"0",
                                            (folder_.Path() / "clip.mp4").wstring()},
                              .variables = PlaceService({}, folder_.Path())});
  EXPECT_EQ(example.WaitForExit(kLimit), 1U);
  EXPECT_FALSE(std::filesystem::exists(folder_.Path() / "clip.mp4"));
}

}  // namespace
}  // namespace e2e
