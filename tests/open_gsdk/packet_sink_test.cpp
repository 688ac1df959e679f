#include "open_gsdk/session/packet_sink.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace open_gsdk {
namespace {

const std::vector<AudioFormat> kAudio = {{"Game", 48'000, 2, 128'000, {4}}};
const VideoFormat kVideo = {64, 64, 10, {1, 2, 3}};
const VideoFormat kOtherVideo = {128, 64, 10, {1, 2, 4}};

EncodedPacket PacketAt(std::int64_t time_ns, std::size_t stream = 0) {
  EncodedPacket packet;
  packet.stream = stream;
  packet.key_frame = true;
  packet.time_ns = time_ns;
  return packet;
}

TEST(PacketSink, DescribesTheStreamsOfEveryPacket) {
  std::vector<SharedPacket> packets;
  PacketSink sink(kAudio, [&](SharedPacket packet) { packets.push_back(std::move(packet)); }, {});
  sink.Push(PacketAt(1, 1));  // nothing can be played before the first picture
  sink.PushFirst(kVideo, PacketAt(2));
  sink.Push(PacketAt(3, 1));
  sink.PushFirst(kOtherVideo, PacketAt(4));
  sink.Push(PacketAt(5, 1));
  ASSERT_EQ(packets.size(), 4u);
  for (std::size_t index = 0; index < packets.size(); ++index) {
    EXPECT_EQ(packets[index]->time_ns, static_cast<std::int64_t>(index) + 2);
    EXPECT_EQ(packets[index]->streams->video.width, index < 2 ? 64 : 128);
    EXPECT_EQ(packets[index]->streams->audio.front().name, "Game");
  }
  EXPECT_EQ(packets[0]->streams, packets[1]->streams);
  EXPECT_NE(packets[1]->streams, packets[2]->streams);
  EXPECT_EQ(packets[2]->streams, packets[3]->streams);
}

TEST(PacketSink, HandsOutOnePacketAtATime) {
  int inside = 0;  // no lock: a second one at the same time is a race
  int calls = 0;
  PacketSink sink(kAudio,
                  [&](const SharedPacket&) {
                    EXPECT_EQ(++inside, 1);
                    std::this_thread::yield();
                    --inside;
                    ++calls;
                  },
                  {});
  sink.PushFirst(kVideo, PacketAt(0));
  std::vector<std::thread> pipelines;
  for (int number = 0; number < 4; ++number) {
    pipelines.emplace_back([&] {
      for (int packet = 0; packet < 100; ++packet) sink.Push(PacketAt(packet));
    });
  }
  for (std::thread& pipeline : pipelines) pipeline.join();
  sink.Close();
  EXPECT_EQ(calls, 401);
}

TEST(PacketSink, IsSilentOnceItIsClosed) {
  int calls = 0;
  PacketSink sink(
      kAudio, [&](const SharedPacket&) { ++calls; },
      [&](ErrorCode, const std::string&) { ++calls; });
  sink.Close();
  sink.PushFirst(kVideo, PacketAt(0));
  sink.Push(PacketAt(1));
  sink.Fail(ErrorCode::kWindowClosed, "closed");
  EXPECT_EQ(calls, 0);
}

TEST(PacketSink, GivesOneErrorAndNoPacketAfterIt) {
  int packets = 0;
  std::vector<std::string> errors;
  PacketSink sink(
      kAudio, [&](const SharedPacket&) { ++packets; },
      [&](ErrorCode code, const std::string& message) {
        errors.push_back(std::to_string(static_cast<int>(code)) + " " + message);
      });
  sink.PushFirst(kVideo, PacketAt(0));
  sink.Fail(ErrorCode::kWindowClosed, "closed");
  sink.Fail(ErrorCode::kCaptureFailed, "again");
  sink.Push(PacketAt(1));
  sink.Close();
  EXPECT_EQ(packets, 1);
  EXPECT_EQ(errors, std::vector<std::string>{"8 closed"});
}

TEST(PacketSink, CloseWaitsForACallbackOfAnotherThread) {
  std::promise<void> entered;
  std::promise<void> leave;
  std::atomic<bool> left{false};
  PacketSink sink(kAudio,
                  [&](const SharedPacket&) {
                    entered.set_value();
                    leave.get_future().wait();
                    left = true;
                  },
                  {});
  std::thread pipeline([&] { sink.PushFirst(kVideo, PacketAt(0)); });
  entered.get_future().wait();
  std::thread closer([&] {
    sink.Close();
    EXPECT_TRUE(left);
  });
  leave.set_value();
  closer.join();
  pipeline.join();
}

TEST(PacketSink, CloseFromWithinACallbackFreesTheThreadsThatWait) {
  std::promise<void> entered;
  std::promise<void> leave;
  int calls = 0;
  PacketSink* self = nullptr;
  PacketSink sink(kAudio,
                  [&](const SharedPacket&) {
                    ++calls;
                    entered.set_value();
                    leave.get_future().wait();
                    self->Close();
                  },
                  {});
  self = &sink;
  std::thread first([&] { sink.PushFirst(kVideo, PacketAt(0)); });
  entered.get_future().wait();
  std::thread second([&] { sink.Push(PacketAt(1)); });
  leave.set_value();
  first.join();
  second.join();
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace open_gsdk
