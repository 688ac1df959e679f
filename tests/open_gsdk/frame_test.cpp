#include <gtest/gtest.h>

#include <cstdint>

#include "open_gsdk/encoding/frame_geometry.h"
#include "open_gsdk/session/frame_clock.h"

namespace open_gsdk {

void PrintTo(const Size& size, std::ostream* out) { *out << size.width << "x" << size.height; }

void PrintTo(const Placement& placement, std::ostream* out) {
  *out << placement.used.width << "x" << placement.used.height << " drawn as "
       << placement.drawn.width << "x" << placement.drawn.height << " at " << placement.left << ","
       << placement.top;
}

namespace {

TEST(EncodedSize, IsEvenWithinTheLimitsAndNeverLargerThanTheSource) {
  struct Case {
    Size source;
    std::uint32_t max_width;
    std::uint32_t max_height;
    Size expected;
  };
  const Case cases[] = {
      {{1280, 720}, 1920, 1080, {1280, 720}},    // not enlarged
      {{1280, 720}, 0, 0, {1280, 720}},          // no limit
      {{1280, 720}, 1280, 720, {1280, 720}},     // exactly the limit
      {{1281, 721}, 1920, 1080, {1280, 720}},    // even
      {{2560, 1440}, 1920, 1080, {1920, 1080}},  // scaled down
      {{2560, 1080}, 1920, 1080, {1920, 810}},   // the width decides
      {{1600, 1200}, 1920, 1080, {1440, 1080}},  // the height decides
      {{1000, 1000}, 333, 0, {332, 332}},        // an odd limit is not passed
      {{3, 3}, 0, 0, {16, 16}},                  // the least there is
      {{0, 0}, 1920, 1080, {16, 16}},
      {{4000, 20}, 400, 0, {400, 16}},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(EncodedSize(row.source, row.max_width, row.max_height), row.expected)
        << row.source.width << "x" << row.source.height << " in " << row.max_width << "x"
        << row.max_height;
  }
}

TEST(PlaceInside, KeepsTheAspectRatioAndCentres) {
  struct Case {
    Size source;
    Size picture;
    Placement expected;
  };
  const Case cases[] = {
      {{1280, 720}, {1280, 720}, {{1280, 720}, {1280, 720}, 0, 0}},
      {{1281, 721}, {1280, 720}, {{1280, 720}, {1280, 720}, 0, 0}},    // cut, not scaled
      {{2560, 1440}, {1280, 720}, {{2560, 1440}, {1280, 720}, 0, 0}},  // scaled down
      {{640, 360}, {1280, 720}, {{640, 360}, {1280, 720}, 0, 0}},      // scaled up
      {{800, 600}, {1280, 720}, {{800, 600}, {960, 720}, 160, 0}},     // bars at the sides
      {{1280, 400}, {1280, 720}, {{1280, 400}, {1280, 400}, 0, 160}},  // bars above and below
      {{1366, 768}, {1280, 718}, {{1366, 768}, {1280, 718}, 0, 0}},    // rounding makes no bar
      {{1, 1000}, {1280, 720}, {{1, 1000}, {2, 720}, 638, 0}},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(PlaceInside(row.source, row.picture), row.expected)
        << row.source.width << "x" << row.source.height << " in " << row.picture.width << "x"
        << row.picture.height;
  }
}

TEST(FrameClock, TimesDoNotDriftAndNoFrameIsDueTwice) {
  constexpr int kRate = 60;
  EXPECT_EQ(FrameTimeNs(1, kRate), 16'666'666);
  EXPECT_EQ(FrameTimeNs(60LL * 3600 * 24 * 365, kRate), 3600LL * 24 * 365 * 1'000'000'000);
  for (std::int64_t frame = 0; frame < 1000; ++frame) {
    EXPECT_EQ(FrameDueAt(FrameTimeNs(frame, kRate), kRate), frame);
    EXPECT_EQ(FrameDueAt(FrameTimeNs(frame + 1, kRate) - 1, kRate), frame);
  }
}

}  // namespace
}  // namespace open_gsdk
