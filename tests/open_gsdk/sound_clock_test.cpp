#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>

#include "open_gsdk/inputs/device_clock.h"
#include "open_gsdk/session/sound_timeline.h"

namespace open_gsdk {
namespace {

constexpr int kRate = 48'000;
constexpr std::int64_t kMs = 1'000'000;
constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kPacket = 480;  // 10 ms

// A device that counts its samples at its own speed, and packets of it that arrive some time later.
class Device {
 public:
  explicit Device(double parts_per_million = 0) : ns_per_sample_(1e9 / kRate) {
    ns_per_sample_ *= 1 + parts_per_million * 1e-6;
  }

  // When the sample was really taken.
  std::int64_t TimeOf(std::int64_t sample) const {
    return kStart + static_cast<std::int64_t>(static_cast<double>(sample) * ns_per_sample_);
  }

  // The next packet, seen `late_ns` after its last sample was taken.
  SoundRun Next(std::int64_t late_ns = 0, std::int64_t frames = kPacket) {
    SoundRun run{.position = position_ + count_error_, .frames = frames};
    first_ = position_;
    position_ += frames;
    run.observed_ns = TimeOf(position_) + late_ns - frames * kSecond / kRate;
    return run;
  }

  std::int64_t first() const { return first_; }  // of the last packet
  // Samples that are taken, but never arrive.
  void Lose(std::int64_t samples) { position_ += samples; }
  // From now on the device's count is off by so much more.
  void Miscount(std::int64_t samples) { count_error_ += samples; }

 private:
  static constexpr std::int64_t kStart = 77 * kSecond;

  double ns_per_sample_;
  std::int64_t position_ = 0;
  std::int64_t first_ = 0;
  std::int64_t count_error_ = 0;
};

std::int64_t ErrorNs(const Device& device, const DeviceClock::Dating& dating) {
  return dating.time_ns - device.TimeOf(device.first());
}

TEST(DeviceClock, TakesTimesFromTheLeastLateArrival) {
  DeviceClock clock(kRate);
  Device device;
  std::mt19937 random(1);
  std::uniform_int_distribution<std::int64_t> lateness(0, 25 * kMs);
  EXPECT_FALSE(clock.Date(device.Next(25 * kMs)).jump);
  for (int packet = 0; packet < 1000; ++packet) {
    const DeviceClock::Dating dating = clock.Date(device.Next(lateness(random)));
    if (packet < 100) continue;  // for a second it goes back at once
    EXPECT_FALSE(dating.jump);
    EXPECT_GE(ErrorNs(device, dating), 0);
    EXPECT_LE(ErrorNs(device, dating), 2 * kMs);
  }
}

TEST(DeviceClock, GoesBackAtOnceWhileItIsNew) {
  DeviceClock clock(kRate);
  Device device;
  clock.Date(device.Next(25 * kMs));
  const DeviceClock::Dating dating = clock.Date(device.Next(5 * kMs));
  EXPECT_TRUE(dating.jump);
  EXPECT_EQ(ErrorNs(device, dating), 5 * kMs);
}

TEST(DeviceClock, FollowsADriftOf200PartsPerMillionForAnHour) {
  for (const double drift : {200.0, -200.0}) {
    DeviceClock clock(kRate);
    Device device(drift);
    std::mt19937 random(2);
    std::uniform_int_distribution<std::int64_t> lateness(0, 25 * kMs);
    std::int64_t before = clock.Date(device.Next()).time_ns;
    for (int packet = 0; packet < 100 * 3600; ++packet) {
      const DeviceClock::Dating dating = clock.Date(device.Next(lateness(random)));
      ASSERT_FALSE(dating.jump);
      ASSERT_LE(std::abs(ErrorNs(device, dating)), 4 * kMs);
      ASSERT_LE(std::abs(dating.time_ns - before - 10 * kMs), 10 * kMs * 4 / 10'000)
          << "packet " << packet;
      before = dating.time_ns;
    }
  }
}

TEST(DeviceClock, IsNotMovedByABusyMachine) {
  DeviceClock clock(kRate);
  Device device;
  for (int packet = 0; packet < 300; ++packet) clock.Date(device.Next(packet % 10 * kMs));
  // For 150 ms everything comes half a second late.
  for (int packet = 0; packet < 15; ++packet) {
    const DeviceClock::Dating dating = clock.Date(device.Next(500 * kMs));
    EXPECT_FALSE(dating.jump);
    EXPECT_LE(ErrorNs(device, dating), 1 * kMs);
  }
  EXPECT_LE(ErrorNs(device, clock.Date(device.Next())), 1 * kMs);
}

TEST(DeviceClock, TakesWhatWasReadInOneGoForOneArrival) {
  DeviceClock clock(kRate);
  Device device;
  for (int packet = 0; packet < 300; ++packet) clock.Date(device.Next());
  // The machine was stopped for 600 ms and the device kept it all.
  const DeviceClock::Dating dating = clock.Date(device.Next(5 * kMs, 60 * kPacket));
  EXPECT_FALSE(dating.jump);
  EXPECT_LE(std::abs(ErrorNs(device, dating)), 1);
}

TEST(DeviceClock, KeepsTheTimesWhenSamplesAreLostAndCounted) {
  DeviceClock clock(kRate);
  Device device;
  for (int packet = 0; packet < 300; ++packet) clock.Date(device.Next());
  device.Lose(3 * kRate);
  SoundRun run = device.Next(2 * kMs);
  run.discontinuity = true;
  const DeviceClock::Dating dating = clock.Date(run);
  EXPECT_TRUE(dating.jump);
  EXPECT_LE(std::abs(ErrorNs(device, dating)), kMs / 100);
  EXPECT_FALSE(clock.Date(device.Next()).jump);
}

TEST(DeviceClock, FindsTheTimeAnewWhenSamplesAreLostUncounted) {
  DeviceClock clock(kRate);
  Device device;
  for (int packet = 0; packet < 300; ++packet) clock.Date(device.Next());
  device.Lose(3 * kRate);
  device.Miscount(-3 * kRate);
  SoundRun run = device.Next(1 * kMs);
  run.discontinuity = true;
  const DeviceClock::Dating dating = clock.Date(run);
  EXPECT_TRUE(dating.jump);
  EXPECT_EQ(ErrorNs(device, dating), 1 * kMs);
}

TEST(DeviceClock, FindsTheTimeAnewAfterADeviceWasIdleAndDidNotCount) {
  DeviceClock clock(kRate);
  Device device;
  for (int packet = 0; packet < 300; ++packet) clock.Date(device.Next());
  device.Lose(10 * kRate);
  device.Miscount(-10 * kRate);
  const DeviceClock::Dating dating = clock.Date(device.Next(1 * kMs));
  EXPECT_TRUE(dating.jump);
  EXPECT_EQ(ErrorNs(device, dating), 1 * kMs);
}

TEST(DeviceClock, FindsTheTimeAnewWhenArrivalsStayLate) {
  DeviceClock clock(kRate);
  Device device;
  for (int packet = 0; packet < 300; ++packet) clock.Date(device.Next());
  device.Lose(kRate / 10);  // unsaid
  device.Miscount(-kRate / 10);
  int packets = 1;
  while (!clock.Date(device.Next()).jump) ++packets;
  EXPECT_EQ(packets, 21);  // 200 ms
  EXPECT_EQ(ErrorNs(device, clock.Date(device.Next())), 0);
}

TEST(DeviceClock, GoesBackAtOnceWhenSamplesComeBeforeTheirTime) {
  DeviceClock clock(kRate);
  Device device;
  for (int packet = 0; packet < 300; ++packet) clock.Date(device.Next());
  device.Miscount(kRate);  // the count leaps, and nothing is lost
  const DeviceClock::Dating dating = clock.Date(device.Next());
  EXPECT_TRUE(dating.jump);
  EXPECT_EQ(ErrorNs(device, dating), 0);
}

TEST(DeviceClock, GoesBackTooSlowlyToBeHeardWhenSamplesComeALittleEarly) {
  DeviceClock clock(kRate);
  Device device;
  std::int64_t before = 0;
  for (int packet = 0; packet < 300; ++packet) before = clock.Date(device.Next()).time_ns;
  for (int packet = 0; packet < 100 * 29; ++packet) {
    const DeviceClock::Dating dating = clock.Date(device.Next(-10 * kMs));
    ASSERT_FALSE(dating.jump);
    ASSERT_LE(std::abs(dating.time_ns - before - 10 * kMs), 10 * kMs / 3000 + 1) << packet;
    before = dating.time_ns;
  }
  // A three-thousandth of 29 s has been made up for.
  EXPECT_NEAR(static_cast<double>(ErrorNs(device, clock.Date(device.Next(-10 * kMs)))),
              static_cast<double>(-29 * kSecond) / 3000, 0.01 * kMs);
}

// A device that begins anew, as it does after the machine slept: behind its clock or ahead of it.
TEST(AlignBlock, PutsATrackRightAtOnceAfterAStopOrAJump) {
  for (const std::int64_t step : {3 * kRate, -3 * kRate, kRate / 10, -kRate / 10}) {
    DeviceClock clock(kRate);
    Device device;
    const std::int64_t start_ns = device.TimeOf(0);
    std::int64_t end = 0;
    for (int packet = 0; packet < 900; ++packet) {
      if (packet == 300 && step > 0) device.Lose(step);  // nothing is taken meanwhile
      if (packet == 600) device.Miscount(-step);         // and the device counts anew
      SoundRun run = device.Next();
      run.discontinuity = packet == 300 || packet == 600;
      const DeviceClock::Dating dating = clock.Date(run);
      const Alignment alignment =
          AlignBlock(end - SamplesUntil(dating.time_ns, start_ns, kRate), dating.jump, kRate);
      end += alignment.silence + kPacket - alignment.skip;
      ASSERT_EQ(alignment.breaks, packet == 300 && step > 0) << step << " at " << packet;
      ASSERT_NEAR(static_cast<double>(end),
                  static_cast<double>(
                      SamplesUntil(device.TimeOf(device.first() + kPacket), start_ns, kRate)),
                  2)
          << step << " at " << packet;
    }
  }
}

TEST(DeviceClock, BeginsAnewWithADeviceThatCountsFromTheBeginning) {
  DeviceClock clock(kRate);
  Device device;
  for (int packet = 0; packet < 300; ++packet) clock.Date(device.Next());
  device.Miscount(-300 * kPacket);
  const DeviceClock::Dating dating = clock.Date(device.Next());
  EXPECT_TRUE(dating.jump);
  EXPECT_EQ(ErrorNs(device, dating), 0);
}

TEST(DeviceClock, CountsForYears) {
  DeviceClock clock(44'100);
  const std::int64_t year = 44'100LL * 86'400 * 365;
  clock.Date({.position = 10 * year, .frames = 441, .observed_ns = kSecond});
  const DeviceClock::Dating dating =
      clock.Date({.position = 10 * year + 441, .frames = 441, .observed_ns = kSecond + 10 * kMs});
  EXPECT_FALSE(dating.jump);
  EXPECT_EQ(dating.time_ns, kSecond + 10 * kMs);
}

TEST(AlignBlock, LeavesWhatFitsAlone) {
  EXPECT_EQ(AlignBlock(0, false, kRate), Alignment{});
  EXPECT_EQ(AlignBlock(0, true, kRate), Alignment{});
}

TEST(AlignBlock, EvensOutSmallDifferencesSlowly) {
  EXPECT_EQ(AlignBlock(5, false, kRate), Alignment{.stretch = -5});
  EXPECT_EQ(AlignBlock(-5, false, kRate), Alignment{.stretch = 5});
  EXPECT_EQ(AlignBlock(1919, false, kRate), Alignment{.stretch = -192});
  EXPECT_EQ(AlignBlock(-1919, false, kRate), Alignment{.stretch = 192});
  EXPECT_EQ(AlignBlock(47, true, kRate), Alignment{.stretch = -47});
}

TEST(AlignBlock, BreaksAtLargeDifferencesAndAtSmallOnesAfterAJump) {
  EXPECT_EQ(AlignBlock(1920, false, kRate), (Alignment{.breaks = true, .skip = 1920}));
  EXPECT_EQ(AlignBlock(-1920, false, kRate), (Alignment{.breaks = true, .silence = 1920}));
  EXPECT_EQ(AlignBlock(48, true, kRate), (Alignment{.breaks = true, .skip = 48}));
  EXPECT_EQ(AlignBlock(-3 * kRate, true, kRate), (Alignment{.breaks = true, .silence = 3 * kRate}));
}

// The device's clock and the correction together, with an ideal resampler between them.
TEST(AlignBlock, KeepsATrackOfADriftingDeviceOnTheClockForAnHour) {
  for (const double drift : {200.0, -200.0}) {
    DeviceClock clock(kRate);
    Device device(drift);
    std::mt19937 random(3);
    std::uniform_int_distribution<std::int64_t> lateness(0, 25 * kMs);
    const std::int64_t start_ns = device.TimeOf(0);
    double length = 0;
    for (int packet = 0; packet < 100 * 3600; ++packet) {
      const DeviceClock::Dating dating =
          clock.Date(device.Next(packet == 0 ? 0 : lateness(random)));
      const auto end = static_cast<std::int64_t>(length);
      const Alignment alignment =
          AlignBlock(end - SamplesUntil(dating.time_ns, start_ns, kRate), dating.jump, kRate);
      ASSERT_FALSE(alignment.breaks) << "packet " << packet;
      length += static_cast<double>(kPacket) * (1 + alignment.stretch / static_cast<double>(kRate));
      const std::int64_t right =
          SamplesUntil(device.TimeOf(device.first() + kPacket), start_ns, kRate);
      ASSERT_LE(std::abs(static_cast<std::int64_t>(length) - right), 200) << "packet " << packet;
    }
  }
}

TEST(SoundSupply, GetsMoreTimeWhileADeviceIsAtWork) {
  const std::int64_t now = 100 * kSecond;
  EXPECT_EQ(GraceNs({}, now), 60 * kMs);
  EXPECT_EQ(GraceNs({.bound = true}, now), 60 * kMs);
  EXPECT_EQ(GraceNs({.bound = true, .heard_ns = now - 999 * kMs}, now), 250 * kMs);
  EXPECT_EQ(GraceNs({.bound = true, .heard_ns = now - 1000 * kMs}, now), 60 * kMs);
  EXPECT_EQ(GraceNs({.bound = true, .lost = true, .heard_ns = now}, now), 60 * kMs);
}

TEST(SoundSupply, LosesSoundOnlyWhereThereWasSome) {
  EXPECT_FALSE(IsLoss({}, true));
  EXPECT_FALSE(IsLoss({.bound = true}, true));  // gave nothing before
  EXPECT_FALSE(IsLoss({.bound = true, .heard_ns = 1}, false));
  EXPECT_TRUE(IsLoss({.bound = true, .heard_ns = 1}, true));
  EXPECT_TRUE(IsLoss({.bound = true, .lost = true, .heard_ns = 1}, false));
}

TEST(SoundSupply, KnowsAThreadThatDidNotRun) {
  EXPECT_FALSE(HasOverslept(kSecond, kSecond - 1));
  EXPECT_FALSE(HasOverslept(kSecond, kSecond + 500 * kMs));
  EXPECT_TRUE(HasOverslept(kSecond, kSecond + 500 * kMs + 1));
}

TEST(SampleTimes, AreExactForDays) {
  const std::int64_t start_ns = 5;
  EXPECT_EQ(SampleTimeNs(0, start_ns, 44'100), 5);
  EXPECT_EQ(SampleTimeNs(-1024, start_ns, 48'000), 5 - 21'333'333);
  const std::int64_t week = 7 * 86'400;
  EXPECT_EQ(SampleTimeNs(week * 44'100 + 1, start_ns, 44'100), 5 + week * kSecond + 22'675);
  EXPECT_EQ(SamplesUntil(5 + week * kSecond + 22'676, start_ns, 44'100), week * 44'100 + 1);
  EXPECT_EQ(SamplesUntil(start_ns - kSecond, start_ns, 44'100), -44'100);
}

}  // namespace
}  // namespace open_gsdk
