#include <gtest/gtest.h>
#include <windows.h>

#include <mmsystem.h>

#include <json11.hpp>
#include <string>

#include "gsdk/gsdk_api.h"
#include "platform/window_handle.h"
#include "tests/open_gsdk/client.h"
#include "tests/open_gsdk/window.h"

namespace open_gsdk {
namespace {

using json11::Json;

Json List(const char* kind) {
  char* text = nullptr;
  ErrorSlot error;
  EXPECT_TRUE(gsdk_input_properties(kind, &text, error.Out())) << error.Message();
  if (text == nullptr) return {};
  std::string parse_error;
  Json list = Json::parse(text, parse_error);
  EXPECT_EQ(parse_error, "") << text;
  gsdk_input_properties_free(text);
  gsdk_input_properties_free(text);  // a second time does nothing
  return list;
}

TEST(InputLists, NameTheMonitorsWithTheSystemsRectangles) {
  const Json monitors = List("monitor")["monitor"];
  ASSERT_EQ(static_cast<int>(monitors["values"].array_items().size()),
            GetSystemMetrics(SM_CMONITORS));
  int primaries = 0;
  for (const Json& entry : monitors["values"].array_items()) {
    const Json& info = entry["info"];
    const RECT rectangle = {info["left"].int_value(), info["top"].int_value(),
                            info["right"].int_value(), info["bottom"].int_value()};
    const HMONITOR monitor = MonitorFromRect(&rectangle, MONITOR_DEFAULTTONULL);
    ASSERT_NE(monitor, nullptr);
    MONITORINFO expected{};
    expected.cbSize = sizeof(expected);
    ASSERT_TRUE(GetMonitorInfoW(monitor, &expected));
    EXPECT_TRUE(EqualRect(&rectangle, &expected.rcMonitor));
    EXPECT_EQ(entry["value"], info["name"]);
    const bool primary = (expected.dwFlags & MONITORINFOF_PRIMARY) != 0;
    EXPECT_EQ(info["primary"], Json(primary));
    if (primary) {
      ++primaries;
      EXPECT_EQ(monitors["default"], entry["value"]);
    }
  }
  EXPECT_EQ(primaries, 1);
}

TEST(InputLists, NameTheVisibleWindowsWithTitleAndProcess) {
  const TestWindow visible(L"sp\u00e4t \u4e2d \"1\"", 200, 100, 0);
  const TestWindow hidden(L"hidden", 200, 100, 0);
  ShowWindow(hidden.handle(), SW_HIDE);
  const Json windows = List("window")["window"];
  int found = 0;
  for (const Json& entry : windows["values"].array_items()) {
    const Json& value = entry["value"];
    EXPECT_NE(value["hwnd"].number_value(), hidden.number());
    if (value["hwnd"].number_value() != visible.number()) continue;
    ++found;
    EXPECT_EQ(value["title"].string_value(), "sp\xc3\xa4t \xe4\xb8\xad \"1\"");
    EXPECT_EQ(value["pid"].number_value(), GetCurrentProcessId());
  }
  EXPECT_EQ(found, 1);
}

TEST(InputLists, HaveADefaultDeviceEvenWithoutSound) {
  if (waveOutGetNumDevs() != 0 || waveInGetNumDevs() != 0) GTEST_SKIP() << "there is sound here";
  const Json entry =
      Json::object{{"info", Json::object{{"name", "Default"}}}, {"value", "default"}};
  const Json expected = Json::object{
      {"device_id", Json::object{{"default", nullptr}, {"values", Json::array{entry}}}}};
  EXPECT_EQ(List("audio_output"), expected);
  EXPECT_EQ(List("audio_input"), expected);
}

}  // namespace
}  // namespace open_gsdk
