// Real recordings of each input type, at both usual frame rates, scaled down and not.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <json11.hpp>
#include <string>
#include <tuple>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/encoding/frame_geometry.h"
#include "open_gsdk/inputs/monitors.h"
#include "open_gsdk/session/frame_clock.h"
#include "platform/text_encoding.h"
#include "tests/open_gsdk/client.h"
#include "tests/open_gsdk/window.h"

namespace open_gsdk {
namespace {

using json11::Json;

// A mode, a frame rate, and the largest width (0 for none).
class RecordingModes
    : public testing::TestWithParam<std::tuple<std::string, std::uint32_t, std::uint32_t>> {};

TEST_P(RecordingModes, GivePicturesOnTheGridAtTheSizeOfTheSourceOrTheLimit) {
  const auto& [mode, frame_rate, max_width] = GetParam();
  const TestWindow window(L"modes", 320, 200, RGB(255, 0, 0));
  window.Animate();
  Size size = {320, 200};
  std::string settings;
  if (mode == "monitor") {
    const std::vector<Monitor> monitors = ListMonitors();
    const auto primary = std::find_if(monitors.begin(), monitors.end(),
                                      [](const Monitor& monitor) { return monitor.primary; });
    ASSERT_NE(primary, monitors.end());
    size = {static_cast<int>(primary->rectangle.right - primary->rectangle.left),
            static_cast<int>(primary->rectangle.bottom - primary->rectangle.top)};
    settings = Json(Json::object{{"monitor", platform::Utf8FromWide(primary->name)}}).dump();
  } else {
    settings =
        Json(Json::object{{mode, Json::object{{"hwnd", static_cast<double>(window.number())}}}})
            .dump();
  }
  Client client({.frame_rate = frame_rate, .max_width = max_width, .max_height = 0});
  client.Choose(mode.c_str(), settings);
  ASSERT_EQ(client.Start(), 0);
  client.WaitForFrames(frame_rate + 5);
  client.Destroy();

  const std::vector<SharedPacket> video = client.VideoPackets();
  const int rate = static_cast<int>(frame_rate);
  const Size expected = EncodedSize(size, max_width, 0);
  std::int64_t last = -1;
  std::int64_t last_key_frame = 0;
  for (const SharedPacket& packet : video) {
    EXPECT_EQ(packet->streams->video.width, expected.width);
    EXPECT_EQ(packet->streams->video.height, expected.height);
    EXPECT_EQ(packet->streams->video.frame_rate, rate);
    const std::int64_t time = packet->time_ns - video.front()->time_ns;
    const std::int64_t frame = FrameDueAt(time + 1, rate);
    EXPECT_NEAR(static_cast<double>(time), static_cast<double>(FrameTimeNs(frame, rate)), 2);
    EXPECT_GT(frame, last);
    if (packet->key_frame) last_key_frame = frame;
    EXPECT_LT(frame - last_key_frame, rate);
    last = frame;
  }
  EXPECT_TRUE(client.Errors().empty());
}

INSTANTIATE_TEST_SUITE_P(All, RecordingModes,
                         testing::Combine(testing::Values("monitor", "window", "game"),
                                          testing::Values(30U, 60U), testing::Values(0U, 160U)),
                         [](const auto& test) {
                           return std::get<0>(test.param) +
                                  std::to_string(std::get<1>(test.param)) +
                                  (std::get<2>(test.param) == 0 ? "Unscaled" : "Scaled");
                         });

}  // namespace
}  // namespace open_gsdk
