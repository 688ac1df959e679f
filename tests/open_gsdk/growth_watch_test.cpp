#include "open_gsdk/session/growth_watch.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace open_gsdk {
namespace {

constexpr std::int64_t kMs = 1'000'000;
constexpr Size kLauncher = {800, 600};
constexpr Size kHalfMore = {1200, 600};
constexpr Size kAlmostHalfMore = {1199, 600};
constexpr Size kGame = {1920, 1080};

GrowthWatch WatchOfTheLauncher() {
  GrowthWatch watch;
  watch.Chose(kLauncher);
  EXPECT_FALSE(watch.Saw(kLauncher, 0));
  return watch;
}

TEST(GrowthWatch, NoticesASourceThatIsHalfAsLargeAgainForTwoSeconds) {
  GrowthWatch watch = WatchOfTheLauncher();
  EXPECT_FALSE(watch.Saw(kHalfMore, 1'000 * kMs));
  EXPECT_FALSE(watch.Saw(kHalfMore, 2'999 * kMs));
  EXPECT_TRUE(watch.Saw(kHalfMore, 3'000 * kMs));
}

TEST(GrowthWatch, LeavesSmallerChangesAlone) {
  GrowthWatch watch = WatchOfTheLauncher();
  for (const Size size : {kAlmostHalfMore, Size{1600, 300}, Size{16, 16}, Size{0, 0}}) {
    EXPECT_FALSE(watch.Saw(size, 0));
    EXPECT_FALSE(watch.Saw(size, 60'000 * kMs));
  }
}

TEST(GrowthWatch, LeavesPassingChangesAlone) {
  GrowthWatch watch = WatchOfTheLauncher();
  EXPECT_FALSE(watch.Saw(kGame, 0));
  EXPECT_FALSE(watch.Saw(kLauncher, 1'900 * kMs));
  EXPECT_FALSE(watch.Saw(kGame, 2'000 * kMs));
  EXPECT_FALSE(watch.Saw(kGame, 3'999 * kMs));
  watch.SawNothing();  // minimised
  EXPECT_FALSE(watch.Saw(kGame, 4'100 * kMs));
  EXPECT_TRUE(watch.Saw(kGame, 6'100 * kMs));
}

TEST(GrowthWatch, WaitsForASizeThatLasts) {
  GrowthWatch watch = WatchOfTheLauncher();
  for (int step = 0; step < 10; ++step) {
    EXPECT_FALSE(watch.Saw({1920 + step, 1080}, step * 1'000 * kMs));
  }
  EXPECT_TRUE(watch.Saw({1929, 1080}, 11'000 * kMs));
}

TEST(GrowthWatch, ComparesWithTheSizeThatWasChosenLast) {
  GrowthWatch watch = WatchOfTheLauncher();
  watch.Chose(kGame);
  EXPECT_FALSE(watch.Saw(kGame, 0));
  EXPECT_FALSE(watch.Saw(kGame, 10'000 * kMs));
  EXPECT_FALSE(watch.Saw({3840, 2160}, 11'000 * kMs));
  EXPECT_TRUE(watch.Saw({3840, 2160}, 13'000 * kMs));
}

}  // namespace
}  // namespace open_gsdk
