#include "recording/input_descriptions.h"

#include <json11.hpp>
#include <string>

#include "tests/unit/core_fixture.h"
#include "tests/unit/session_transcript.h"

namespace core_test {
namespace {

using namespace capture_service;
using json11::Json;

using InputDescriptionsTest = CoreTest;

constexpr ScreenRectangle kRectangle = {.top = 1, .bottom = 2, .left = -3, .right = 4};

Json Parsed(const std::string& text) {
  std::string error;
  Json json = ParseInputList(text.c_str(), error);
  EXPECT_EQ(error, "");
  return json;
}

// A list whose default is "d" and whose entries are these.
Json Monitors(const std::string& entries) {
  return Parsed(R"({"monitor": {"default": "d", "values": [)" + entries + "]}}");
}

std::string Entry(const std::string& rectangle, const std::string& value) {
  return R"({"info": )" + rectangle + R"(, "value": )" + value + "}";
}

const std::string kMatch = R"({"top": 1, "bottom": 2, "left": -3, "right": 4})";

TEST_F(InputDescriptionsTest, NullTextIsAParseError) {
  std::string error;
  EXPECT_TRUE(ParseInputList(nullptr, error).is_null());
  EXPECT_EQ(error, "null input");
}

TEST_F(InputDescriptionsTest, TextThatIsNotJsonIsNullWithTheParsersText) {
  for (const char* text : {"", "{", "{} {}", "nothing"}) {
    std::string error;
    EXPECT_TRUE(ParseInputList(text, error).is_null()) << text;
    EXPECT_NE(error, "") << text;
  }
}

TEST_F(InputDescriptionsTest, MonitorWithTheRectangleWins) {
  EXPECT_EQ(
      PickMonitor(Monitors(Entry(R"({"top": 0})", "1") + "," + Entry(kMatch, R"({"a": [2]})")),
                  kRectangle),
      Json(Json::object{{"a", Json::array{2}}}));
  EXPECT_EQ(TakeRecorded(), Lines{});
}

TEST_F(InputDescriptionsTest, FirstOfTwoEqualRectanglesWins) {
  EXPECT_EQ(PickMonitor(Monitors(Entry(kMatch, "1") + "," + Entry(kMatch, "2")), kRectangle),
            Json(1));
}

TEST_F(InputDescriptionsTest, EachSideCounts) {
  for (const char* rectangle :
       {R"({"top": 9, "bottom": 2, "left": -3, "right": 4})",
        R"({"top": 1, "bottom": 9, "left": -3, "right": 4})",
        R"({"top": 1, "bottom": 2, "left": 9, "right": 4})",
        R"({"top": 1, "bottom": 2, "left": -3, "right": 9})",
        R"({"top": 1, "bottom": 2, "left": -3})",
        R"({"top": "1", "bottom": 2, "left": -3, "right": 4})", R"([1, 2, -3, 4])"}) {
    EXPECT_EQ(PickMonitor(Monitors(Entry(rectangle, "1")), kRectangle), Json("d")) << rectangle;
    EXPECT_EQ(TakeRecorded(), (Lines{ToHost("Monitor not found??? Falling back to default")}))
        << rectangle;
  }
}

TEST_F(InputDescriptionsTest, SidesAreReadAsIntegers) {
  EXPECT_EQ(
      PickMonitor(Monitors(Entry(R"({"top": 1.9, "bottom": 2.0, "left": -3.5, "right": 4})", "1")),
                  kRectangle),
      Json(1));
}

TEST_F(InputDescriptionsTest, MissingMonitorPartsFallBackToTheDefaultWhateverItIs) {
  for (const auto& [list, expected] :
       {std::pair<const char*, Json>{R"({"monitor": {"default": {"x": 1}}})",
                                     Json::object{{"x", 1}}},
        {R"({"monitor": {"values": 5, "default": "d"}})", "d"},
        {R"({"monitor": {}})", nullptr},
        {R"({})", nullptr},
        {R"([])", nullptr}}) {
    EXPECT_EQ(PickMonitor(Parsed(list), kRectangle), expected) << list;
    EXPECT_EQ(TakeRecorded(), (Lines{ToHost("Monitor not found??? Falling back to default")}));
  }
}

TEST_F(InputDescriptionsTest, MatchingMonitorWithoutAValueIsNull) {
  EXPECT_EQ(PickMonitor(Monitors(R"({"info": )" + kMatch + "}"), kRectangle), Json());
  EXPECT_EQ(TakeRecorded(), Lines{});
}

TEST_F(InputDescriptionsTest, FirstWindowWithTheHandleWinsUnchanged) {
  const Json list = Parsed(R"({"window": {"values": [
      {"value": {"hwnd": 5, "n": 1}}, {"value": {"hwnd": 6.7, "n": 2}},
      {"value": {"hwnd": 6, "n": 3}}]}})");
  EXPECT_EQ(PickWindow(list, 6), Json(Json::object{{"hwnd", 6.7}, {"n", 2}}));
  EXPECT_EQ(PickWindow(list, 5), Json(Json::object{{"hwnd", 5}, {"n", 1}}));
  EXPECT_EQ(PickWindow(list, 7), std::nullopt);
}

TEST_F(InputDescriptionsTest, WindowWithoutAHandleReadsAsZero) {
  const Json list = Parsed(R"({"window": {"values": [{"value": {"title": "t"}}]}})");
  EXPECT_EQ(PickWindow(list, 132456), std::nullopt);
  EXPECT_EQ(PickWindow(list, 0), Json(Json::object{{"title", "t"}}));
}

TEST_F(InputDescriptionsTest, ListsWithoutWindowsHaveNone) {
  for (const char* list : {"{}", "[]", "1", R"({"window": []})", R"({"window": {"values": {}}})"}) {
    EXPECT_EQ(PickWindow(Parsed(list), 1), std::nullopt) << list;
  }
}

TEST_F(InputDescriptionsTest, SourcesAreGameChatAndMicInThisOrder) {
  RecorderSettings settings;
  settings.audio_game = "g";
  settings.audio_chat = "c";
  settings.audio_input = "i";
  std::string all;
  for (const AudioSource& source : kAudioSources) {
    all += std::string(source.track_name) + " " + source.kind + " " + settings.*source.device +
           " " + std::to_string(source.slot) + ";";
  }
  EXPECT_EQ(all, "Game audio_output g 0;Chat audio_output c 1;Mic audio_input i 2;");
}

TEST_F(InputDescriptionsTest, ListTextIsGivenBackOnce) {
  {
    ListText text;
    LibraryError error;
    EXPECT_TRUE(ReadInputList("window", text, error));
    EXPECT_STREQ(text.get(), R"({"window": {"values": []}})");
  }
  EXPECT_EQ(TakeRecorded(), ListLines("window", "text1"));
}

TEST_F(InputDescriptionsTest, RefusedListFillsTheError) {
  Fake().Fail("gsdk_input_properties", 1, 5, "sorry");
  ListText text;
  LibraryError error;
  EXPECT_FALSE(ReadInputList("monitor", text, error));
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(error.Code(), 5);
}

}  // namespace
}  // namespace core_test
