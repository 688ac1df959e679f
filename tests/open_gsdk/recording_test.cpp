#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/inputs/monitors.h"
#include "open_gsdk/session/frame_clock.h"
#include "platform/text_encoding.h"
#include "tests/open_gsdk/client.h"
#include "tests/open_gsdk/window.h"

namespace open_gsdk {
namespace {

constexpr COLORREF kRed = RGB(255, 0, 0);
constexpr COLORREF kGreen = RGB(0, 255, 0);

TEST(Recording, GivesFramesInTimeWithAKeyFrameEverySecond) {
  const TestWindow window(L"steady", 320, 200, kRed);
  window.Animate();
  Client client({.frame_rate = 20, .tracks = {"Game", "Mic"}});
  client.RecordWindow(window.number());
  client.WaitForFrames(50);
  client.Destroy();

  const std::vector<SharedPacket> video = client.VideoPackets();
  ASSERT_TRUE(video.front()->key_frame);
  EXPECT_EQ(video.front()->streams->video.width, 320);
  EXPECT_EQ(video.front()->streams->video.height, 200);
  EXPECT_EQ(video.front()->streams->video.frame_rate, 20);
  std::int64_t last_key = 0;
  for (std::size_t index = 0; index < video.size(); ++index) {
    const std::int64_t time = video[index]->time_ns - video.front()->time_ns;
    const std::int64_t frame = FrameDueAt(time, 20);
    EXPECT_EQ(time, FrameTimeNs(frame, 20));  // always on the raster
    if (video[index]->dropped_ns == 0) {
      const std::int64_t before =
          index == 0 ? -1 : FrameDueAt(video[index - 1]->time_ns - video.front()->time_ns, 20);
      EXPECT_EQ(frame, before + 1);  // no hole
    }
    if (video[index]->key_frame) last_key = time;
    EXPECT_LT(time - last_key, 1'000'000'000);
  }
  EXPECT_TRUE(client.Errors().empty());
}

TEST(Recording, GivesEachTrackSoundWithoutHolesBesideTheVideo) {
  const TestWindow window(L"sound", 64, 64, kRed);
  window.Animate();
  Client client({.tracks = {"Game", "Mic"}});
  client.RecordWindow(window.number());
  client.WaitForFrames(45);
  client.Destroy();

  const std::vector<SharedPacket> packets = client.Packets();
  const StreamSet& streams = *packets.front()->streams;
  ASSERT_EQ(streams.audio.size(), 2u);
  EXPECT_EQ(streams.audio[0].name, "Game");
  EXPECT_EQ(streams.audio[1].name, "Mic");
  for (std::size_t stream = 1; stream <= 2; ++stream) {
    std::int64_t first = 0;
    std::int64_t samples = 0;
    for (const SharedPacket& packet : packets) {
      if (packet->stream != stream) continue;
      if (samples == 0) first = packet->time_ns;
      EXPECT_NEAR(static_cast<double>(packet->time_ns - first),
                  static_cast<double>(samples) * 1e9 / 48'000, 2);
      samples += 1024;
    }
    EXPECT_GT(samples, 48'000);
  }
}

TEST(Recording, ScalesDownToTheLimitsAndKeepsItsSizeWhenTheWindowChanges) {
  TestWindow window(L"scaled", 641, 401, kRed);
  window.Animate();
  Client client({.max_width = 320, .max_height = 1000});
  client.RecordWindow(window.number());
  client.WaitForFrames(3);
  window.ResizeClient(200, 333);
  client.WaitForFrames(10);
  window.Minimise();
  client.WaitForFrames(2);
  client.Destroy();
  const std::vector<SharedPacket> video = client.VideoPackets();
  EXPECT_EQ(video.front()->streams->video.width, 320);
  EXPECT_EQ(video.front()->streams->video.height, 200);
  EXPECT_EQ(video.back()->streams, video.front()->streams);
  EXPECT_TRUE(client.Errors().empty());
}

TEST(Recording, OfAMinimisedWindowStartsWithTheSizeOfItsClientArea) {
  for (const DWORD style : {DWORD{WS_POPUP}, DWORD{WS_OVERLAPPEDWINDOW}}) {
    TestWindow window(L"minimised", 320, 200, kRed, style);
    window.Minimise();
    Client client;
    client.RecordWindow(window.number());
    client.WaitForFrames(1);
    window.Restore();
    window.Animate();
    client.WaitForFrames(10);
    client.Destroy();
    const std::vector<SharedPacket> video = client.VideoPackets();
    EXPECT_EQ(video.front()->streams->video.width, 320);
    EXPECT_EQ(video.front()->streams->video.height, 200);
    EXPECT_EQ(video.back()->streams, video.front()->streams);
  }
}

TEST(Recording, AWindowThatClosesIsConnectionError8Once) {
  TestWindow window(L"closing", 64, 64, kRed);
  window.Animate();
  Client client;
  client.RecordWindow(window.number());
  client.WaitForFrames(3);
  window.Close();
  EXPECT_EQ(client.WaitForError(), 8);
  const std::size_t packets = client.Packets().size();
  client.Destroy();
  EXPECT_EQ(client.Errors(), (std::vector<std::int32_t>{8}));
  EXPECT_EQ(client.Packets().size(), packets);  // none after the error
}

TEST(Recording, AMonitorThatGoesIsConnectionError31) {
  const std::vector<Monitor> monitors = ListMonitors();
  if (monitors.size() < 2) GTEST_SKIP() << "needs two monitors";
  const auto second = std::find_if(monitors.begin(), monitors.end(),
                                   [](const Monitor& monitor) { return !monitor.primary; });
  Client client;
  client.Choose("monitor", "{\"monitor\": \"\\\\\\\\.\\\\" +
                               platform::Utf8FromWide(second->name.substr(4)) + "\"}");
  ASSERT_EQ(client.Start(), 0);
  client.WaitForFrames(3);
  // Taking a monitor off the desktop, and giving it back at the end.
  DEVMODEW none{};
  none.dmSize = sizeof(none);
  none.dmFields = DM_POSITION | DM_PELSWIDTH | DM_PELSHEIGHT;
  ASSERT_EQ(ChangeDisplaySettingsExW(second->name.c_str(), &none, nullptr, 0, nullptr),
            DISP_CHANGE_SUCCESSFUL);
  EXPECT_EQ(client.WaitForError(), 31);
  client.Destroy();
  EXPECT_EQ(client.Errors(), (std::vector<std::int32_t>{31}));
}

TEST(Recording, WhatNoEncoderTakesIsCode15) {
  const TestWindow window(L"absurd", 64, 64, kRed);
  for (const ClientOptions& options :
       {ClientOptions{.frame_rate = 1000}, ClientOptions{.max_width = 2}}) {
    Client client(options);
    client.Choose("window", "{\"window\": {\"hwnd\": " + std::to_string(window.number()) + "}}");
    EXPECT_EQ(client.Start(), 15);
  }
}

TEST(Recording, SwitchesToAnotherWindowWhileItRuns) {
  TestWindow first(L"first", 320, 200, kRed);
  first.Animate();
  const TestWindow second(L"second", 160, 100, kGreen);
  second.Animate();
  Client client;
  client.RecordWindow(first.number());
  client.WaitForFrames(3);
  ASSERT_TRUE(gsdk_session_update_video_input(
      client.session(),
      ("{\"window\": {\"hwnd\": " + std::to_string(second.number()) + "}}").c_str(), nullptr));
  client.WaitForFrames(2);
  first.Close();
  client.WaitForFrames(10);
  EXPECT_TRUE(client.Errors().empty());
}

TEST(Recording, GivesNoPacketOnceItIsDestroyed) {
  const TestWindow window(L"destroyed", 64, 64, kRed);
  window.Animate();
  std::atomic<bool> destroyed{false};
  std::atomic<int> late{0};
  Client client({.in_packet_callback = [&] { late += destroyed ? 1 : 0; }});
  client.RecordWindow(window.number());
  client.WaitForFrames(5);
  client.Destroy();
  destroyed = true;
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(late, 0);
}

TEST(Recording, CanBeDestroyedFromItsOwnCallback) {
  const TestWindow window(L"suicide", 64, 64, kRed);
  window.Animate();
  std::atomic<int> calls{0};
  Client* self = nullptr;
  Client client({.in_packet_callback = [&] {
    if (++calls == 3) self->Destroy();
  }});
  self = &client;
  client.RecordWindow(window.number());
  client.WaitForFrames(1);
  while (calls < 3) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(calls, 3);
}

TEST(Recording, StartsAndEndsManyTimes) {
  const TestWindow window(L"again", 64, 64, kRed);
  for (int round = 0; round < 10; ++round) {
    Client client;
    client.RecordWindow(window.number());
    if (round % 2 == 0) client.WaitForFrames(1);
  }
}

std::vector<std::string>& LogLines() {
  static std::vector<std::string> lines;
  return lines;
}

TEST(Logging, SaysWhatIsRecordedAndHonoursTheLevel) {
  const TestWindow window(L"logged", 320, 200, kRed);
  const std::string start = "recording window " + std::to_string(window.number()) + " of process " +
                            std::to_string(GetCurrentProcessId()) +
                            " at 320x200, 30 frames per second, quality 23, sound tracks: 1";
  for (const int level : {2, 1}) {
    LogLines().clear();
    gsdk_logging_set_callback([](std::int32_t number, const char* text) {
      // A machine under load may be late.
      if (std::string(text).starts_with("too late")) return;
      LogLines().push_back(std::to_string(number) + " " + text);
    });
    gsdk_logging_set_global_level(level);
    {
      Client client;
      client.RecordWindow(window.number());
      client.WaitForFrames(1);
    }
    gsdk_logging_set_callback(nullptr);
    if (level == 1) {
      EXPECT_TRUE(LogLines().empty());
      continue;
    }
    ASSERT_EQ(LogLines().size(), 4u) << testing::PrintToString(LogLines());
    EXPECT_TRUE(LogLines()[0].starts_with("2 video encoder libx264; not h264_nvenc: "))
        << LogLines()[0];
    EXPECT_EQ(LogLines()[1], "2 " + start);
    EXPECT_TRUE(LogLines()[2].starts_with("2 pictures by GDI: ")) << LogLines()[2];
    EXPECT_TRUE(LogLines()[3].starts_with("2 recording ended: ")) << LogLines()[3];
  }
}

}  // namespace
}  // namespace open_gsdk
