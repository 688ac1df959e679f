// What `host_console doctor` says about installations that are broken in one way each. A whole one
// needs a display and is examined where the package is tested.
#include <fstream>

#include "tests/e2e/console_run.h"
#include "tests/e2e/service_test.h"

namespace e2e {
namespace {

class Doctor : public ::testing::Test {
 protected:
  // Runs the doctor over the test's folder; the findings that are problems, as "SUBJECT: TEXT
  // ADVICE" with the folder written as FOLDER.
  Texts Problems() {
    const auto [status, text] = RunConsole(
        {L"doctor", L"--json", L"--service", (folder_.Path() / "CaptureService.exe").wstring()});
    std::string error;
    const Json json = Json::parse(text, error);
    EXPECT_TRUE(json["well"].is_bool()) << text;
    Texts problems;
    for (const Json& finding : json["findings"].array_items()) {
      if (finding["kind"] != "problem") continue;
      std::string problem = finding["subject"].string_value() + ": " +
                            finding["text"].string_value() + " " + finding["advice"].string_value();
      const std::string folder = Utf8FromPath(folder_.Path()) + "\\";
      for (auto at = problem.find(folder); at != std::string::npos; at = problem.find(folder)) {
        problem.replace(at, folder.size(), "FOLDER\\");
      }
      problems.push_back(problem);
    }
    EXPECT_EQ(json["well"].bool_value(), problems.empty());
    EXPECT_EQ(status, problems.empty() ? 0 : 1);
    return problems;
  }

  // Lists that a library of a working machine has.
  static Json Lists() {
    return Json::object{
        {"lists",
         Json::object{{"monitor", Json::array{R"({"monitor": {"default": "A", "values": ["A"]}})"}},
                      {"window", Json::array{R"({"window": {"values": []}})"}},
                      {"audio_output", Json::array{R"({"device_id": {"values": []}})"}},
                      {"audio_input", Json::array{R"({"device_id": {"values": []}})"}}}}};
  }

  void Install(const RunOptions& options) {
    for (const auto& [name, value] : PlaceService(options, folder_.Path())) {
      SetEnvironmentVariableW(name.c_str(), value.c_str());
    }
    std::ofstream(folder_.Path() / "crashpad_handler.exe") << "handler";
  }

  TemporaryFolder folder_;
};

TEST_F(Doctor, FindsNothingWrongWithAWholeInstallation) {
  Install({.script = Lists()});
  EXPECT_EQ(Problems(), Texts{});
}

TEST_F(Doctor, MissesTheService) {
  Install({.script = Lists()});
  std::filesystem::remove(folder_.Path() / "CaptureService.exe");
  EXPECT_EQ(Problems(), Texts{"CaptureService.exe: There is no FOLDER\\CaptureService.exe. Install "
                              "it there, or name it with --service."});
}

TEST_F(Doctor, MissesTheLibrary) {
  Install({.library = LibraryFile::kNone});
  EXPECT_EQ(Problems(), Texts{"gsdk.dll: There is no FOLDER\\gsdk.dll. Put a capture library for "
                              "64-bit Windows there; the package has one."});
}

TEST_F(Doctor, SeesThatTheLibraryIsNoLibrary) {
  Install({.library = LibraryFile::kNotALibrary});
  EXPECT_EQ(Problems(), Texts{"gsdk.dll: FOLDER\\gsdk.dll is no library for 64-bit Windows. Put "
                              "one for 64-bit Windows there."});
}

TEST_F(Doctor, NamesTheEntryPointThatTheLibraryLacks) {
  Install({.library = LibraryFile::kMissingExport});
  EXPECT_EQ(Problems(), Texts{"gsdk.dll: FOLDER\\gsdk.dll lacks gsdk_encoded_packet_release. Put "
                              "the one that belongs to the service there."});
}

TEST_F(Doctor, MissesTheReportingLibrary) {
  Install({.script = Lists()});
  std::filesystem::remove(folder_.Path() / "sentry.dll");
  EXPECT_EQ(Problems(),
            Texts{"sentry.dll: It is not beside the service, which ends with 0xC0000135 "
                  "without it. Put the SDK's, or the project's own, beside "
                  "CaptureService.exe."});
}

TEST_F(Doctor, SeesThatTheReportingLibraryIsNoLibrary) {
  Install({.script = Lists()});
  std::ofstream(folder_.Path() / "sentry.dll") << "text";
  EXPECT_EQ(
      Problems(),
      Texts{"sentry.dll: It is no library for 64-bit Windows. Put one for 64-bit Windows there."});
}

TEST_F(Doctor, MissesTheHandlerOfTheReportingLibrary) {
  Install({.script = Lists()});
  std::filesystem::remove(folder_.Path() / "crashpad_handler.exe");
  EXPECT_EQ(Problems(),
            Texts{"crashpad_handler.exe: It is not beside the service, and the SDK reports nothing "
                  "without it. Put the SDK's beside CaptureService.exe."});
}

TEST_F(Doctor, SeesThatThereIsNoMonitor) {
  Json::object script = Lists().object_items();
  Json::object lists = script["lists"].object_items();
  lists["monitor"] = Json::array{R"({"monitor": {"default": null, "values": []}})"};
  script["lists"] = lists;
  Install({.script = script});
  const Texts problems = Problems();
  ASSERT_FALSE(problems.empty());
  EXPECT_EQ(problems[0], "monitors: 0. Attach one, or log on to a desktop.");
}

TEST_F(Doctor, SaysWhyARecordingFails) {
  Json::object script = Lists().object_items();
  const Json failing = FailingCall("gsdk_session_create", 15, "none at all");
  script["calls"] = failing["calls"];
  Install({.script = script});
  EXPECT_EQ(Problems(),
            Texts{"trial recording: The service ended with status 22 (GSDKEncoderNotFound). No "
                  "encoder can be opened on this machine. Update the graphics driver, or ask for a "
                  "smaller picture.\n           [Glimra error]: No valid encoder found on session "
                  "creation:none at all "});
}

}  // namespace
}  // namespace e2e
