// How error reporting is set up: what the SDK is given before any line or failure is reported.
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

// The tags of ReportingSettings().
const Texts kHostTags = {TagCall("BETA_ENABLED", "true"),
                         TagCall("DaskelVersion", "3.0.1"),
                         TagCall("GLIMRA_GAME_EXE", "game.exe"),
                         TagCall("GLIMRA_GAME_ID", "game-3"),
                         TagCall("GUID", "guid-1"),
                         TagCall("GsdkVersion", "3.7.12.0")};

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

class ReportingSetUp : public ServiceTest {
 protected:
  // The calls that set the SDK up in `environment`.
  static Texts SetUpCalls(const std::string& environment, int result = 0) {
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

  static Texts UserCalls(const std::string& id) {
    return {"sentry_set_user " + Json(Json::object{{"user", Json::object{{"id", id}}}}).dump()};
  }

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

TEST_F(ReportingSetUp, SetUpGivesOptionsProfileUserAndTagsInOrder) {
  ServiceRun& run = Start();
  run.Send(ReportingSettings());
  ExpectCleanDie(run);
  Texts calls = Calls(run);
  TakeProfile(calls);
  EXPECT_EQ(calls,
            Join({SetUpCalls("production"), UserCalls("user-7"), kHostTags, {ShutDownCall()}}));
  EXPECT_EQ(ReportMisuses(run), Texts{});
  EXPECT_EQ(run.Texts(), Texts{});
}

TEST_F(ReportingSetUp, TheProfileTellsOfTheMachine) {
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

TEST_F(ReportingSetUp, MissingAndMistypedMembersAreEmpty) {
  ServiceRun& run = Start();
  run.SendOdd(R"({"startglimra_sentrysettings": {"beta_enabled": true, "userid": 7,
                  "game_id": null, "daskel_guid": "Gr)"
              "\xC3\xBC\xC3\x9F"
              R"(e", "more": 1}})");
  ExpectCleanDie(run);
  Texts calls = Calls(run);
  TakeProfile(calls);
  EXPECT_EQ(calls, Join({SetUpCalls(""),
                         UserCalls(""),
                         {TagCall("BETA_ENABLED", ""), TagCall("DaskelVersion", ""),
                          TagCall("GLIMRA_GAME_EXE", ""), TagCall("GLIMRA_GAME_ID", ""),
                          TagCall("GUID",
                                  "Gr\xC3\xBC\xC3\x9F"
                                  "e"),
                          TagCall("GsdkVersion", "3.7.12.0")},
                         {ShutDownCall()}}));
}

TEST_F(ReportingSetUp, SetUpTwiceIsDoneTwiceAndShutDownOnce) {
  ServiceRun& run = Start();
  run.Send(ReportingSettings());
  run.Send(ReportingSettings({{"sentry_env", "second"}}));
  ExpectCleanDie(run);
  Texts calls = Calls(run);
  const Texts profile = TakeProfile(calls);
  EXPECT_EQ(calls, Join({SetUpCalls("production"),
                         UserCalls("user-7"),
                         kHostTags,
                         SetUpCalls("second"),
                         UserCalls("user-7"),
                         kHostTags,
                         {ShutDownCall()}}));
  ASSERT_EQ(profile.size() % 2, 0U);
  const auto middle = profile.begin() + static_cast<std::ptrdiff_t>(profile.size() / 2);
  EXPECT_EQ(Texts(profile.begin(), middle), Texts(middle, profile.end()));
}

TEST_F(ReportingSetUp, ASetUpThatFailsLeavesOnlyTheProfile) {
  ServiceRun& run = Start({.script = FailingCall("gsdk_session_create", 1, "no session"),
                           .variables = {{L"RECORDING_SENTRY_INIT_RESULT", L"1"}}});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  ExpectCleanExit(run, 9);
  Texts calls = Calls(run);
  EXPECT_FALSE(TakeProfile(calls).empty());
  ASSERT_EQ(calls.size(), 10U);
  EXPECT_EQ(Texts(calls.begin(), calls.begin() + 8), SetUpCalls("production", 1));
  // The SDK isn't asked whether it runs before the game's elevation is set.
  EXPECT_EQ(calls[8], TagCall("GLIMRA_GAME_ELEVATION", ""));
  EXPECT_TRUE(calls[9].starts_with("sentry_set_tag {\"name\": \"GLIMRA_GAME_ELEVATION\""));
  EXPECT_EQ(run.Texts(), Texts{Failure("Create session failed: no session")});
}

TEST_F(ReportingSetUp, TheVersionIsThatOfTheLoadedLibrary) {
  ServiceRun& without = Start({.library = LibraryFile::kNoVersion});
  without.Send(ReportingSettings());
  ExpectCleanDie(without);
  EXPECT_EQ(Last(ReportCalls(without, "sentry_set_tag")), TagCall("GsdkVersion", ""));

  ServiceRun& named = Start({.library = LibraryFile::kNoVersion,
                             .other_library = L"sub\\other.dll",
                             .more_arguments = {L"sub\\other.dll"}});
  named.Send(ReportingSettings());
  ExpectCleanDie(named);
  EXPECT_EQ(Last(ReportCalls(named, "sentry_set_tag")), TagCall("GsdkVersion", "3.7.12.0"));

  ServiceRun& fallen_back = Start({.more_arguments = {L"C:\\no\\such\\library.dll"}});
  fallen_back.Send(ReportingSettings());
  ExpectCleanDie(fallen_back);
  EXPECT_EQ(Last(ReportCalls(fallen_back, "sentry_set_tag")), TagCall("GsdkVersion", "3.7.12.0"));
}

}  // namespace
}  // namespace e2e
