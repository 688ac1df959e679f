#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <vector>

#include "open_gsdk/encoding/sound_converter.h"
#include "open_gsdk/encoding/sound_encoder.h"
#include "open_gsdk/session/sound_track.h"

namespace open_gsdk {
namespace {

constexpr int kRate = 48'000;
constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kStart = 7 * kSecond;
constexpr AudioEncoding kEncoding = {.sample_rate = kRate, .bit_rate = 128'000};

void Put(std::vector<std::uint8_t>& bytes, SampleKind kind, double value) {
  const auto put = [&](const void* data, std::size_t size) {
    const auto* first = static_cast<const std::uint8_t*>(data);
    bytes.insert(bytes.end(), first, first + size);
  };
  if (kind == SampleKind::kFloat32) {
    const auto sample = static_cast<float>(value);
    put(&sample, 4);
    return;
  }
  const auto sample = static_cast<std::int32_t>(value * 0x7FFFFFFF);
  const std::size_t size = SampleBytes(kind);
  // The upper bytes of the little-endian number.
  put(reinterpret_cast<const std::uint8_t*>(&sample) + 4 - size, size);
}

// A sine of 1 kHz at half amplitude on the first `sounding` channels.
std::vector<std::uint8_t> Sine(const SoundFormat& format, std::int64_t frames, int sounding) {
  std::vector<std::uint8_t> bytes;
  for (std::int64_t frame = 0; frame < frames; ++frame) {
    const double angle = 2 * std::numbers::pi * 1000 * static_cast<double>(frame) /
                         static_cast<double>(format.sample_rate);
    for (int channel = 0; channel < format.channels; ++channel) {
      Put(bytes, format.kind, channel < sounding ? 0.5 * std::sin(angle) : 0);
    }
  }
  return bytes;
}

// The amplitude of 1 kHz in the second half of what is a second long.
double Level(const std::vector<float>& samples) {
  double in_phase = 0;
  double across = 0;
  for (std::size_t at = kRate / 2; at < kRate / 2 + 9600; ++at) {
    const double angle = 2 * std::numbers::pi * 1000 * static_cast<double>(at) / kRate;
    in_phase += samples.at(at) * std::cos(angle);
    across += samples.at(at) * std::sin(angle);
  }
  return std::hypot(in_phase, across) * 2 / 9600;
}

StereoSamples ConvertASecond(const SoundFormat& format, int sounding) {
  SoundConverter converter(format, kRate);
  const std::vector<std::uint8_t> bytes = Sine(format, format.sample_rate, sounding);
  StereoSamples samples;
  // In pieces, as a device gives them.
  const std::int64_t piece = format.sample_rate / 100;
  for (std::int64_t frame = 0; frame < format.sample_rate; frame += piece) {
    converter.Convert(bytes.data() + static_cast<std::size_t>(frame) * FrameBytes(format),
                      static_cast<std::size_t>(piece), samples);
  }
  EXPECT_NEAR(static_cast<double>(converter.Delay()) + static_cast<double>(samples.size()), kRate,
              2);
  converter.Drain(samples);
  EXPECT_NEAR(static_cast<double>(samples.size()), kRate, 2);
  return samples;
}

TEST(SoundConverter, TakesEveryFormatAtItsLevelAndLength) {
  for (const SoundFormat& format :
       {SoundFormat{.sample_rate = 48'000, .channels = 2, .kind = SampleKind::kFloat32},
        SoundFormat{.sample_rate = 44'100, .channels = 2, .kind = SampleKind::kInt16},
        SoundFormat{.sample_rate = 96'000, .channels = 2, .kind = SampleKind::kInt24},
        SoundFormat{.sample_rate = 16'000, .channels = 1, .kind = SampleKind::kInt32},
        SoundFormat{.sample_rate = 48'000, .channels = 1, .kind = SampleKind::kFloat32}}) {
    const StereoSamples samples = ConvertASecond(format, format.channels);
    EXPECT_NEAR(Level(samples.left), 0.5, 0.005) << format.sample_rate;
    EXPECT_NEAR(Level(samples.right), 0.5, 0.005) << format.sample_rate;
  }
}

TEST(SoundConverter, MixesSixChannelsToTheirSidesWithoutClipping) {
  const SoundFormat format{.sample_rate = 48'000, .channels = 6, .channel_mask = 0x3F};
  const StereoSamples left = ConvertASecond(format, 1);
  EXPECT_GT(Level(left.left), 0.15);
  EXPECT_LT(Level(left.right), 0.001);
  const StereoSamples all = ConvertASecond(format, 6);
  EXPECT_LE(Level(all.left), 0.505);
  EXPECT_GT(Level(all.left), 0.4);
}

TEST(SoundConverter, StretchesEvenly) {
  const SoundFormat format{.sample_rate = 48'000, .channels = 2};
  const std::vector<std::uint8_t> bytes = Sine(format, kRate, 2);
  for (const int more : {100, -100}) {
    SoundConverter converter(format, kRate);
    converter.Stretch(more, kRate);
    StereoSamples samples;
    converter.Convert(bytes.data(), kRate, samples);
    converter.Drain(samples);
    EXPECT_NEAR(static_cast<double>(samples.size()), kRate + more, 3);
    float step = 0;
    for (std::size_t at = 100; at + 100 < samples.size(); ++at) {
      step = std::max(step, std::abs(samples.left[at] - samples.left[at - 1]));
    }
    EXPECT_LT(step, 0.5F * 2 * std::numbers::pi_v<float> * 1000 / kRate * 1.02F);
  }
}

TEST(SoundEncoder, GivesEqualPacketsInSilenceAndNumbersAllOfThemInTurn) {
  SoundEncoder encoder("Game", kEncoding);
  ASSERT_EQ(encoder.frame_size(), 1024u);
  std::vector<float> tone(1024);
  for (std::size_t at = 0; at < tone.size(); ++at) {
    tone[at] = 0.5F * std::sin(static_cast<float>(at) * 0.3F);
  }
  const std::vector<float> silence(1024);
  std::vector<SoundEncoder::Output> packets;
  for (int frame = 0; frame < 60; ++frame) {
    const std::vector<float>& samples = frame >= 20 && frame < 40 ? tone : silence;
    encoder.Encode(samples.data(), samples.data(),
                   [&](SoundEncoder::Output output) { packets.push_back(std::move(output)); });
  }
  ASSERT_EQ(packets.size(), 59u);
  for (std::size_t at = 0; at < packets.size(); ++at) {
    EXPECT_EQ(packets[at].first_sample, (static_cast<std::int64_t>(at) - 1) * 1024);
  }
  EXPECT_EQ(packets[12].data, packets[18].data);  // silence
  EXPECT_EQ(packets[18].data, packets[58].data);  // and again
  EXPECT_GT(packets[30].data.size(), 10 * packets[18].data.size());
}

// A track with what it delivers.
struct Recorded {
  Recorded() {
    track.Start(kStart, [this](SoundPacket packet) { packets.push_back(std::move(packet)); });
  }

  void Add(std::int64_t time_ns, std::int64_t frames, bool jump = false, bool loss = false) {
    SoundBlock block;
    block.format = {.sample_rate = kRate, .channels = 2};
    block.time_ns = time_ns;
    block.frames = frames;
    block.jump = jump;
    block.bytes = Sine(block.format, frames, 2);
    track.Add(block, loss);
  }

  // Of all packets, each of which begins where the one before ends.
  std::int64_t LostNs() const {
    std::int64_t lost_ns = 0;
    std::int64_t end_ns = kStart - 21'333'333;  // the first one fills the decoder only
    for (const SoundPacket& packet : packets) {
      EXPECT_EQ(packet.time_ns, end_ns);
      end_ns = packet.time_ns + packet.duration_ns;
      lost_ns += packet.dropped_ns;
    }
    return lost_ns;
  }

  SoundTrack track{"Game", kEncoding};
  std::vector<SoundPacket> packets;
};

TEST(SoundTrack, FillsInWholePacketsUntilTheTime) {
  Recorded recorded;
  recorded.track.FillUntil(kStart + kSecond, false);
  // 46 frames of 21.3 ms are in a second, and the last one is still in the encoder.
  EXPECT_EQ(recorded.packets.size(), 45u);
  EXPECT_EQ(recorded.LostNs(), 0);
  EXPECT_EQ(recorded.track.NextPacketEndNs(), kStart + 47 * 1024 * kSecond / kRate);
}

TEST(SoundTrack, CountsSilenceThatStandsForLostSound) {
  Recorded recorded;
  recorded.track.FillUntil(kStart + kSecond, true);
  recorded.track.FillUntil(kStart + 2 * kSecond, false);
  EXPECT_NEAR(static_cast<double>(recorded.LostNs()), 46 * 1024.0 * kSecond / kRate, 100);
}

TEST(SoundTrack, PutsSilenceBeforeABlockThatComesLater) {
  Recorded recorded;
  recorded.Add(kStart + kSecond / 2, kRate / 2, true, false);
  recorded.Add(kStart + 3 * kSecond / 2, kRate / 2, true, true);
  EXPECT_EQ(recorded.packets.size(), 2u * kRate / 1024 - 1);
  EXPECT_NEAR(static_cast<double>(recorded.LostNs()), static_cast<double>(kSecond) / 2, 1e5);
}

TEST(SoundTrack, LeavesOutWhatItHasAndCountsItWhenSilenceTookItsPlace) {
  Recorded recorded;
  recorded.track.FillUntil(kStart + kSecond, false);
  recorded.Add(kStart + kSecond / 2, kRate, true);
  recorded.track.FillUntil(kStart + 2 * kSecond, false);
  EXPECT_NEAR(static_cast<double>(recorded.LostNs()), kSecond * 0.48, 5e6);
  // The same again is no loss: the track has that sound.
  const std::int64_t before_ns = recorded.LostNs();
  recorded.Add(kStart + 2 * kSecond, kRate, true);
  recorded.Add(kStart + 2 * kSecond + kSecond / 2, kRate, true);
  EXPECT_NEAR(static_cast<double>(recorded.LostNs() - before_ns), 0, 25e6);
}

TEST(SoundTrack, JoinsBlocksOfADeviceThatIsALittleFast) {
  Recorded recorded;
  // 100 samples a second too many.
  for (int block = 0; block < 500; ++block) {
    recorded.Add(kStart + block * kSecond / 100, 481);
  }
  EXPECT_EQ(recorded.LostNs(), 0);
  // Without two packets that are still in the encoder, and what does not fill one.
  const SoundPacket& last = recorded.packets.back();
  const std::int64_t length_ns = last.time_ns + last.duration_ns - kStart;
  EXPECT_GT(length_ns, 5 * kSecond - 3 * last.duration_ns);
  EXPECT_LE(length_ns, 5 * kSecond - 2 * last.duration_ns + kSecond / 200);
}

}  // namespace
}  // namespace open_gsdk
