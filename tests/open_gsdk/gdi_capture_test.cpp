#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "open_gsdk/inputs/gdi_capture.h"
#include "open_gsdk/inputs/monitors.h"
#include "tests/open_gsdk/window.h"

namespace open_gsdk {
namespace {

constexpr COLORREF kRed = RGB(255, 0, 0);
constexpr COLORREF kGreen = RGB(0, 255, 0);

// The colour of a pixel, blue first.
std::array<int, 3> PixelAt(const Image& image, int x, int y) {
  const std::uint8_t* pixel = image.pixels + y * image.Stride() + x * 4;
  return {pixel[0], pixel[1], pixel[2]};
}

TEST(GdiCapture, SeesAWindowsClientArea) {
  TestWindow window(L"seen", 320, 200, kRed);
  const VideoSource source{.window = window.handle(), .process_id = GetCurrentProcessId()};
  GdiCapture capture;
  ASSERT_EQ(capture.Grab(source), GrabResult::kPicture);
  EXPECT_EQ(capture.image().size, (Size{320, 200}));
  EXPECT_EQ(PixelAt(capture.image(), 0, 0), (std::array{0, 0, 255}));
  EXPECT_EQ(PixelAt(capture.image(), 319, 199), (std::array{0, 0, 255}));

  // It looks as it did, and the picture of before stays.
  EXPECT_EQ(capture.Grab(source), GrabResult::kUnchanged);
  EXPECT_EQ(capture.Grab(source), GrabResult::kUnchanged);
  EXPECT_EQ(PixelAt(capture.image(), 319, 199), (std::array{0, 0, 255}));

  window.ResizeClient(200, 240);
  window.Fill(kGreen);
  ASSERT_EQ(capture.Grab(source), GrabResult::kPicture);
  EXPECT_EQ(capture.image().size, (Size{200, 240}));
  EXPECT_EQ(PixelAt(capture.image(), 199, 239), (std::array{0, 255, 0}));

  // One pixel is enough, the last one too.
  const HDC dc = GetDC(window.handle());
  SetPixel(dc, 199, 239, kRed);
  ReleaseDC(window.handle(), dc);
  ASSERT_EQ(capture.Grab(source), GrabResult::kPicture);
  EXPECT_EQ(PixelAt(capture.image(), 199, 239), (std::array{0, 0, 255}));
  EXPECT_EQ(capture.Grab(source), GrabResult::kUnchanged);

  window.Minimise();
  EXPECT_EQ(capture.Grab(source), GrabResult::kNothing);
  window.Close();
  EXPECT_EQ(capture.Grab(source), GrabResult::kGone);
}

TEST(GdiCapture, SeesAMonitor) {
  const TestWindow window(L"on the monitor", 320, 200, kRed);
  POINT inside = {10, 10};
  ClientToScreen(window.handle(), &inside);
  const std::vector<Monitor> monitors = ListMonitors();
  const auto primary = std::find_if(monitors.begin(), monitors.end(),
                                    [](const Monitor& monitor) { return monitor.primary; });
  ASSERT_NE(primary, monitors.end());
  GdiCapture capture;
  ASSERT_EQ(capture.Grab({.monitor = primary->name}), GrabResult::kPicture);
  const RECT& area = primary->rectangle;
  EXPECT_EQ(capture.image().size, (Size{static_cast<int>(area.right - area.left),
                                        static_cast<int>(area.bottom - area.top)}));
  EXPECT_EQ(PixelAt(capture.image(), inside.x - area.left, inside.y - area.top),
            (std::array{0, 0, 255}));
}

TEST(GdiCapture, AMonitorThatIsNotThereIsGone) {
  GdiCapture capture;
  EXPECT_EQ(capture.Grab({.monitor = L"\\\\.\\DISPLAY77"}), GrabResult::kGone);
}

TEST(GdiCapture, DrawsTheCursorWhenAskedTo) {
  const TestWindow window(L"cursor", 320, 200, kRed);
  POINT place = {160, 100};
  ClientToScreen(window.handle(), &place);
  SetCursorPos(place.x, place.y);
  VideoSource source{.window = window.handle(), .process_id = GetCurrentProcessId()};
  const auto other_pixels = [&] {
    GdiCapture capture;
    EXPECT_EQ(capture.Grab(source), GrabResult::kPicture);
    int count = 0;
    for (int y = 0; y < 200; ++y) {
      for (int x = 0; x < 320; ++x) {
        if (PixelAt(capture.image(), x, y) != std::array{0, 0, 255}) ++count;
      }
    }
    return count;
  };
  EXPECT_EQ(other_pixels(), 0);
  source.cursor = true;
  EXPECT_GT(other_pixels(), 0);
}

}  // namespace
}  // namespace open_gsdk
