// What the error-reporting SDK is given.
#include <windows.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>

#include "tests/e2e/reports.h"
#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

const std::string kCapture = "capture settings: " + GameCaptureSettings();

std::string Tag(const std::string& name, const std::string& value) {
  return "sentry_set_tag " + Json(Json::object{{"name", name}, {"value", value}}).dump();
}

// The tags of ReportingSettings().
const Texts kHostTags = {Tag("BETA_ENABLED", "true"),
                         Tag("DaskelVersion", "3.0.1"),
                         Tag("GLIMRA_GAME_EXE", "game.exe"),
                         Tag("GLIMRA_GAME_ID", "game-3"),
                         Tag("GUID", "guid-1"),
                         Tag("GsdkVersion", "3.7.12.0")};

// A text under the firmware's registry key; nothing when there is none. A text that is there counts
// even when it has no characters.
std::optional<std::string> FirmwareText(const wchar_t* name) {
  std::array<wchar_t, 512> text = {};
  DWORD size = sizeof(text);
  if (RegGetValueW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DESCRIPTION\\System\\BIOS", name, RRF_RT_REG_SZ,
                   nullptr, text.data(), &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  return Utf8FromPath(std::filesystem::path(text.data()));
}

class Reporting : public ServiceTest {
 protected:
  // The calls that set the SDK up in `environment`.
  static Texts SetUp(const std::string& environment, int result = 0) {
    std::array<wchar_t, 512> folder = {};
    GetEnvironmentVariableW(L"ProgramData", folder.data(), folder.size());
    const std::string database =
        Utf8FromPath(std::filesystem::path(folder.data())) + "\\Orvane\\Orvane Daskel 3\\sentry-db";
    const Json::object options = {{"dsn", CAPTURE_SERVICE_SENTRY_DSN},
                                  {"environment", environment},
                                  {"max_breadcrumbs", 200},
                                  {"handler_path", "./crashpad_handler.exe"},
                                  {"sample_rate_bits", "0x3FD3333333333333"},
                                  {"database_path", database}};
    const auto call = [](const std::string& name, const Json::object& members) {
      return "sentry_" + name + " " + Json(members).dump();
    };
    return {call("options_new", {}),
            call("options_set_dsn", {{"dsn", options.at("dsn")}}),
            call("options_set_environment", {{"environment", environment}}),
            call("options_set_max_breadcrumbs", {{"count", 200}}),
            call("options_set_handler_pathw", {{"path", "./crashpad_handler.exe"}}),
            call("options_set_sample_rate", {{"bits", "0x3FD3333333333333"}, {"rate", 0.3}}),
            call("options_set_database_pathw", {{"path", database}}),
            call("init", {{"options", options}, {"result", result}})};
  }

  static Texts User(const std::string& id) {
    return {"sentry_set_user " + Json(Json::object{{"user", Json::object{{"id", id}}}}).dump()};
  }

  static Texts ShutDown() { return {R"(sentry_shutdown {"leaked": [], "result": 0})"}; }

  // All calls but those that only build values.
  static Texts Calls(const ServiceRun& run) {
    Texts calls = ReportCalls(run);
    std::erase_if(calls, [](const std::string& call) { return call.starts_with("sentry_value_"); });
    return calls;
  }

  // Takes the machine's profile out of `calls`: the tags that follow directly on each sentry_init,
  // as far as their names are the profile's. Returns them.
  static Texts TakeProfile(Texts& calls) {
    Texts profile;
    Texts others;
    bool after_init = false;
    for (const std::string& call : calls) {
      after_init =
          call.starts_with("sentry_init") || (after_init && call.starts_with("sentry_set_tag"));
      const bool is_profile = after_init && call.starts_with("sentry_set_tag") &&
                              call.find("GLIMRA_") == std::string::npos;
      (is_profile ? profile : others).push_back(call);
    }
    calls = others;
    return profile;
  }
};

TEST_F(Reporting, SetUpGivesOptionsProfileUserAndTagsInOrder) {
  ServiceRun& run = Start();
  run.Send(ReportingSettings());
  ExpectCleanDie(run);
  Texts calls = Calls(run);
  TakeProfile(calls);
  EXPECT_EQ(calls, Join({SetUp("production"), User("user-7"), kHostTags, ShutDown()}));
  EXPECT_EQ(ReportMisuses(run), Texts{});
  EXPECT_EQ(run.Texts(), Texts{});
}

TEST_F(Reporting, TheProfileTellsOfTheMachine) {
  ServiceRun& run = Start();
  run.Send(ReportingSettings());
  ExpectCleanDie(run);
  Texts calls = Calls(run);
  std::map<std::string, std::string> tags;
  Texts names;
  for (const std::string& call : TakeProfile(calls)) {
    std::string error;
    const Json tag = Json::parse(call.substr(call.find('{')), error);
    names.push_back(tag["name"].string_value());
    tags[names.back()] = tag["value"].string_value();
  }
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end())) << Json(names).dump();

  // The firmware's tags are there as far as the registry has them, also when they are empty there.
  Texts expected = {"CPU_NAME",   "CPU_VENDOR",        "GPU_DRIVER_VERSION", "GPU_NAME",
                    "GPU_RAM",    "GPU_SCHEDULING",    "GPU_VENDOR",         "OS_ARCH",
                    "OS_VERSION", "PROCESS_ELEVATION", "TOTAL_RAM"};
  const std::optional<std::string> vendor = FirmwareText(L"BIOSVendor");
  const std::optional<std::string> version = FirmwareText(L"BIOSVersion");
  const std::optional<std::string> date = FirmwareText(L"BIOSReleaseDate");
  if (vendor && version && date) {
    expected.push_back("BIOS_VERSION");
    EXPECT_EQ(tags["BIOS_VERSION"], *vendor + " " + *version + " " + *date);
  }
  const std::vector<std::pair<const wchar_t*, std::string>> board_tags = {
      {L"SystemProductName", "MOBO_MODEL"}, {L"SystemManufacturer", "MOBO_VENDOR"}};
  for (const auto& [value, tag] : board_tags) {
    const std::optional<std::string> text = FirmwareText(value);
    if (!text) continue;
    expected.push_back(tag);
    EXPECT_EQ(tags[tag], *text);
  }
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(names, expected);

  MEMORYSTATUSEX memory = {};
  memory.dwLength = sizeof(memory);
  ASSERT_TRUE(GlobalMemoryStatusEx(&memory));
  EXPECT_EQ(tags["TOTAL_RAM"], std::to_string(memory.ullTotalPhys));
  EXPECT_FALSE(tags["OS_VERSION"].empty());
  EXPECT_FALSE(tags["CPU_NAME"].empty());
}

TEST_F(Reporting, MissingAndMistypedMembersAreEmpty) {
  ServiceRun& run = Start();
  run.SendOdd(R"({"startglimra_sentrysettings": {"beta_enabled": true, "userid": 7,
                  "game_id": null, "daskel_guid": "Gr)"
              "\xC3\xBC\xC3\x9F"
              R"(e", "more": 1}})");
  ExpectCleanDie(run);
  Texts calls = Calls(run);
  TakeProfile(calls);
  EXPECT_EQ(calls, Join({SetUp(""),
                         User(""),
                         {Tag("BETA_ENABLED", ""), Tag("DaskelVersion", ""),
                          Tag("GLIMRA_GAME_EXE", ""), Tag("GLIMRA_GAME_ID", ""),
                          Tag("GUID",
                              "Gr\xC3\xBC\xC3\x9F"
                              "e"),
                          Tag("GsdkVersion", "3.7.12.0")},
                         ShutDown()}));
}

TEST_F(Reporting, SetUpTwiceIsDoneTwiceAndShutDownOnce) {
  ServiceRun& run = Start();
  run.Send(ReportingSettings());
  run.Send(ReportingSettings({{"sentry_env", "second"}}));
  ExpectCleanDie(run);
  Texts calls = Calls(run);
  const Texts profile = TakeProfile(calls);
  EXPECT_EQ(calls, Join({SetUp("production"), User("user-7"), kHostTags, SetUp("second"),
                         User("user-7"), kHostTags, ShutDown()}));
  ASSERT_EQ(profile.size() % 2, 0U);
  const auto middle = profile.begin() + static_cast<std::ptrdiff_t>(profile.size() / 2);
  EXPECT_EQ(Texts(profile.begin(), middle), Texts(middle, profile.end()));
}

TEST_F(Reporting, ASetUpThatFailsLeavesOnlyTheProfile) {
  ServiceRun& run = Start({.script = FailingCall("gsdk_session_create", 1, "no session"),
                           .variables = {{L"RECORDING_SENTRY_INIT_RESULT", L"1"}}});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  ExpectCleanExit(run, 9);
  Texts calls = Calls(run);
  EXPECT_FALSE(TakeProfile(calls).empty());
  ASSERT_EQ(calls.size(), 10U);
  EXPECT_EQ(Texts(calls.begin(), calls.begin() + 8), SetUp("production", 1));
  // The SDK isn't asked whether it runs before the game's elevation is set.
  EXPECT_EQ(calls[8], Tag("GLIMRA_GAME_ELEVATION", ""));
  EXPECT_TRUE(calls[9].starts_with("sentry_set_tag {\"name\": \"GLIMRA_GAME_ELEVATION\""));
  EXPECT_EQ(run.Texts(), Texts{Failure("Create session failed: no session")});
}

TEST_F(Reporting, WithoutSettingsNothingIsReported) {
  ServiceRun& run = Start();
  run.Send(Restart());
  ExpectCleanExit(run, 7);
  EXPECT_EQ(ReportCalls(run), Texts{});
}

TEST_F(Reporting, LinesFromBeforeTheSetUpAreNotKept) {
  ServiceRun& run = Start();
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitForText(Line(kCapture)));
  run.Send(ReportingSettings());
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts(), (Texts{Line(kCapture), Line(kCapture)}));
  EXPECT_EQ(Incidents(run), Texts{"info: " + kCapture});
}

TEST_F(Reporting, AnEventIsBuiltMemberByMember) {
  ServiceRun& run = Start({.script = FailingCall("gsdk_session_create", 1, "no session")});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  ExpectCleanExit(run, 9);
  Texts calls = ReportCalls(run);
  const auto begin = std::find_if(calls.begin(), calls.end(), [](const std::string& call) {
    return call.find("GLIMRA_GAME_ELEVATION") != std::string::npos;
  });
  ASSERT_GE(calls.end() - begin, 2);
  calls.erase(calls.begin(), begin + 2);
  const std::string type = R"("type": "Error 9 GSDKSessionCreateFailed")";
  const std::string value = R"("value": "Create session failed: no session")";
  const std::string event = "{\"exception\": {" + type + ", " + value + "}}";
  const std::string breadcrumb =
      R"({"message": "Create session failed: no session", "type": "default"})";
  // The order in which values are made before they are put together is of no account.
  std::erase_if(calls,
                [](const std::string& call) { return call.starts_with("sentry_value_new_"); });
  EXPECT_EQ(
      calls,
      Join(
          {{R"(sentry_value_set_by_key {"key": "type", "member": "Error 9 GSDKSessionCreateFailed", )"
            R"("object": {}, "result": 0})",
            R"(sentry_value_set_by_key {"key": "value", "member": )"
            R"("Create session failed: no session", "object": {)" +
                type + R"(}, "result": 0})",
            "sentry_value_set_by_key {\"key\": \"exception\", \"member\": {" + type + ", " + value +
                "}, \"object\": {}, \"result\": 0}",
            "sentry_event_value_add_stacktrace {\"addresses\": null, \"count\": 0, \"event\": " +
                event + "}",
            "sentry_capture_event {\"event\": " + event + "}",
            "sentry_value_set_by_key {\"key\": \"level\", \"member\": \"error\", \"object\": " +
                breadcrumb + ", \"result\": 0}",
            R"(sentry_add_breadcrumb {"breadcrumb": {"level": "error", "message": )"
            R"("Create session failed: no session", "type": "default"}})"},
           ShutDown()}));
  EXPECT_EQ(ReportMisuses(run), Texts{});
}

TEST_F(Reporting, UnsetSettingsAreEventsWithoutANumber) {
  ServiceRun& run = Start();
  run.Send(ReportingSettings());
  run.Send(Restart());
  ExpectCleanExit(run, 7);
  EXPECT_EQ(run.Texts().size(), 9U);
  EXPECT_EQ(Incidents(run), ExpectedIncidents(run.Texts(), "RecorderSettings", false));
  EXPECT_EQ(ReportMisuses(run), Texts{});
}

TEST_F(Reporting, ASessionSetsTheModeAndTheGamesElevation) {
  ServiceRun& run = Start();
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
  Texts tags = ReportCalls(run, "sentry_set_tag");
  std::erase_if(tags, [](const std::string& tag) {
    return tag.find("ELEVATION") == std::string::npos && tag.find("MODE\"") == std::string::npos;
  });
  // The service's own elevation is the test's, which is the game's here.
  const std::string own = tags.at(0);
  const std::string prefix = R"(sentry_set_tag {"name": "PROCESS_ELEVATION", "value": )";
  ASSERT_TRUE(own.starts_with(prefix)) << own;
  EXPECT_EQ(tags, (Texts{own, Tag("GLIMRA_GAME_ELEVATION", ""),
                         R"(sentry_set_tag {"name": "GLIMRA_GAME_ELEVATION", "value": )" +
                             own.substr(prefix.size()),
                         Tag("CAPTURE_MODE", "game")}));
  EXPECT_EQ(Incidents(run), Texts{"info: " + kCapture});
}

TEST_F(Reporting, AGameThatIsOnlyAWindowHasNoElevation) {
  const TestWindow window;
  ServiceRun& run = Start();
  run.Send(ReportingSettings());
  StartRecording(run, Settings({{"game_hwnd", window.Number()}, {"game_pid", nullptr}}));
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
  Texts tags = ReportCalls(run, "sentry_set_tag");
  std::erase_if(tags, [](const std::string& tag) {
    return tag.find("GLIMRA_GAME_ELEVATION") == std::string::npos;
  });
  EXPECT_EQ(tags, Texts{Tag("GLIMRA_GAME_ELEVATION", "")});
}

TEST_F(Reporting, AFailedInputAndAFailedBindingAreEventsWithoutANumber) {
  Json::object calls =
      FailingCall("gsdk_session_add_audio_input", 1, "no input")["calls"].object_items();
  calls.merge(
      Json::object(FailingCall("gsdk_session_update_audio_input_handle", 1, "no device")["calls"]
                       .object_items()));
  const std::string list = R"({"device_id": {"values": [{"value": "a"}]}})";
  ServiceRun& run =
      Start({.script = Json::object{{"calls", calls},
                                    {"lists", Json::object{{"audio_output", Json::array{list}}}}}});
  run.Send(ReportingSettings());
  StartRecording(run, Settings({{"audio_game", "a"}}));
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
  EXPECT_EQ(Incidents(run),
            (Texts{"info: " + kCapture, "event Error Audio Input: Add audio input failed: no input",
                   "error: Add audio input failed: no input",
                   "event Error Update audio settings: Update audio settings failed: no device",
                   "error: Update audio settings failed: no device"}));
}

TEST_F(Reporting, LibraryLinesAreInfoBreadcrumbs) {
  ServiceRun& run = Start(
      {.script = Json::object{
           {"calls", Json::object{{"gsdk_session_create",
                                   Json::array{Json::object{
                                       {"log", Json::array{"one", "\xC3\xA9", nullptr}}}}}}}}});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  ExpectCleanDie(run);
  EXPECT_EQ(Incidents(run), (Texts{"info: one", "info: \xC3\xA9", "info: ", "info: " + kCapture}));
}

TEST_F(Reporting, AHungSessionIsAnEventWithoutABreadcrumbBeforeTheShutdown) {
  ServiceRun& run = Start(
      {.script = Json::object{
           {"calls",
            Json::object{{"gsdk_session_destroy", Json::array{Json::object{{"hang", true}}}}}}}});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy"));
  run.Send(Die(5));
  EXPECT_EQ(run.WaitForExit(), 201U);
  EXPECT_EQ(Incidents(run),
            (Texts{"info: " + kCapture,
                   "event Error 201 JoinThreadError: gsdk thread timed out when trying to stop, "
                   "dieing hard..."}));
  const Texts calls = Calls(run);
  EXPECT_EQ(Last(calls), ShutDown().front());
  EXPECT_EQ(std::count(calls.begin(), calls.end(), ShutDown().front()), 1);
}

TEST_F(Reporting, AStallIsAnInfoBreadcrumb) {
  const Json one_packet = Json::object{
      {"threads", Json::array{Json::object{{"steps", Json::array{Json::object{{"packets", 1}}}}}}}};
  ServiceRun& run =
      Start({.script = Json::object{{"sessions", Json::array{one_packet, Json::object{}}}}});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);
  EXPECT_EQ(Incidents(run), ExpectedIncidents(run.Texts(), "", true));
}

TEST_F(Reporting, TheVersionIsThatOfTheLoadedLibrary) {
  ServiceRun& without = Start({.library = LibraryFile::kNoVersion});
  without.Send(ReportingSettings());
  ExpectCleanDie(without);
  EXPECT_EQ(Last(ReportCalls(without, "sentry_set_tag")), Tag("GsdkVersion", ""));

  ServiceRun& fallen_back = Start({.more_arguments = {L"C:\\no\\such\\library.dll"}});
  fallen_back.Send(ReportingSettings());
  ExpectCleanDie(fallen_back);
  EXPECT_EQ(Last(ReportCalls(fallen_back, "sentry_set_tag")), Tag("GsdkVersion", "3.7.12.0"));
}

}  // namespace
}  // namespace e2e
