// The capture library's log lines on their way to the host.
#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

class LibraryLog : public ServiceTest {};

TEST_F(LibraryLog, LinesReachTheHostAsTheyStand) {
  const std::vector<std::string> lines = {"plain",
                                          "",
                                          "Gr\xC3\xBC\xC3\x9F"
                                          "e \xE5\xAD\x97 \xF0\x9F\x8E\xAE",
                                          "\"quoted\" \\ \t\n\r\x01",
                                          "[Glimra error]: not ours",
                                          "not UTF-8: \xFF\xC3"};
  Json::array steps;
  int level = -1;
  for (const std::string& line : lines) {
    steps.push_back(Json::object{{"log", line}, {"level", level++}});
  }
  ServiceRun& run = StartRecordingService(
      {.script = Json::object{{"sessions",
                               Json::array{Json::object{
                                   {"threads", Json::array{Json::object{{"steps", steps}}}}}}}}},
      Settings());
  EXPECT_TRUE(run.WaitForTextCount(1 + lines.size()));
  ExpectCleanDie(run);
  Texts expected = {GameCaptureLine()};
  for (const std::string& line : lines) expected.push_back(Line(line));
  EXPECT_EQ(run.Texts(), expected);
}

TEST_F(LibraryLog, LinesComeInOrderWithTheServicesOwn) {
  ServiceRun& run =
      StartRecordingService(
          {.script =
               Json::object{
                   {"calls",
                    Json::object{
                        {"gsdk_session_create",
                         Json::array{Json::object{{"log", Json::array{"creating", "created"}}}}},
                        {"gsdk_session_update_video_input",
                         Json::array{Json::object{{"log", Json::array{"updating"}}}}}}}}},
          Settings());
  EXPECT_TRUE(run.WaitForTextCount(4));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts(),
            (Texts{Line("creating"), Line("created"), GameCaptureLine(), Line("updating")}));
}

TEST_F(LibraryLog, ANullLineIsAnEmptyOne) {
  ServiceRun& run = StartRecordingService(
      {.script = Json::object{{"calls", Json::object{{"gsdk_session_create",
                                                      Json::array{Json::object{
                                                          {"log", Json::array{nullptr}}}}}}}}},
      Settings());
  EXPECT_TRUE(run.WaitForTextCount(2));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts(), (Texts{Line(""), GameCaptureLine()}));
}

TEST_F(LibraryLog, LinesOfManyThreadsComeWholeAndInTheirOrder) {
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  Json::array threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    Json::array steps;
    for (int line = 0; line < kLines; ++line) {
      steps.push_back(Json::object{{"log", std::to_string(thread) + ":" + std::to_string(line)}});
    }
    threads.push_back(Json::object{{"steps", steps}});
  }
  ServiceRun& run = StartRecordingService(
      {.script = Json::object{{"sessions", Json::array{Json::object{{"threads", threads}}}}}},
      Settings());
  EXPECT_TRUE(run.WaitForTextCount(1 + kThreads * kLines));
  ExpectCleanDie(run);
  std::vector<int> next(kThreads, 0);
  const Texts texts = run.Texts();
  for (std::size_t i = 1; i < texts.size(); ++i) {
    std::string error;
    const std::string line = Json::parse(texts[i], error)["error"].string_value();
    ASSERT_EQ(line.find(':'), 1U) << texts[i];
    const auto thread = static_cast<std::size_t>(line[0] - '0');
    ASSERT_LT(thread, next.size()) << texts[i];
    EXPECT_EQ(line.substr(2), std::to_string(next[thread]++));
  }
  EXPECT_EQ(next, std::vector<int>(kThreads, kLines));
}

}  // namespace
}  // namespace e2e
