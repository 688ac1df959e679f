#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "open_gsdk/inputs/compositor_source.h"
#include "open_gsdk/inputs/monitors.h"
#include "open_gsdk/support/failure.h"
#include "tests/open_gsdk/fake_compositor.h"
#include "tests/open_gsdk/window.h"

namespace open_gsdk {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Calls = std::vector<std::string>;

constexpr std::uint32_t kRed = 0xFFFF0000;
constexpr std::uint32_t kGreen = 0xFF00FF00;
constexpr std::uint32_t kBlue = 0xFF0000FF;

const Calls kStarted = {"CreateForMonitor", "CreateFreeThreaded 87 2 64x48",
                        "put_IsCursorCaptureEnabled 0", "put_IsBorderRequired 0", "StartCapture"};
const Calls kStopped = {"session Close", "pool Close", "remove_Closed 7"};

class CompositorTest : public ::testing::Test {
 protected:
  CompositorTest() { monitor_.monitor = ListMonitors().front().name; }

  void TearDown() override {
    source_.reset();
    fake_->device.Reset();
    EXPECT_EQ(fake_->live_objects, 0);
    EXPECT_EQ(fake_->calls_after_close, 0);
    EXPECT_EQ(fake_->open_frames, 0);
    EXPECT_EQ(fake_->leaked_handlers, 0U);
  }

  void Open() { Open(monitor_); }
  void Open(const VideoSource& what) {
    source_ = std::make_unique<CompositorSource>(what, FakeSystem(fake_));
  }

  // What ends a source that cannot be opened.
  std::string OpenFailure() {
    try {
      Open();
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), ErrorCode::kSystem);
      return failure.what();
    }
    return "opened";
  }

  // Asks for pictures, as a recording does, until there is one.
  GrabResult GrabNext() {
    const Clock::time_point limit = Clock::now() + 30s;
    GrabResult result = source_->Grab();
    while (result != GrabResult::kPicture && result != GrabResult::kGone && Clock::now() < limit) {
      std::this_thread::sleep_for(1ms);
      result = source_->Grab();
    }
    return result;
  }

  std::uint32_t Pixel(int x, int y) const {
    std::uint32_t pixel = 0;
    const Image image = source_->image();
    std::memcpy(&pixel, image.pixels + y * image.Stride() + x * 4, sizeof(pixel));
    return pixel;
  }

  SharedCompositor fake_ = std::make_shared<FakeCompositor>();
  VideoSource monitor_;
  std::unique_ptr<CompositorSource> source_;
};

TEST_F(CompositorTest, TakesThePixelsAndTheTimeOfAPicture) {
  Open();
  EXPECT_EQ(TakeCalls(*fake_), kStarted);
  LARGE_INTEGER count{};
  LARGE_INTEGER frequency{};
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  const auto now_ns =
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
  const std::int64_t units = count.QuadPart / frequency.QuadPart * 10'000'000 +
                             count.QuadPart % frequency.QuadPart * 10'000'000 / frequency.QuadPart;
  FakePicture picture = OneColour({64, 48}, kRed, units);
  std::memcpy(picture.bytes.data() + (47 * 64 + 63) * 4, &kGreen, sizeof(kGreen));
  Deliver(*fake_, picture);
  ASSERT_EQ(GrabNext(), GrabResult::kPicture);
  EXPECT_EQ(source_->image().size, (Size{64, 48}));
  EXPECT_EQ(Pixel(0, 0), kRed);
  EXPECT_EQ(Pixel(62, 47), kRed);
  EXPECT_EQ(Pixel(63, 47), kGreen);
  EXPECT_NEAR(static_cast<double>(source_->time_ns() - now_ns), 0, 1e6);
  EXPECT_FALSE(source_->hdr());
  source_.reset();
  EXPECT_EQ(TakeCalls(*fake_), kStopped);
}

TEST_F(CompositorTest, ASourceThatDoesNotChangeGivesNothing) {
  Open();
  EXPECT_EQ(source_->Grab(), GrabResult::kNothing);
  Deliver(*fake_, OneColour({64, 48}, kRed));
  ASSERT_EQ(GrabNext(), GrabResult::kPicture);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(source_->Grab(), GrabResult::kUnchanged);
  EXPECT_EQ(Pixel(5, 5), kRed);
}

TEST_F(CompositorTest, OnlyTheNewestPictureIsTaken) {
  Open();
  Deliver(*fake_, OneColour({64, 48}, kRed, 1));
  Deliver(*fake_, OneColour({64, 48}, kGreen, 2));
  Deliver(*fake_, OneColour({64, 48}, kBlue, 3));
  ASSERT_EQ(GrabNext(), GrabResult::kPicture);
  EXPECT_EQ(Pixel(0, 0), kBlue);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(source_->Grab(), GrabResult::kUnchanged);
}

TEST_F(CompositorTest, PicturesThatComeFasterThanTheyAreReadEndWithTheLast) {
  Open();
  std::uint32_t last = 0;
  for (std::uint32_t i = 1; i <= 50; ++i) {
    Deliver(*fake_, OneColour({64, 48}, 0xFF000000 | i, i));
    if (source_->Grab() == GrabResult::kPicture) {
      const std::uint32_t seen = Pixel(0, 0) & 0xFFFFFF;
      EXPECT_GT(seen, last);
      last = seen;
    }
  }
  while (last < 50 && GrabNext() == GrabResult::kPicture) last = Pixel(0, 0) & 0xFFFFFF;
  EXPECT_EQ(last, 50U);
}

TEST_F(CompositorTest, AnotherSizeMakesThePoolAnew) {
  Open();
  TakeCalls(*fake_);
  Deliver(*fake_, OneColour({32, 96}, kRed));
  EXPECT_EQ(source_->Grab(), GrabResult::kNothing);
  EXPECT_EQ(TakeCalls(*fake_), (Calls{"Recreate 87 2 32x96"}));
  Deliver(*fake_, OneColour({32, 96}, kGreen));
  ASSERT_EQ(GrabNext(), GrabResult::kPicture);
  EXPECT_EQ(source_->image().size, (Size{32, 96}));
  EXPECT_EQ(Pixel(31, 95), kGreen);
  EXPECT_EQ(TakeCalls(*fake_), Calls{});
}

TEST_F(CompositorTest, APictureWithoutASizeIsLeftOut) {
  Open();
  TakeCalls(*fake_);
  Deliver(*fake_, OneColour({0, 0}, kRed));
  EXPECT_EQ(source_->Grab(), GrabResult::kNothing);
  EXPECT_EQ(TakeCalls(*fake_), Calls{});
}

TEST_F(CompositorTest, AClosedItemIsGone) {
  Open();
  Deliver(*fake_, OneColour({64, 48}, kRed));
  CloseItem(*fake_);
  EXPECT_EQ(source_->Grab(), GrabResult::kGone);
  EXPECT_EQ(source_->Grab(), GrabResult::kGone);
}

TEST_F(CompositorTest, ALostDeviceIsReplaced) {
  Open();
  fake_->next_frame = DXGI_ERROR_DEVICE_REMOVED;
  EXPECT_EQ(source_->Grab(), GrabResult::kNothing);
  EXPECT_EQ(TakeCalls(*fake_).back(), "remove_Closed 7");
  fake_->next_frame = S_OK;
  fake_->refused_devices = 3;
  Deliver(*fake_, OneColour({64, 48}, kGreen));
  ASSERT_EQ(GrabNext(), GrabResult::kPicture);
  EXPECT_EQ(Pixel(0, 0), kGreen);
  EXPECT_EQ(fake_->refused_devices, 0);
}

TEST_F(CompositorTest, ADeviceThatIsNotReplacedInASecondIsAnError) {
  Open();
  fake_->next_frame = DXGI_ERROR_DEVICE_REMOVED;
  EXPECT_EQ(source_->Grab(), GrabResult::kNothing);
  fake_->refused_devices = 1'000'000;
  const Clock::time_point lost = Clock::now();
  std::string message;
  while (message.empty() && Clock::now() < lost + 30s) {
    try {
      EXPECT_EQ(source_->Grab(), GrabResult::kNothing);
      std::this_thread::sleep_for(10ms);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), ErrorCode::kCaptureFailed);
      message = failure.what();
    }
  }
  EXPECT_EQ(message, "the graphics device was lost and not replaced: 0x887A0007");
  EXPECT_GE(Clock::now() - lost, 990ms);
}

TEST_F(CompositorTest, TwoLossesFarApartAreTwoLosses) {
  Open();
  for (int loss = 0; loss < 2; ++loss) {
    fake_->next_frame = DXGI_ERROR_DEVICE_RESET;
    EXPECT_EQ(source_->Grab(), GrabResult::kNothing);
    fake_->next_frame = S_OK;
    EXPECT_EQ(source_->Grab(), GrabResult::kNothing);
    std::this_thread::sleep_for(600ms);
  }
}

TEST_F(CompositorTest, AnItemThatIsClosedWhileItsDeviceIsLostIsGone) {
  Open();
  fake_->next_frame = DXGI_ERROR_DEVICE_REMOVED;
  CloseItem(*fake_);
  EXPECT_EQ(source_->Grab(), GrabResult::kGone);
}

TEST_F(CompositorTest, ASystemWithoutTheInterfaceIsToldByItsError) {
  fake_->activation = REGDB_E_CLASSNOTREG;
  EXPECT_EQ(OpenFailure(), "0x80040154");
}

TEST_F(CompositorTest, ASystemThatDoesNotSupportItIsToldByItsError) {
  fake_->supported = false;
  EXPECT_EQ(OpenFailure(), "0x80070032");
}

TEST_F(CompositorTest, ADeviceThatCannotBeMadeIsToldByItsError) {
  fake_->refused_devices = 1;
  EXPECT_EQ(OpenFailure(), "0x887A0007");
}

TEST_F(CompositorTest, TheCursorIsCapturedWhenItIsWanted) {
  monitor_.cursor = true;
  Open();
  EXPECT_EQ(TakeCalls(*fake_)[2], "put_IsCursorCaptureEnabled 1");
}

TEST_F(CompositorTest, AnOlderSystemHasNeitherSwitch) {
  fake_->has_border_switch = false;
  fake_->has_cursor_switch = false;
  Open();
  EXPECT_EQ(TakeCalls(*fake_),
            (Calls{"CreateForMonitor", "CreateFreeThreaded 87 2 64x48", "StartCapture"}));
}

TEST_F(CompositorTest, AMissingMonitorIsGone) {
  monitor_.monitor = L"\\\\.\\DISPLAY99";
  try {
    Open();
    FAIL() << "opened";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ErrorCode::kInputGone);
    EXPECT_STREQ(failure.what(), "monitor \\\\.\\DISPLAY99 is gone");
  }
}

TEST_F(CompositorTest, TheLightOfAnHdrMonitorIsMapped) {
  fake_->light = {.hdr = true, .white_nits = 160.0F};
  fake_->item_size = {2, 1};
  Open();
  EXPECT_TRUE(source_->hdr());
  EXPECT_EQ(TakeCalls(*fake_)[1], "CreateFreeThreaded 10 2 2x1");
  // Red, green, blue, opacity: 1.0 is half as bright as white here, 2.0 is white.
  const std::vector<std::uint16_t> halves = {0x3C00, 0x4000, 0x0000, 0x3C00,
                                             0x4400, 0xBC00, 0x7E00, 0x3C00};
  FakePicture picture{.size = {2, 1}, .bytes = {}, .time = 0};
  picture.bytes.resize(16);
  std::memcpy(picture.bytes.data(), halves.data(), 16);
  Deliver(*fake_, picture);
  ASSERT_EQ(GrabNext(), GrabResult::kPicture);
  EXPECT_EQ(Pixel(0, 0), 0xFFBCFF00U);
  EXPECT_EQ(Pixel(1, 0), 0xFFFF0000U);
}

// A window with title bar and borders, of which the compositor sees all and a recording the inside.
TEST_F(CompositorTest, AWindowIsItsClientArea) {
  const TestWindow window(L"compositor", 200, 100, RGB(0, 0, 0));
  SetWindowLongPtrW(window.handle(), GWL_STYLE, WS_OVERLAPPEDWINDOW | WS_VISIBLE);
  RECT frame = {0, 0, 200, 100};
  AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, FALSE);
  SetWindowPos(window.handle(), nullptr, 100, 100, static_cast<int>(frame.right - frame.left),
               static_cast<int>(frame.bottom - frame.top), SWP_FRAMECHANGED | SWP_NOZORDER);
  GetWindowRect(window.handle(), &frame);
  POINT origin{};
  ClientToScreen(window.handle(), &origin);
  fake_->item_size = {static_cast<int>(frame.right - frame.left),
                      static_cast<int>(frame.bottom - frame.top)};
  VideoSource source;
  source.window = window.handle();
  source.process_id = GetCurrentProcessId();
  ASSERT_GT(origin.y, frame.top + 5);
  Open(source);
  EXPECT_EQ(TakeCalls(*fake_).front(), "CreateForWindow");
  FakePicture picture = OneColour(fake_->item_size, kRed);
  const auto paint = [&](int x, int y, std::uint32_t colour) {
    std::memcpy(picture.bytes.data() + (y * fake_->item_size.width + x) * 4, &colour, 4);
  };
  const int left = static_cast<int>(origin.x - frame.left);
  const int top = static_cast<int>(origin.y - frame.top);
  paint(left, top, kGreen);
  paint(left + 199, top + 99, kBlue);
  Deliver(*fake_, picture);
  ASSERT_EQ(GrabNext(), GrabResult::kPicture);
  EXPECT_EQ(source_->image().size, (Size{200, 100}));
  EXPECT_EQ(Pixel(0, 0), kGreen);
  EXPECT_EQ(Pixel(199, 99), kBlue);
}

}  // namespace
}  // namespace open_gsdk
