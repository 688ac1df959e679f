// Clips: what the library is asked to write and what the host is answered.
#include <fstream>
#include <sstream>

#include "tests/e2e/service_test.h"

namespace e2e {
namespace {

Json Dumps(const Json::array& dumps) { return Json::object{{"dumps", dumps}}; }

std::string FileText(const std::filesystem::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

void WriteFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

class Clips : public ServiceTest {
 protected:
  // The texts of the service that are answers to clip requests.
  static Texts Answers(const ServiceRun& run) {
    Texts texts = run.Texts();
    std::erase_if(texts, [](const std::string& text) { return !text.starts_with("{\"clip\""); });
    return texts;
  }

  static bool WaitForAnswers(ServiceRun& run, std::size_t count) {
    return run.Pipe().WaitFor(
        [&](const Texts& texts) {
          return std::count_if(texts.begin(), texts.end(), [](const std::string& text) {
                   return text.starts_with("{\"clip\"");
                 }) >= static_cast<std::ptrdiff_t>(count);
        },
        kLimit);
  }
};

TEST_F(Clips, BeforeASessionThereIsNoRecorder) {
  ServiceRun& run = Start();
  const std::filesystem::path file = run.Folder() / "kept.mp4";
  WriteFile(file, "kept");
  run.Send(Clip(Utf8FromPath(file), "first \"id\" \xC3\xA4"));
  EXPECT_TRUE(run.WaitForTextCount(1));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts(), Texts{"{\"clip\": {\"error\": \"recorder not initialized\", "
                               "\"id\": \"first \\\"id\\\" \xC3\xA4\", \"succeeded\": false}}"});
  EXPECT_EQ(run.Calls().Calls(), Texts{});
  EXPECT_EQ(FileText(file), "kept");
}

// The figures that the library gives and those that the host gets.
struct ClipFigures {
  const char* name;
  Json dump;
  std::string answer;  // without the id and the success
};

void PrintTo(const ClipFigures& figures, std::ostream* out) { *out << figures.name; }

class ClipAnswer : public Clips, public ::testing::WithParamInterface<ClipFigures> {};

TEST_P(ClipAnswer, HasTheFigures) {
  ServiceRun& run = StartRecordingService({.script = Dumps({GetParam().dump})}, Settings());
  run.Send(Clip("C:\\clips\\a.mp4", "7"));
  EXPECT_TRUE(WaitForAnswers(run, 1));
  ExpectCleanDie(run);
  EXPECT_EQ(Answers(run), Texts{GetParam().answer});
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_recorder_dump"),
            Texts{"gsdk_recorder_dump(recorder1, C:\\clips\\a.mp4)"});
}

INSTANTIATE_TEST_SUITE_P(
    Table, ClipAnswer,
    ::testing::Values(
        ClipFigures{"Zeros", Json::object{},
                    R"({"clip": {"audio_drop": 0, "captured_from_hdr": false, "duration": 0, )"
                    R"("id": "7", "last_ts": "0", "succeeded": true, "video_drop": 0}})"},
        ClipFigures{"RoundedTowardZero",
                    Json::object{{"duration", 1999999},
                                 {"last_timestamp", -5},
                                 {"audio_drop", -1999999},
                                 {"video_drop", 2000000},
                                 {"hdr", 1}},
                    R"({"clip": {"audio_drop": -1, "captured_from_hdr": true, "duration": 1, )"
                    R"("id": "7", "last_ts": "-5", "succeeded": true, "video_drop": 2}})"},
        ClipFigures{"Large",
                    Json::object{{"duration", "3600000999999"},
                                 {"last_timestamp", "9223372036854775807"},
                                 {"audio_drop", "2147483647000000"},
                                 {"video_drop", "999999"},
                                 {"hdr", 128}},
                    R"({"clip": {"audio_drop": 2147483647, "captured_from_hdr": true, )"
                    R"("duration": 3600000, "id": "7", "last_ts": "9223372036854775807", )"
                    R"("succeeded": true, "video_drop": 0}})"},
        ClipFigures{"Lowest", Json::object{{"last_timestamp", "-9223372036854775808"}},
                    R"({"clip": {"audio_drop": 0, "captured_from_hdr": false, "duration": 0, )"
                    R"("id": "7", "last_ts": "-9223372036854775808", "succeeded": true, )"
                    R"("video_drop": 0}})"}),
    [](const auto& test) { return test.param.name; });

TEST_F(Clips, EachFailureHasItsTextAndRemovesTheFile) {
  // Given a library that leaves a part of the clip at a path that needs UTF-8, and then fails
  struct Failure {
    int status;
    std::string before;
    bool with_path;
  };
  const std::vector<Failure> failures = {
      {2, "clip was empty", false},
      {3, "failed to open ", true},
      {4, "Failed to add audio stream.", false},
      {5, "Failed to add video stream.", false},
      {6, "Write clip buffer : failed to write full clip buffer.", false},
      {7, "failed to rename dump file to ", true},
      {1, "Unexpected error", false},
      {8, "Unexpected error", false},
      {-1, "Unexpected error", false},
      {2147483647, "Unexpected error", false}};
  Json::array dumps;
  for (const Failure& failure : failures) {
    dumps.push_back(Json::object{{"status", failure.status}, {"write", "part"}});
  }
  ServiceRun& run = StartRecordingService({.script = Dumps(dumps)}, Settings());

  Texts expected;
  for (const Failure& failure : failures) {
    const std::string number = std::to_string(failure.status);
    const std::filesystem::path file =
        run.Folder() / PathFromUtf8("Sp\xC3\xA4ter \xE2\x82\xAC " + number + ".mp4");
    WriteFile(file, "there before");
    const std::string path = Utf8FromPath(file);
    // When the clip is asked for
    run.Send(Clip(path, number));
    std::string text = failure.before;
    if (failure.with_path) text += path;
    if (failure.status == 3) text += " for writing";
    expected.push_back(ClipFailure(number, text));
    // Then the host is told and the file has gone
    EXPECT_TRUE(WaitForAnswers(run, expected.size()));
    EXPECT_FALSE(std::filesystem::exists(file)) << number;
  }
  ExpectCleanDie(run);
  EXPECT_EQ(Answers(run), expected);
}

TEST_F(Clips, ASuccessKeepsTheFile) {
  ServiceRun& run = StartRecordingService(
      {.script = Dumps({Json::object{{"status", 0}, {"write", "the clip"}}})}, Settings());
  const std::filesystem::path file = run.Folder() / PathFromUtf8("\xE5\xAD\x97.mp4");
  run.Send(Clip(Utf8FromPath(file), ""));
  EXPECT_TRUE(WaitForAnswers(run, 1));
  ExpectCleanDie(run);
  EXPECT_EQ(FileText(file), "the clip");
}

TEST_F(Clips, AFailureWithoutAFileToRemoveIsStillAnswered) {
  ServiceRun& run =
      StartRecordingService({.script = Dumps({Json::object{{"status", 2}}})}, Settings());
  run.SendOdd(R"({"clip": {"filepath": 3}})");
  EXPECT_TRUE(WaitForAnswers(run, 1));
  ExpectCleanDie(run);
  EXPECT_EQ(Answers(run), Texts{ClipFailure("", "clip was empty")});
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_recorder_dump"),
            Texts{"gsdk_recorder_dump(recorder1, )"});
}

TEST_F(Clips, ASecondClipWaitsForTheFirst) {
  ServiceRun& run = StartRecordingService(
      {.script = Dumps({Json::object{{"wait_file", "go"}, {"status", 2}}, Json::object{}})},
      Settings());
  run.Send(Clip("a", "1"));
  run.Send(Clip("b", "2"));
  EXPECT_TRUE(run.WaitForCall("gsdk_recorder_dump"));
  // The host's other messages are not held up.
  run.Send(ChangeAudio());
  EXPECT_TRUE(run.WaitForCall("gsdk_input_properties(audio_input)", 2));
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_recorder_dump").size(), 1U);
  EXPECT_EQ(Answers(run), Texts{});
  run.Touch("go");
  EXPECT_TRUE(WaitForAnswers(run, 2));
  ExpectCleanDie(run);
  const Texts answers = Answers(run);
  ASSERT_EQ(answers.size(), 2U);
  EXPECT_EQ(answers[0], ClipFailure("1", "clip was empty"));
  EXPECT_NE(answers[1].find("\"id\": \"2\""), std::string::npos) << answers[1];
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_recorder_dump"),
            (Texts{"gsdk_recorder_dump(recorder1, a)", "gsdk_recorder_dump(recorder1, b)"}));
}

TEST_F(Clips, ADumpThatNeverEndsDoesNotHoldUpTheEnd) {
  ServiceRun& run =
      StartRecordingService({.script = Dumps({Json::object{{"hang", true}}})}, Settings());
  run.Send(Clip("a", "1"));
  EXPECT_TRUE(run.WaitForCall("gsdk_recorder_dump"));
  run.Send(Die(31));
  EXPECT_EQ(run.WaitForExit(), 31U);
  EXPECT_EQ(run.Calls().Imbalances(), Texts{});
}

TEST_F(Clips, ADumpDuringARestartUsesTheRecorderOfItsTime) {
  // Given a dump that is still under way when its recorder is destroyed and the next one is made
  ServiceRun& run = StartRecordingService(
      {.script = Dumps({Json::object{{"wait_file", "go"}, {"duration", 7000000}}, Json::object{}})},
      Settings());
  run.Send(Clip("a", "1"));
  EXPECT_TRUE(run.WaitForCall("gsdk_recorder_dump"));
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  EXPECT_EQ(Answers(run), Texts{});
  // When it comes back
  run.Touch("go");
  EXPECT_TRUE(WaitForAnswers(run, 1));
  run.Send(Clip("b", "2"));
  EXPECT_TRUE(WaitForAnswers(run, 2));
  ExpectCleanDie(run);
  // Then it is answered with its figures, and the next dump is one of the new recorder
  EXPECT_EQ(Answers(run).at(0),
            R"({"clip": {"audio_drop": 0, "captured_from_hdr": false, "duration": 7, "id": "1", )"
            R"("last_ts": "0", "succeeded": true, "video_drop": 0}})");
  Texts calls = run.Calls().Calls();
  std::erase_if(calls, [](const std::string& call) {
    return !call.starts_with("gsdk_recorder_dump") && !call.starts_with("gsdk_recorder_create") &&
           !call.starts_with("gsdk_recorder_destroy");
  });
  EXPECT_EQ(calls, (Texts{"gsdk_recorder_create(properties1) = recorder1",
                          "gsdk_recorder_dump(recorder1, a)", "gsdk_recorder_destroy(recorder1)",
                          "gsdk_recorder_create(properties2) = recorder2",
                          "gsdk_recorder_dump(recorder2, b)", "gsdk_recorder_destroy(recorder2)"}));
}

TEST_F(Clips, ADumpAtTheEndMayLoseItsRecorder) {
  ServiceRun& run =
      StartRecordingService({.script = Dumps({Json::object{{"wait_file", "go"}}})}, Settings());
  run.Send(Clip("a", "1"));
  EXPECT_TRUE(run.WaitForCall("gsdk_recorder_dump"));
  run.Send(Die(32));
  EXPECT_TRUE(run.WaitForCall("gsdk_recorder_destroy"));
  run.Touch("go");
  EXPECT_EQ(run.WaitForExit(), 32U);
  EXPECT_EQ(run.Calls().Imbalances(), Texts{});
}

TEST_F(Clips, AfterAFailedStartThereIsNoRecorder) {
  // Given a first session that runs and a restart that hangs in the library
  ServiceRun& run = StartRecordingService(
      {.script = Json::object{{"calls", Json::object{{"gsdk_session_create",
                                                      Json::array{Json::object{
                                                          {"n", 2}, {"wait_file", "go"}}}}}}}},
      Settings());
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_create", 2));
  // When a clip is asked for while there is no session
  run.Send(Clip("a", "1"));
  EXPECT_TRUE(WaitForAnswers(run, 1));
  run.Touch("go");
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);
  EXPECT_EQ(Answers(run), Texts{ClipFailure("1", "recorder not initialized")});
}

}  // namespace
}  // namespace e2e
