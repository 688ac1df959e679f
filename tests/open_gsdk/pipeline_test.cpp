// Recordings whose pictures come from the test: still, stuck, growing and slowly encoded ones, and
// the choice of the encoder.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/replay/clip_cut.h"
#include "open_gsdk/replay/packet_ring.h"
#include "open_gsdk/session/frame_clock.h"
#include "open_gsdk/session/picture_handover.h"
#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/library_log.h"
#include "tests/open_gsdk/pictures.h"

namespace open_gsdk {
namespace {

using Packets = std::vector<SharedPacket>;

constexpr Size kSize = {320, 200};
constexpr Size kGrown = {640, 400};
constexpr std::int64_t kSecond = 1'000'000'000;
constexpr int kRate = 30;

GrabResult Moving(GreyPicture& picture) {
  picture.New(kSize);
  return GrabResult::kPicture;
}

std::ptrdiff_t Count(const Packets& packets, std::size_t stream) {
  return std::count_if(packets.begin(), packets.end(),
                       [&](const SharedPacket& packet) { return packet->stream == stream; });
}

// The frame of a picture, counted from the first one.
std::int64_t FrameOf(const Packets& video, const SharedPacket& packet) {
  const std::int64_t time = packet->time_ns - video.front()->time_ns;
  const std::int64_t frame = FrameDueAt(time + 1, kRate);
  EXPECT_NEAR(static_cast<double>(time), static_cast<double>(FrameTimeNs(frame, kRate)), 2);
  return frame;
}

void ExpectWholeSound(const Packets& sound) {
  for (std::size_t index = 0; index < sound.size(); ++index) {
    EXPECT_NEAR(static_cast<double>(sound[index]->time_ns - sound.front()->time_ns),
                static_cast<double>(index) * 1024 * 1e9 / 48'000, 2);
    EXPECT_EQ(sound[index]->dropped_ns, 0);
  }
}

TEST(VideoPipeline, GivesAStillSourceOneKeyFrameASecond) {
  bool drawn = false;
  TestRecording recording([&](GreyPicture& picture) {
    if (drawn) return GrabResult::kUnchanged;
    drawn = true;
    return Moving(picture);
  });
  recording.WaitFor([](const Packets& packets) { return Count(packets, 0) == 4; });
  recording.Stop();
  const Packets video = recording.Packets(0);
  std::int64_t frame = 0;
  for (const SharedPacket& packet : video) {
    EXPECT_TRUE(packet->key_frame);
    EXPECT_EQ(packet->dropped_ns, 0);
    const std::int64_t after = FrameOf(video, packet) - frame;
    EXPECT_TRUE(packet == video.front() || after >= kRate) << after;
    frame += after;
  }
}

TEST(VideoPipeline, BeginsBlackWhereThereIsNothingToSee) {
  TestRecording recording([](GreyPicture&) { return GrabResult::kNothing; });
  recording.WaitFor([](const Packets& packets) { return Count(packets, 0) == 2; });
  EXPECT_TRUE(recording.Packets(0).front()->key_frame);
}

TEST(VideoPipeline, KeepsSoundWholeAndPacketsComingWhileTheSourceIsStuck) {
  std::atomic<int> looks{0};
  std::atomic<std::int64_t> freed_ns{0};
  TestRecording recording([&](GreyPicture& picture) {
    if (++looks == 10) {
      std::this_thread::sleep_for(std::chrono::seconds(3));
      freed_ns = std::chrono::steady_clock::now().time_since_epoch().count();
    }
    return Moving(picture);
  });
  recording.WaitFor([&](const Packets& packets) {
    return freed_ns != 0 && packets.back()->IsVideo() && packets.back()->time_ns > freed_ns;
  });
  recording.Stop();

  const Packets sound = recording.Packets(1);
  ExpectWholeSound(sound);
  EXPECT_GT(sound.back()->time_ns, freed_ns - kSecond / 5);

  const Packets video = recording.Packets(0);
  std::int64_t dropped_ns = 0;
  for (std::size_t index = 1; index < video.size(); ++index) {
    EXPECT_LE(video[index]->time_ns - video[index - 1]->time_ns, kSecond * 3 / 2);
    dropped_ns += video[index]->dropped_ns;
  }
  EXPECT_GE(dropped_ns, kSecond * 5 / 2);  // nobody knows what the source showed
}

// An encoder that takes its time for each picture, and calls `watch` with each.
class SlowEncoder : public VideoEncoder {
 public:
  explicit SlowEncoder(const VideoEncoding& encoding, std::function<void()> watch = {})
      : watch_(std::move(watch)) {
    format_ = {encoding.size.width, encoding.size.height, encoding.frame_rate, {}};
  }
  void Encode(const AVFrame& /*picture*/, std::int64_t number, bool key_frame,
              const std::function<void(Output)>& deliver) override {
    if (watch_) watch_();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    format_.extradata = {1, 2, 3};  // as encoders do that know it late
    deliver({number, key_frame, {0}});
  }
  const VideoFormat& format() const override { return format_; }

 private:
  const std::function<void()> watch_;
  VideoFormat format_;
};

VideoEncoderKind Slow(const std::string& name) {
  return {name,
          [](const VideoEncoding& encoding) { return std::make_unique<SlowEncoder>(encoding); }};
}

VideoEncoderKind Refusing(const std::string& name, const std::string& reason) {
  return {name, [reason](const VideoEncoding&) -> std::unique_ptr<VideoEncoder> {
            throw Failure(ErrorCode::kNoEncoder, reason);
          }};
}

TEST(VideoPipeline, LeavesPicturesOutForASlowEncoderAndNeverSound) {
  TestRecording recording(Moving, {Slow("slow")});
  recording.WaitFor([](const Packets& packets) { return Count(packets, 0) == 8; });
  recording.Stop();
  const Packets video = recording.Packets(0);
  EXPECT_EQ(video.front()->streams->video.extradata, (std::vector<std::uint8_t>{1, 2, 3}));
  std::int64_t last_key_frame = 0;
  // The first pictures fill the queue.
  for (std::size_t index = 2 + PictureHandover::kRoom; index < video.size(); ++index) {
    const std::int64_t frame = FrameOf(video, video[index]);
    const std::int64_t left_out = frame - FrameOf(video, video[index - 1]) - 1;
    EXPECT_GE(left_out, 4);
    // Every one of them is accounted for.
    EXPECT_NEAR(static_cast<double>(video[index]->dropped_ns),
                static_cast<double>(FrameTimeNs(left_out, kRate)), 10);
    if (video[index]->key_frame) last_key_frame = frame;
    EXPECT_LT(frame - last_key_frame, kRate);
  }
  const Packets sound = recording.Packets(1);
  ExpectWholeSound(sound);
  EXPECT_GT(sound.back()->time_ns - sound.front()->time_ns, kSecond);
}

TEST(VideoPipeline, TakesAndEncodesPicturesBeforeOrdinaryThreadsRun) {
  std::atomic<int> taking{0};
  std::atomic<int> encoding{0};
  TestRecording recording(
      [&](GreyPicture& picture) {
        taking = GetThreadPriority(GetCurrentThread());
        return Moving(picture);
      },
      {{"watched", [&](const VideoEncoding& chosen) {
          return std::make_unique<SlowEncoder>(
              chosen, [&] { encoding = GetThreadPriority(GetCurrentThread()); });
        }}});
  recording.WaitFor([](const Packets& packets) { return Count(packets, 0) == 2; });
  recording.Stop();
  EXPECT_EQ(taking, THREAD_PRIORITY_ABOVE_NORMAL);
  EXPECT_EQ(encoding, THREAD_PRIORITY_ABOVE_NORMAL);
}

TEST(VideoPipeline, FollowsASourceThatHasGrownWithANewStreamSet) {
  std::atomic<bool> grown{false};
  TestRecording recording([&](GreyPicture& picture) {
    picture.New(grown ? kGrown : kSize);
    return GrabResult::kPicture;
  });
  recording.WaitFor([](const Packets& packets) { return Count(packets, 0) == 10; });
  grown = true;
  recording.WaitFor([](const Packets& packets) {
    return packets.back()->IsVideo() && packets.back()->streams->video.width == kGrown.width;
  });
  recording.WaitFor([count = recording.Packets().size()](const Packets& packets) {
    return packets.size() > count + 30;
  });
  recording.Stop();

  const Packets packets = recording.Packets();
  const auto change = std::find_if(packets.begin(), packets.end(), [](const SharedPacket& packet) {
    return packet->streams->video.width == kGrown.width;
  });
  EXPECT_EQ((*change)->streams->video.height, kGrown.height);
  EXPECT_TRUE((*change)->IsVideo());
  EXPECT_TRUE((*change)->key_frame);
  for (auto packet = packets.begin(); packet != packets.end(); ++packet) {
    EXPECT_EQ((*packet)->streams, packet < change ? packets.front()->streams : (*change)->streams);
  }
  ExpectWholeSound(recording.Packets(1));

  // A clip holds what came since the change.
  PacketRing ring;
  ring.SetDuration(60 * kSecond);
  for (const SharedPacket& packet : packets) ring.Push(*packet);
  const Clip clip = CutClip(ring.Content());
  EXPECT_EQ(clip.streams, (*change)->streams);
  EXPECT_EQ(clip.start_ns, (*change)->time_ns);
}

TEST(VideoPipeline, StaysAtItsSizeWhenNoEncoderTakesTheLargerOne) {
  VideoEncoderKind small = Slow("small");
  small.open = [open = small.open](const VideoEncoding& encoding) {
    if (!(encoding.size == kSize)) throw Failure(ErrorCode::kNoEncoder, "too large");
    return open(encoding);
  };
  const auto begin = std::chrono::steady_clock::now();
  TestRecording recording(
      [&](GreyPicture& picture) {
        const bool early =
            std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(500);
        picture.New(early ? kSize : kGrown);
        return GrabResult::kPicture;
      },
      {small});
  recording.WaitFor([](const Packets& packets) {
    return packets.back()->time_ns - packets.front()->time_ns > 4 * kSecond;
  });
  recording.Stop();
  const Packets video = recording.Packets(0);
  EXPECT_EQ(video.back()->streams, video.front()->streams);
  EXPECT_EQ(recording.Errors(), std::vector<std::string>());
}

TEST(VideoPipeline, TakesTheSizeOfTheFirstPictureAtOnce) {
  std::atomic<int> looks{0};
  TestRecording recording([&](GreyPicture& picture) {
    if (++looks < 5) return GrabResult::kNothing;  // minimised
    picture.New({300, 180});
    return GrabResult::kPicture;
  });
  recording.WaitFor([](const Packets& packets) {
    return packets.back()->streams->video.width == 300 &&
           packets.back()->streams->video.height == 180;
  });
  EXPECT_EQ(recording.Packets(0).front()->streams->video.width, kSize.width);
}

TEST(VideoPipeline, EndsWithOneErrorWhenItsSourceGoes) {
  std::atomic<int> looks{0};
  std::promise<void> gone;
  TestRecording recording([&](GreyPicture& picture) {
    if (++looks < 5) return Moving(picture);
    gone.set_value();
    return GrabResult::kGone;
  });
  gone.get_future().wait();
  while (recording.Errors().empty()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  const std::size_t packets = recording.Packets().size();
  std::this_thread::sleep_for(std::chrono::milliseconds(1'500));  // neither stills nor sound
  EXPECT_EQ(recording.Packets().size(), packets);
  ASSERT_EQ(recording.Errors().size(), 1u);
  EXPECT_TRUE(recording.Errors().front().starts_with("8 window ")) << recording.Errors().front();
}

std::vector<std::string>& LogLines() {
  static std::vector<std::string> lines;
  return lines;
}

TEST(VideoEncoders, AreTriedInOrderAndTheLogSaysWhy) {
  LogLines().clear();
  SetLogLevel(static_cast<std::int32_t>(LogLevel::kInfo));
  SetLogCallback([](std::int32_t, const char* text) { LogLines().emplace_back(text); });
  const auto encoder = OpenVideoEncoder({Refusing("first", "no such card"),
                                         Refusing("second", "busy"), Slow("third"), Slow("fourth")},
                                        {kSize, 30, 23});
  SetLogCallback(nullptr);
  EXPECT_EQ(encoder->format().width, kSize.width);
  EXPECT_EQ(LogLines(), std::vector<std::string>{
                            "video encoder third; not first: no such card; not second: busy"});
}

TEST(VideoEncoders, WithoutOneThatOpensARecordingFailsWithCode15) {
  try {
    TestRecording recording(Moving,
                            {Refusing("first", "no such card"), Refusing("second", "busy")});
    FAIL() << "it records";
  } catch (const Failure& failure) {
    EXPECT_EQ(static_cast<int>(failure.code()), 15);
    EXPECT_STREQ(failure.what(),
                 "no video encoder takes 320x200 at 30 frames per second; not first: no such card; "
                 "not second: busy");
  }
}

TEST(VideoEncoders, AreThoseOfGraphicsCardsAndThenX264) {
  std::vector<std::string> names;
  for (const VideoEncoderKind& kind : VideoEncoderKinds()) names.push_back(kind.name);
  EXPECT_EQ(names, (std::vector<std::string>{"h264_nvenc", "h264_amf", "h264_mf", "libx264"}));
}

}  // namespace
}  // namespace open_gsdk
