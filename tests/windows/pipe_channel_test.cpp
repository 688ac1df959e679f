// The pipe channel over real named pipes.
#include "service/pipe_channel.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/owned_handle.h"
#include "protocol/command_queue.h"
#include "protocol/message_queue.h"
#include "service/stop.h"
#include "service/stop_event.h"

namespace capture_service {
namespace {

// Both ends of a pipe: the host's, without overlapped I/O, and the service's.
struct PipePair {
  platform::OwnedHandle host;
  platform::OwnedHandle service;
};

PipePair OpenPipePair(DWORD type, DWORD buffer_size = 65536) {
  static std::atomic<int> counter = 0;
  const std::wstring name = L"\\\\.\\pipe\\pipe_channel_test." +
                            std::to_wstring(GetCurrentProcessId()) + L"." +
                            std::to_wstring(counter++);
  PipePair pair;
  pair.host = platform::OwnFile(CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, type, 1,
                                                 buffer_size, buffer_size, 0, nullptr));
  pair.service =
      platform::OwnFile(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
  return pair;
}

constexpr DWORD kBytes = PIPE_TYPE_BYTE | PIPE_READMODE_BYTE;
constexpr DWORD kMessages = PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE;

// A pipe whose every read gives one message of the host.
PipePair OpenMessagePipePair() {
  PipePair pair = OpenPipePair(kMessages);
  DWORD mode = PIPE_READMODE_MESSAGE;
  EXPECT_TRUE(SetNamedPipeHandleState(pair.service.get(), &mode, nullptr, nullptr));
  return pair;
}

void HostWrite(const PipePair& pipe, const std::string& bytes) {
  DWORD written = 0;
  ASSERT_TRUE(WriteFile(pipe.host.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                        nullptr));
  ASSERT_EQ(written, bytes.size());
}

std::string Prefix(std::uint32_t length) {
  return {reinterpret_cast<const char*>(&length), sizeof(length)};
}

void HostSend(const PipePair& pipe, const std::string& text) {
  HostWrite(pipe, Prefix(static_cast<std::uint32_t>(text.size())));
  HostWrite(pipe, text);
}

// One read of the host; in a message pipe that is one message of the service.
std::string HostRead(const PipePair& pipe) {
  std::string bytes(8192, '\0');
  DWORD read = 0;
  EXPECT_TRUE(
      ReadFile(pipe.host.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr));
  bytes.resize(read);
  return bytes;
}

class PipeChannelTest : public testing::Test {
 protected:
  PipeChannelTest() {
    StopFlag = false;
    CreateStopEvent();
  }
};

// Runs a reader over the pipe and takes what it pushes until the service is told to stop.
std::vector<std::string> InboundUntilStop(const PipePair& pipe) {
  std::thread reader(PipeReader, pipe.service.get());
  std::vector<std::string> texts;
  while (!StopFlag || texts.empty() || texts.back() != "{}") {
    const std::unique_ptr<PipeMessage> message = PopMessage();
    EXPECT_EQ(message->direction, Direction::kInbound);
    texts.emplace_back(message->text.data());
  }
  reader.join();
  // The stop wakes the command worker too.
  EXPECT_EQ(PopCommand()->type, CommandType::kWake);
  return texts;
}

using Texts = std::vector<std::string>;

TEST_F(PipeChannelTest, ReadsFramesUntilTheHostCloses) {
  PipePair pipe = OpenPipePair(kBytes);
  HostSend(pipe, R"({"a": 1})");
  HostSend(pipe, std::string(kMaxMessageBytes, 'x'));
  pipe.host.reset();

  EXPECT_EQ(InboundUntilStop(pipe), (Texts{R"({"a": 1})", std::string(4096, 'x'), "{}"}));
}

TEST_F(PipeChannelTest, SkipsEmptyFrames) {
  PipePair pipe = OpenPipePair(kBytes);
  HostWrite(pipe, Prefix(0));
  HostWrite(pipe, Prefix(0));
  HostSend(pipe, "after");
  pipe.host.reset();

  EXPECT_EQ(InboundUntilStop(pipe), (Texts{"after", "{}"}));
}

TEST_F(PipeChannelTest, CutsTextsAtTheirFirstZeroByte) {
  PipePair pipe = OpenPipePair(kBytes);
  HostSend(pipe, std::string("be\0fore", 7));
  HostSend(pipe, "next");
  pipe.host.reset();

  EXPECT_EQ(InboundUntilStop(pipe), (Texts{"be", "next", "{}"}));
}

TEST_F(PipeChannelTest, StopsAtAnAnnouncedLengthOver4096) {
  const PipePair pipe = OpenPipePair(kBytes);
  HostWrite(pipe, Prefix(4097));

  EXPECT_EQ(InboundUntilStop(pipe), Texts{"{}"});
}

TEST_F(PipeChannelTest, TakesPrefixAndBodyAsSeparateMessages) {
  PipePair pipe = OpenMessagePipePair();
  HostSend(pipe, "text");
  pipe.host.reset();

  EXPECT_EQ(InboundUntilStop(pipe), (Texts{"text", "{}"}));
}

TEST_F(PipeChannelTest, StopsWhenPrefixAndBodyComeAsOneMessage) {
  const PipePair pipe = OpenMessagePipePair();
  HostWrite(pipe, Prefix(4) + "text");

  EXPECT_EQ(InboundUntilStop(pipe), Texts{"{}"});
}

// What a short read leaves in the buffer counts as read.
TEST_F(PipeChannelTest, TakesAShortReadAsAFullOne) {
  PipePair pipe = OpenMessagePipePair();
  HostWrite(pipe, std::string("\5\0", 2));
  HostWrite(pipe, "first");
  HostWrite(pipe, Prefix(9));
  HostWrite(pipe, "shor");
  HostSend(pipe, "after");
  pipe.host.reset();

  // The buffer is empty at first; the last letter of "short" is the one of "first".
  EXPECT_EQ(InboundUntilStop(pipe), (Texts{"first", "short", "after", "{}"}));
}

TEST_F(PipeChannelTest, StopsAtABodyThatIsLongerThanAnnounced) {
  PipePair pipe = OpenMessagePipePair();
  HostWrite(pipe, Prefix(4));
  HostWrite(pipe, "longer");
  HostSend(pipe, "after");
  pipe.host.reset();

  EXPECT_EQ(InboundUntilStop(pipe), Texts{"{}"});
}

TEST_F(PipeChannelTest, AbandonsAPendingReadWhenTheServiceStops) {
  const PipePair pipe = OpenPipePair(kBytes);
  std::thread reader(PipeReader, pipe.service.get());
  RequestStop();
  reader.join();

  EXPECT_STREQ(PopMessage()->text.data(), "{}");
  EXPECT_EQ(PopCommand()->type, CommandType::kWake);
}

TEST_F(PipeChannelTest, WritesPrefixAndTextSeparately) {
  const PipePair pipe = OpenPipePair(kMessages);
  ASSERT_TRUE(WriteFrame(pipe.service.get(), "hello"));

  EXPECT_EQ(HostRead(pipe), Prefix(5));
  EXPECT_EQ(HostRead(pipe), "hello");
}

TEST_F(PipeChannelTest, WritesTheLongestTextAndNothingOfALongerOne) {
  const PipePair pipe = OpenPipePair(kMessages);
  EXPECT_FALSE(WriteFrame(pipe.service.get(), std::string(4097, 'x')));
  ASSERT_TRUE(WriteFrame(pipe.service.get(), std::string(4096, 'y')));

  EXPECT_EQ(HostRead(pipe), Prefix(4096));
  EXPECT_EQ(HostRead(pipe), std::string(4096, 'y'));
}

TEST_F(PipeChannelTest, WriteFailsOnceTheHostHasClosed) {
  PipePair pipe = OpenPipePair(kBytes);
  pipe.host.reset();

  EXPECT_FALSE(WriteFrame(pipe.service.get(), "hello"));
}

TEST_F(PipeChannelTest, AbandonsAPendingWriteWhenTheServiceStops) {
  const PipePair pipe = OpenPipePair(kBytes, /*buffer_size=*/16);
  std::atomic<bool> failed = false;
  std::thread writer([&] {
    // Nobody reads, so sooner or later a write has to wait.
    while (WriteFrame(pipe.service.get(), std::string(4096, 'x'))) {
    }
    failed = true;
  });
  RequestStop();
  writer.join();

  EXPECT_TRUE(failed);
  EXPECT_STREQ(PopMessage()->text.data(), "{}");
  EXPECT_EQ(PopCommand()->type, CommandType::kWake);
}

}  // namespace
}  // namespace capture_service
