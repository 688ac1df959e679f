// Which frames the pictures become when the looks at the source come in time, late, after a stop,
// or take long. A frame lasts 100 ms here.
#include <gtest/gtest.h>

#include <cstdint>

#include "open_gsdk/session/frame_clock.h"

namespace open_gsdk {
namespace {

constexpr int kRate = 10;
constexpr std::int64_t kMs = 1'000'000;

struct Seen {
  std::int64_t frame;
  std::int64_t lost;

  bool operator==(const Seen&) const = default;
};

void PrintTo(const Seen& seen, std::ostream* out) {
  *out << "frame " << seen.frame << " after " << seen.lost << " lost ones";
}

Seen SeeNew(PicturePace& pace, std::int64_t begin_ms, std::int64_t length_ms = 10) {
  const PicturePace::Placed placed = pace.SawNew(begin_ms * kMs, (begin_ms + length_ms) * kMs);
  return {placed.frame, placed.lost};
}

void SeeNothingNew(PicturePace& pace, std::int64_t begin_ms) {
  pace.SawNothingNew(begin_ms * kMs, (begin_ms + 10) * kMs);
}

TEST(PicturePace, LooksOnceInEveryFrame) {
  PicturePace pace(kRate);
  for (std::int64_t frame = 0; frame < 25; ++frame) {
    EXPECT_EQ(pace.NextLookNs(), frame * 100 * kMs);
    EXPECT_EQ(SeeNew(pace, frame * 100), (Seen{frame, 0}));
  }
}

TEST(PicturePace, KeepsTheRateWhenLooksAreLateByLessThanAFrame) {
  PicturePace pace(kRate);
  const std::int64_t late_ms[] = {0, 99, 1, 60, 99, 40};
  std::int64_t frame = 0;
  for (const std::int64_t late : late_ms) {
    EXPECT_EQ(SeeNew(pace, frame * 100 + late), (Seen{frame, 0}));
    ++frame;
  }
}

TEST(PicturePace, LeavesOutTheFramesThatPassedAndSaysThatTheyAreLost) {
  PicturePace pace(kRate);
  EXPECT_EQ(SeeNew(pace, 0), (Seen{0, 0}));
  EXPECT_EQ(SeeNew(pace, 350), (Seen{3, 2}));
  EXPECT_EQ(pace.NextLookNs(), 400 * kMs);
  EXPECT_EQ(SeeNew(pace, 400), (Seen{4, 0}));
}

TEST(PicturePace, GoesOnWithThePresentAfterAStop) {
  PicturePace pace(kRate);
  SeeNew(pace, 0);
  EXPECT_EQ(SeeNew(pace, 86'400'020), (Seen{864'000, 863'999}));
  EXPECT_EQ(pace.NextLookNs(), 86'400'100 * kMs);  // no burst
  EXPECT_EQ(SeeNew(pace, 86'400'100), (Seen{864'001, 0}));
}

TEST(PicturePace, NeverUsesAFrameTwiceWhenALookComesEarly) {
  PicturePace pace(kRate);
  SeeNew(pace, 0);
  EXPECT_EQ(SeeNew(pace, 99), (Seen{1, 0}));
  EXPECT_EQ(SeeNew(pace, 99), (Seen{2, 0}));
  EXPECT_EQ(pace.NextLookNs(), 300 * kMs);
}

TEST(PicturePace, LosesNothingWhileTheSourceStandsStill) {
  PicturePace pace(kRate);
  SeeNew(pace, 0);
  SeeNothingNew(pace, 100);
  SeeNothingNew(pace, 950);  // late, but it shows what it showed before
  EXPECT_EQ(SeeNew(pace, 1'000), (Seen{10, 0}));
  SeeNothingNew(pace, 1'100);
  EXPECT_EQ(SeeNew(pace, 1'430), (Seen{14, 2}));
}

TEST(PicturePace, LosesNothingBeforeTheFirstLook) {
  PicturePace pace(kRate);
  EXPECT_EQ(SeeNew(pace, 730), (Seen{7, 0}));
}

TEST(PicturePace, TakesALookThatWasHeldUpForTheMomentOfItsEnd) {
  PicturePace pace(kRate);
  SeeNew(pace, 0);
  EXPECT_EQ(SeeNew(pace, 100, 199), (Seen{1, 0}));
  EXPECT_EQ(SeeNew(pace, 300, 3'000), (Seen{33, 31}));
  EXPECT_EQ(pace.NextLookNs(), 3'400 * kMs);
}

TEST(FrameToEncode, IsThePicturesOwnButNeverOneThatWasEncoded) {
  EXPECT_EQ(FrameToEncode(0, -1), 0);
  EXPECT_EQ(FrameToEncode(17, 9), 17);
  EXPECT_EQ(FrameToEncode(9, 9), 10);
  EXPECT_EQ(FrameToEncode(4, 9), 10);
}

TEST(IsKeyFrameDue, OnceInEverySecondWhateverFramesAreLeftOut) {
  EXPECT_FALSE(IsKeyFrameDue(9, 0, kRate));
  EXPECT_TRUE(IsKeyFrameDue(10, 0, kRate));
  EXPECT_TRUE(IsKeyFrameDue(57, 40, kRate));
  EXPECT_FALSE(IsKeyFrameDue(49, 40, kRate));
}

}  // namespace
}  // namespace open_gsdk
