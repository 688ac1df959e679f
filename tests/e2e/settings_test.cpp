// The recorder settings: how messages merge, what a session start makes of them.
#include <windows.h>

#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

class SettingsMessages : public ServiceTest {
 protected:
  // The arguments after the properties handle that the call of `name` had in each session.
  static Texts SetValues(const ServiceRun& run, const std::string& name) {
    Texts values = run.Calls().CallsThatStart("gsdk_session_properties_" + name + "(");
    for (std::string& value : values) {
      const std::size_t comma = value.find(", ");
      value = value.substr(comma + 2, value.size() - comma - 3);
    }
    return values;
  }

  static Texts CaptureSettings(const ServiceRun& run) {
    Texts settings = run.Calls().CallsThatStart("gsdk_session_update_video_input(");
    for (std::string& text : settings) {
      const std::size_t begin = text.find('{');
      text = text.substr(begin, text.rfind('}') - begin + 1);
    }
    return settings;
  }

  static std::string GameSettings(bool cursor, const std::string& target) {
    return std::string(R"({"anticheat": true, "cursor": )") + (cursor ? "true" : "false") +
           R"(, "game": {)" + target + "}}";
  }
};

TEST_F(SettingsMessages, EachUnsetSettingIsLoggedBeforeTheOneDie) {
  ServiceRun& run = Start();
  run.Send(Restart());
  ExpectCleanExit(run, 7);
  Texts expected;
  for (const char* name :
       {"audio_samplerate", "audio_bitrate", "video_fps", "encoding_crf", "video_max_height",
        "video_max_width", "record_length", "recording_mode", "logging_level"}) {
    expected.push_back(Failure(std::string("setting ") + name + " uninitialized"));
  }
  EXPECT_EQ(run.Texts(), expected);
  EXPECT_EQ(run.Calls().Calls(), Texts{});
}

TEST_F(SettingsMessages, OnlyTheUnsetSettingsAreLogged) {
  ServiceRun& run = Start();
  run.SendOdd(RecorderSettings(Settings({{"video_fps", 0.9}, {"logging_level", "1"}})).dump());
  run.Send(Restart());
  ExpectCleanExit(run, 7);
  EXPECT_EQ(run.Texts(), (Texts{Failure("setting video_fps uninitialized"),
                                Failure("setting logging_level uninitialized")}));
}

TEST_F(SettingsMessages, MergeNumbersAndTextsAndAlwaysTakeTheCursor) {
  // Given settings in pieces, one of which has a fraction and one of which turns the cursor on
  ServiceRun& run = Start();
  run.Send(RecorderSettings(Settings({{"capture_cursor", true}, {"video_fps", 30}})));
  run.SendOdd(RecorderSettings(Json::object{{"video_fps", 60.9}, {"capture_cursor", true}}).dump());
  run.Send(RecorderSettings(Json::object{{"audio_bitrate", 0}, {"capture_cursor", true}}));
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  // When a later piece doesn't mention the cursor, it is off in the next session.
  run.SendOdd(RecorderSettings(Json::object{{"encoding_crf", 18},
                                            {"video_max_width", "640"},
                                            {"record_length", 7},
                                            {"logging_level", 4},
                                            {"audio_game", ""},
                                            {"unknown", Json::array{}}})
                  .dump());
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);

  EXPECT_EQ(SetValues(run, "video_set_framerate"), (Texts{"60", "60"}));
  EXPECT_EQ(SetValues(run, "audio_set_bitrate"), (Texts{"160000", "160000"}));
  EXPECT_EQ(SetValues(run, "audio_set_samplerate"), (Texts{"48000", "48000"}));
  EXPECT_EQ(SetValues(run, "video_set_min_quality"), (Texts{"23, 23, 23", "18, 18, 18"}));
  EXPECT_EQ(SetValues(run, "video_set_max_quality"), (Texts{"23, 23, 23", "18, 18, 18"}));
  EXPECT_EQ(SetValues(run, "video_set_max_width"), (Texts{"1920", "1920"}));
  EXPECT_EQ(SetValues(run, "video_set_max_height"), (Texts{"1080", "1080"}));
  EXPECT_EQ(SetValues(run, "audio_set_tracks_ids"),
            (Texts{"1, [\"Silence\"]", "1, [\"Silence\"]"}));
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_recorder_set_duration"),
            (Texts{"gsdk_recorder_set_duration(recorder1, 30000)",
                   "gsdk_recorder_set_duration(recorder2, 7000)"}));
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_logging_set_global_level"),
            (Texts{"gsdk_logging_set_global_level(0)", "gsdk_logging_set_global_level(3)"}));
  const std::string pid = "\"pid\": " + std::to_string(GetCurrentProcessId());
  EXPECT_EQ(CaptureSettings(run), (Texts{GameSettings(true, pid), GameSettings(false, pid)}));
}

TEST_F(SettingsMessages, ARestartBeforeTheSettingsUsesTheOldOnes) {
  ServiceRun& run = Start();
  run.Send(RecorderSettings(Settings()));
  run.Send(Restart());
  run.Send(RecorderSettings(Json::object{{"video_fps", 24}}));
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);
  EXPECT_EQ(SetValues(run, "video_set_framerate"), (Texts{"60", "24"}));
}

TEST_F(SettingsMessages, NegativeNumbersReachTheLibraryAsTheirBits) {
  ServiceRun& run = Start();
  run.SendOdd(RecorderSettings(Settings({{"audio_bitrate", -1}, {"logging_level", -1}})).dump());
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
  EXPECT_EQ(SetValues(run, "audio_set_bitrate"), Texts{"4294967295"});
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_logging_set_global_level"),
            Texts{"gsdk_logging_set_global_level(-2)"});
}

TEST_F(SettingsMessages, GameModePrefersTheWindow) {
  const TestWindow window;
  ServiceRun& run = StartRecordingService(
      {}, Settings({{"game_hwnd", window.Number()}, {"capture_cursor", true}}));
  ExpectCleanDie(run);
  const std::string settings = GameSettings(true, "\"hwnd\": " + std::to_string(window.Number()));
  EXPECT_EQ(CaptureSettings(run), Texts{settings});
  EXPECT_EQ(run.Texts(), Texts{Line("capture settings: " + settings)});
}

TEST_F(SettingsMessages, GameModeNeedsNoPidWhenThereIsAWindow) {
  const TestWindow window;
  ServiceRun& run =
      StartRecordingService({}, Settings({{"game_hwnd", window.Number()}, {"game_pid", nullptr}}));
  ExpectCleanDie(run);
  EXPECT_EQ(CaptureSettings(run),
            Texts{GameSettings(false, "\"hwnd\": " + std::to_string(window.Number()))});
}

class WindowMode : public SettingsMessages {
 protected:
  static RunOptions WithList(const Json& list) {
    return {.script = Json::object{{"lists", Json::object{{"window", Json::array{list.dump()}}}}}};
  }

  static Json Entry(const Json& hwnd, const std::string& mark) {
    return Json::object{{"value", Json::object{{"hwnd", hwnd}, {"mark", mark}}}};
  }

  static Json WindowSettings(const TestWindow& window, bool cursor = false) {
    return Settings({{"recording_mode", 3},
                     {"game_hwnd", window.Number()},
                     {"game_pid", nullptr},
                     {"capture_cursor", cursor}});
  }
};

TEST_F(WindowMode, TakesTheFirstEntryOfTheWindowAsItStands) {
  const TestWindow window;
  const Json list = Json::object{
      {"window", Json::object{{"values", Json::array{Entry(1, "other"), Json::object{},
                                                     Entry(window.Number(), "Spiel \xC3\xA9"),
                                                     Entry(window.Number(), "second")}}}}};
  ServiceRun& run = StartRecordingService(WithList(list), WindowSettings(window, true));
  ExpectCleanDie(run);
  const std::string settings = R"({"cursor": true, "window": {"hwnd": )" +
                               std::to_string(window.Number()) + ", \"mark\": \"Spiel \xC3\xA9\"}}";
  EXPECT_EQ(run.Texts(), Texts{Line("capture settings: " + settings)});
  const SessionCalls calls = {.first_text = 2, .mode = "window", .capture_settings = settings};
  EXPECT_EQ(
      run.Calls().Calls(),
      Join({calls.Create(),
            calls.SetVideoInput(),
            {"gsdk_input_properties(window) = true text1", "gsdk_input_properties_free(text1)"},
            calls.UpdateVideoInput(),
            calls.ReadAudioLists(),
            calls.Configure(),
            calls.StartAndDestroyProperties(),
            calls.Destroy()}));
}

class MonitorMode : public SettingsMessages {
 protected:
  // The rectangle of the monitor that is nearest to `window`.
  static RECT MonitorOf(const TestWindow& window) {
    MONITORINFO information = {};
    information.cbSize = sizeof(information);
    EXPECT_TRUE(GetMonitorInfoW(MonitorFromWindow(window.Handle(), MONITOR_DEFAULTTONEAREST),
                                &information));
    return information.rcMonitor;
  }

  static Json Entry(const RECT& rectangle, const Json& value) {
    return Json::object{{"info", Json::object{{"top", static_cast<int>(rectangle.top)},
                                              {"bottom", static_cast<int>(rectangle.bottom)},
                                              {"left", static_cast<int>(rectangle.left)},
                                              {"right", static_cast<int>(rectangle.right)}}},
                        {"value", value}};
  }

  static RunOptions WithEntries(const Json::array& entries) {
    const Json list = Json::object{
        {"monitor", Json::object{{"default", Json::array{"the", "default"}}, {"values", entries}}}};
    return {.script = Json::object{{"lists", Json::object{{"monitor", Json::array{list.dump()}}}}}};
  }

  static Json MonitorSettings(const TestWindow& window) {
    return Settings({{"recording_mode", 1}, {"game_hwnd", window.Number()}});
  }
};

TEST_F(MonitorMode, TakesTheFirstMonitorOfTheSameRectangle) {
  const TestWindow window;
  const RECT rectangle = MonitorOf(window);
  RECT wider = rectangle;
  ++wider.right;
  ServiceRun& run = StartRecordingService(
      WithEntries({Entry(wider, "wider"), Entry(rectangle, Json::object{{"id", 2}, {"a", nullptr}}),
                   Entry(rectangle, "second")}),
      MonitorSettings(window));
  ExpectCleanDie(run);
  const std::string settings = R"({"cursor": false, "monitor": {"a": null, "id": 2}})";
  EXPECT_EQ(run.Texts(), Texts{Line("capture settings: " + settings)});
  const SessionCalls calls = {.first_text = 2, .mode = "monitor", .capture_settings = settings};
  EXPECT_EQ(
      run.Calls().Calls(),
      Join({calls.Create(),
            calls.SetVideoInput(),
            {"gsdk_input_properties(monitor) = true text1", "gsdk_input_properties_free(text1)"},
            calls.UpdateVideoInput(),
            calls.ReadAudioLists(),
            calls.Configure(),
            calls.StartAndDestroyProperties(),
            calls.Destroy()}));
}

TEST_F(MonitorMode, FallsBackToTheDefaultMonitor) {
  const TestWindow window;
  RECT taller = MonitorOf(window);
  ++taller.bottom;
  ServiceRun& run =
      StartRecordingService(WithEntries({Entry(taller, "taller")}), MonitorSettings(window));
  ExpectCleanDie(run);
  const std::string settings = R"({"cursor": false, "monitor": ["the", "default"]})";
  EXPECT_EQ(run.Texts(), (Texts{Line("Monitor not found??? Falling back to default"),
                                Line("capture settings: " + settings)}));
  EXPECT_EQ(CaptureSettings(run), Texts{settings});
}

TEST_F(MonitorMode, NeedsNoWindow) {
  ServiceRun& run = StartRecordingService(WithEntries({}), Settings({{"recording_mode", 1}}));
  ExpectCleanDie(run);
  EXPECT_EQ(CaptureSettings(run), Texts{R"({"cursor": false, "monitor": ["the", "default"]})"});
}

TEST_F(MonitorMode, RestartsReplaceTheTracker) {
  const TestWindow window;
  ServiceRun& run = StartRecordingService(WithEntries({}), MonitorSettings(window));
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);
}

}  // namespace
}  // namespace e2e
