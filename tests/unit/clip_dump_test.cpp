#include "recording/clip_dump.h"

#include <limits>
#include <string>
#include <thread>

#include "gsdk/capture_library.h"
#include "recording/session_start.h"
#include "recording/session_state.h"
#include "recording/worker_stop.h"
#include "tests/unit/core_fixture.h"
#include "tests/unit/session_transcript.h"

namespace core_test {
namespace {

using namespace capture_service;

class ClipDumpTest : public CoreTest {
 protected:
  // As if a session had started.
  static void GiveRecorder() {
    GiveSessionARecorder();
    TakeRecorded();
  }
};

std::string DumpLine(const std::string& path) {
  return "gsdk_recorder_dump(recorder1, " + Quoted(path) + ")";
}

std::string FailureAnswer(const std::string& id, const std::string& error) {
  return TextToHost("{\"clip\": {\"error\": " + Quoted(error) + ", \"id\": " + Quoted(id) +
                    ", \"succeeded\": false}}");
}

// Of a dump without figures.
std::string SuccessAnswer(const std::string& id) {
  return TextToHost(R"({"clip": {"audio_drop": 0, "captured_from_hdr": false, "duration": 0, )"
                    R"("id": ")" +
                    id + R"(", "last_ts": "0", "succeeded": true, "video_drop": 0}})");
}

TEST_F(ClipDumpTest, RequestBeforeAnySessionLeavesTheDiskAlone) {
  ServeClipRequest({.filepath = "C:\\a.mp4", .id = "1"});
  EXPECT_EQ(TakeRecorded(), (Lines{FailureAnswer("1", "recorder not initialized")}));
}

TEST_F(ClipDumpTest, SuccessIsAnsweredWithTheClipsFigures) {
  GiveRecorder();
  Fake().SetDumpResult({.status = 0,
                        .reserved_4 = 77,
                        .duration = 30'001'999'999,
                        .last_timestamp = -5,
                        .reserved_24 = 88,
                        .audio_drop = 1'999'999,
                        .video_drop = 2'000'000,
                        .captured_from_hdr = 2,
                        .reserved_49 = {}});
  ServeClipRequest({.filepath = "C:\\\xC3\xA4.mp4", .id = "id"});
  EXPECT_EQ(TakeRecorded(),
            (Lines{DumpLine("C:\\\xC3\xA4.mp4"),
                   TextToHost(R"({"clip": {"audio_drop": 1, "captured_from_hdr": true, )"
                              R"("duration": 30001, "id": "id", "last_ts": "-5", )"
                              R"("succeeded": true, "video_drop": 2}})")}));
}

TEST_F(ClipDumpTest, EachStatusHasItsTextAndRemovesTheFileFirst) {
  GiveRecorder();
  const std::string path = "C:\\a.mp4";
  for (const auto& [status, text] : {
           std::pair<std::int32_t, std::string>{1, "Unexpected error"},
           {2, "clip was empty"},
           {3, "failed to open C:\\a.mp4 for writing"},
           {4, "Failed to add audio stream."},
           {5, "Failed to add video stream."},
           {6, "Write clip buffer : failed to write full clip buffer."},
           {7, "failed to rename dump file to C:\\a.mp4"},
           {8, "Unexpected error"},
           {-1, "Unexpected error"},
           {std::numeric_limits<std::int32_t>::max(), "Unexpected error"},
           {std::numeric_limits<std::int32_t>::min(), "Unexpected error"},
       }) {
    EXPECT_EQ(DumpErrorText(status, path), text);
    gsdk_dump_result result{};
    result.status = status;
    Fake().SetDumpResult(result);
    ServeClipRequest({.filepath = path, .id = "7"});
    EXPECT_EQ(TakeRecorded(),
              (Lines{DumpLine(path), "RemoveFile " + Quoted(path), FailureAnswer("7", text)}))
        << status;
  }
}

TEST_F(ClipDumpTest, EmptyPathAndIdAreServedAsTheyAre) {
  GiveRecorder();
  gsdk_dump_result result{};
  result.status = 3;
  Fake().SetDumpResult(result);
  ServeClipRequest({});
  EXPECT_EQ(TakeRecorded(), (Lines{DumpLine(""), "RemoveFile \"\"",
                                   FailureAnswer("", "failed to open  for writing")}));
}

// Thrown by the library to get out of the clip thread's endless loop.
struct LeaveClipThread {};

TEST_F(ClipDumpTest, ThreadServesRequestsOneByOneInTheirOrder) {
  GiveRecorder();
  Fake().OnCall("gsdk_recorder_dump", 1, [] {
    EnqueueClipRequest({.filepath = "during the first", .id = "3"});
    Record("first dump ends");
  });
  Fake().OnCall("gsdk_recorder_dump", 4, [] { throw LeaveClipThread(); });
  std::thread clip_thread([] { EXPECT_THROW(RunClipThread(), LeaveClipThread); });
  EnqueueClipRequest({.filepath = "first", .id = "1"});
  WaitForLine("first dump ends");
  EnqueueClipRequest({.filepath = "second", .id = "2"});
  EnqueueClipRequest({.filepath = "leave", .id = ""});
  clip_thread.join();

  EXPECT_EQ(TakeRecorded(), (Lines{DumpLine("first"), "first dump ends", SuccessAnswer("1"),
                                   DumpLine("during the first"), SuccessAnswer("3"),
                                   DumpLine("second"), SuccessAnswer("2"), DumpLine("leave")}));
}

TEST_F(ClipDumpTest, RecorderMayBeDestroyedUnderADump) {
  SetUpGame();
  StartRecordingSession();
  TakeRecorded();
  Fake().OnCall("gsdk_recorder_dump", 1, [] {
    std::thread([] { StopWorkers(); }).join();
    Record("the dump goes on");
  });
  ServeClipRequest({.filepath = "a", .id = "1"});
  ServeClipRequest({.filepath = "b", .id = "2"});
  EXPECT_EQ(TakeRecorded(), Concat({{DumpLine("a")},
                                    DestructionLines(),
                                    {"the dump goes on", SuccessAnswer("1"),
                                     FailureAnswer("2", "recorder not initialized")}}));
}

TEST_F(ClipDumpTest, LibraryStaysLoadedDuringADump) {
  auto module = std::make_shared<int>(1);
  const std::weak_ptr<int> watched = module;
  InstallCaptureLibrary(FakeLibrary::MakeTable(std::move(module)));
  GiveRecorder();
  Fake().OnCall("gsdk_recorder_dump", 1, [&] {
    InstallCaptureLibrary(FakeLibrary::MakeTable());
    EXPECT_FALSE(watched.expired());
  });
  ServeClipRequest({.filepath = "a", .id = "1"});
  EXPECT_TRUE(watched.expired());
}

}  // namespace
}  // namespace core_test
