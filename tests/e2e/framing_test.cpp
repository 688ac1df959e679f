// The frames on the pipe and what breaks the channel.
#include <algorithm>

#include "tests/e2e/service_test.h"

namespace e2e {
namespace {

class Framing : public ServiceTest, public ::testing::WithParamInterface<PipeMode> {
 protected:
  ServiceRun& StartInMode() { return Start({.pipe_mode = GetParam()}); }
};

INSTANTIATE_TEST_SUITE_P(Modes, Framing, ::testing::Values(PipeMode::kByte, PipeMode::kMessage),
                         [](const auto& test) {
                           return test.param == PipeMode::kByte ? "Byte" : "Message";
                         });

// A die message of exactly `size` bytes.
std::string DieMessageOf(std::size_t size, int code) {
  std::string text = Die(code).dump();
  text.insert(text.size() - 1, size - text.size(), ' ');
  return text;
}

std::string Prefix(std::uint32_t length) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) {
    bytes.push_back(static_cast<char>((length >> shift) & 0xFF));
  }
  return bytes;
}

TEST_P(Framing, TakesAFrameOf4096Bytes) {
  ServiceRun& run = StartInMode();
  const std::string text = DieMessageOf(4096, 41);
  ASSERT_EQ(text.size(), 4096U);
  run.SendOdd(text);
  ExpectCleanExit(run, 41);
}

TEST_P(Framing, AnAnnouncementOf4097BytesEndsTheService) {
  ServiceRun& run = StartInMode();
  // The body would end the service with another code.
  run.Pipe().SendBytes(Prefix(4097));
  run.Pipe().SendBytes(DieMessageOf(4097, 41));
  ExpectCleanExit(run, 0);
}

TEST_P(Framing, AnAnnouncementAboveTheSignedRangeEndsTheService) {
  ServiceRun& run = StartInMode();
  run.Pipe().SendBytes(Prefix(0xFFFFFFFF));
  ExpectCleanExit(run, 0);
}

TEST_P(Framing, SkipsEmptyFrames) {
  ServiceRun& run = StartInMode();
  for (int i = 0; i < 3; ++i) run.Pipe().SendBytes(Prefix(0));
  run.Send(Clip("a", "1"));
  run.Pipe().SendBytes(Prefix(0));
  EXPECT_TRUE(run.WaitForText(ClipFailure("1", "recorder not initialized")));
  ExpectCleanDie(run, 42);
}

TEST_P(Framing, CutsABodyAtItsFirstZeroByte) {
  ServiceRun& run = StartInMode();
  run.SendOdd(Die(43).dump() + std::string(1, '\0') + "this would not parse");
  ExpectCleanExit(run, 43);
}

TEST_P(Framing, DropsWhatDoesNotParse) {
  ServiceRun& run = StartInMode();
  for (const char* text : {"{\"event\": {\"die\": 1}", "no json", "null", "[]", "\"text\"", "7",
                           "true", "{}", "\xFF\xFE", " ", "{\"event\": {\"die\": 1}} and more"}) {
    run.SendOdd(text);
  }
  run.SendOdd(std::string("\0{\"event\": {\"die\": 1}}", 22));
  ExpectCleanDie(run, 44);
  EXPECT_EQ(run.Texts(), Texts{});
}

TEST_P(Framing, TheHostClosingThePipeEndsTheService) {
  ServiceRun& run = StartInMode();
  run.Send(Clip("a", "1"));
  EXPECT_TRUE(run.WaitForTextCount(1));
  run.Pipe().Close();
  ExpectCleanExit(run, 0);
}

TEST_P(Framing, TakesAHundredFramesInOneGo) {
  ServiceRun& run = StartInMode();
  Texts expected;
  for (int i = 0; i < 100; ++i) {
    run.Send(Clip("a", std::to_string(i)));
    expected.push_back(ClipFailure(std::to_string(i), "recorder not initialized"));
  }
  EXPECT_TRUE(run.WaitForTextCount(100));
  ExpectCleanDie(run, 45);
  EXPECT_EQ(run.Texts(), expected);
}

class Channel : public ServiceTest {};

TEST_F(Channel, PrefixAndBodyInOneMessageEndTheService) {
  ServiceRun& run = Start({.pipe_mode = PipeMode::kMessage});
  const std::string text = Die(46).dump();
  run.Pipe().SendBytes(Prefix(static_cast<std::uint32_t>(text.size())) + text);
  ExpectCleanExit(run, 0);
}

TEST_F(Channel, ABodyLongerThanAnnouncedEndsTheServiceOnAMessagePipe) {
  ServiceRun& run = Start({.pipe_mode = PipeMode::kMessage});
  const std::string text = Die(47).dump();
  run.Pipe().SendBytes(Prefix(static_cast<std::uint32_t>(text.size())));
  run.Pipe().SendBytes(text + " ");
  ExpectCleanExit(run, 0);
}

TEST_F(Channel, AFrameShorterThanAnnouncedCountsAsItIsOnAMessagePipe) {
  ServiceRun& run = Start({.pipe_mode = PipeMode::kMessage});
  // The rest of the buffer has never been written, and ends the text.
  run.Pipe().SendBytes(Prefix(4096));
  run.Pipe().SendBytes(Die(48).dump());
  ExpectCleanExit(run, 48);
}

TEST_F(Channel, TakesPrefixAndBodyInOneWriteOnABytePipe) {
  ServiceRun& run = Start();
  const std::string text = Die(46).dump();
  run.Pipe().SendBytes(Prefix(static_cast<std::uint32_t>(text.size())) + text);
  ExpectCleanExit(run, 46);
}

TEST_F(Channel, TheHostClosingAfterAPrefixEndsTheService) {
  ServiceRun& run = Start();
  run.Pipe().SendBytes(Prefix(20));
  run.Pipe().Close();
  ExpectCleanExit(run, 0);
}

TEST_F(Channel, AHostThatNeverReadsEndsTheServiceByClosing) {
  // Given a service whose main thread waits for its host to read
  ServiceRun& run = Start({.pipe_buffer_bytes = 1, .read_pipe = false});
  for (int i = 0; i < 50; ++i) run.Send(Clip("a", std::string(3000, 'i')));
  EXPECT_TRUE(run.Process().IsRunning());
  run.Pipe().Close();
  ExpectCleanExit(run, 0);
}

TEST_F(Channel, TheLongestTextIsSentWhole) {
  // {"error": "..."} of exactly 4096 bytes
  const std::string line(4096 - Line("").size(), 'x');
  ServiceRun& run = StartRecordingService(
      {.script = Json::object{{"calls", Json::object{{"gsdk_session_create",
                                                      Json::array{Json::object{
                                                          {"log", Json::array{line}}}}}}}}},
      Settings());
  EXPECT_TRUE(run.WaitForText(Line(line)));
  ExpectCleanDie(run);
}

TEST_F(Channel, ATextThatIsTooLongEndsTheProcessAtOnce) {
  const std::string line(4096 - Line("").size() + 1, 'x');
  ServiceRun& run = Start(
      {.script = Json::object{
           {"calls", Json::object{{"gsdk_session_create",
                                   Json::array{Json::object{{"log", Json::array{line}}}}}}}}});
  StartRecording(run, Settings());
  EXPECT_EQ(run.WaitForExit(), 0xC0000409U);
  EXPECT_EQ(run.Texts(), Texts{});
}

TEST_F(Channel, AnIdThatIsTooLongForItsAnswerEndsTheProcessAtOnce) {
  ServiceRun& run = Start();
  run.Send(Clip("a", std::string(4040, 'i')));
  EXPECT_EQ(run.WaitForExit(), 0xC0000409U);
}

}  // namespace
}  // namespace e2e
