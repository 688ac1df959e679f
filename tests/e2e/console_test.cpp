// The commands of host_console for scripts: --json, --journal, replay.
#include <algorithm>
#include <fstream>
#include <sstream>

#include "tests/e2e/console_run.h"
#include "tests/e2e/service_test.h"

namespace e2e {
namespace {

class Console : public ::testing::Test {
 protected:
  Console() {
    for (const auto& [name, value] : PlaceService({}, folder_.Path())) {
      SetEnvironmentVariableW(name.c_str(), value.c_str());
    }
  }

  std::wstring Service() const { return (folder_.Path() / "CaptureService.exe").wstring(); }
  std::wstring Journal() const { return (folder_.Path() / "journal").wstring(); }

  void WriteJournal(const Json::array& lines) const {
    std::ofstream file(std::filesystem::path(Journal()), std::ios::binary);
    for (const Json& line : lines) file << line.dump() << "\n";
  }

  static Json Entry(const char* direction, double time, const Json& message) {
    return Json::object{{"direction", direction}, {"time", time}, {"text", message.dump()}};
  }

  // The lines of an output of --json without their times.
  static Texts Lines(const std::string& output) {
    Texts lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
      std::string error;
      const Json json = Json::parse(line, error);
      EXPECT_TRUE(json["time"].is_number()) << line;
      lines.push_back(json["kind"].string_value() + " " + json["text"].string_value());
    }
    return lines;
  }

  TemporaryFolder folder_;
};

TEST_F(Console, ReplaysAJournalAtItsTimes) {
  WriteJournal({Entry("in", 10.0, Clip("C:\\a.mp4", "1")), Entry("out", 10.1, Json::object{}),
                Entry("in", 11.0, Clip("C:\\b.mp4", "2")), Entry("out", 13.0, Json::object{})});
  const auto begin = std::chrono::steady_clock::now();
  const auto [status, output] =
      RunConsole({L"replay", Journal(), L"--json", L"--service", Service()});
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
  EXPECT_EQ(status, 0) << output;
  Texts lines = Lines(output);
  ASSERT_GE(lines.size(), 2U) << output;
  EXPECT_TRUE(lines.front().starts_with("note The service runs as process ")) << output;
  EXPECT_EQ(lines.back(), "note The service ended with status 0. It ended in good order.");
  Texts traffic;
  for (const std::string& line : lines) {
    if (!line.starts_with("note ")) traffic.push_back(line);
  }
  EXPECT_EQ(traffic, (Texts{"sent " + Clip("C:\\a.mp4", "1").dump(),
                            "received " + ClipFailure("1", "recorder not initialized"),
                            "sent " + Clip("C:\\b.mp4", "2").dump(),
                            "received " + ClipFailure("2", "recorder not initialized"),
                            "sent " + Die(0).dump()}));
}

TEST_F(Console, ReplaysADieOfTheJournal) {
  WriteJournal({Entry("in", 0, Die(7))});
  const auto [status, output] = RunConsole(
      {L"replay", Journal(), L"--expect-status", L"7", L"--json", L"--service", Service()});
  EXPECT_EQ(status, 0) << output;
  EXPECT_EQ(
      Lines(output).back(),
      "note The service ended with status 7 (BadRecorderSettings). Settings are missing. Send "
      "each of the settings that its lines name.");
}

TEST_F(Console, SaysWhatIsWrongWithAJournal) {
  const auto failure = [&](const std::wstring& journal) {
    const auto [status, output] =
        RunConsole({L"replay", journal, L"--json", L"--service", Service()});
    EXPECT_EQ(status, 1);
    return Lines(output);
  };
  const std::string name = Utf8FromPath(Journal());
  EXPECT_EQ(failure(Journal()),
            Texts{"failure Cannot read the journal " + name + ". Look at its path."});
  WriteJournal({Entry("out", 0, Json::object{})});
  EXPECT_EQ(failure(Journal()),
            Texts{"failure The journal " + name + " has no message of a host. Name another."});
  WriteJournal({Entry("in", 0, Die(0)), Json::object{{"direction", "in"}}});
  EXPECT_EQ(failure(Journal()),
            Texts{"failure Line 2 of " + name +
                  " is no line of a journal. Name a file that --journal wrote."});
}

TEST_F(Console, AJournalCanBeReplayed) {
  WriteJournal({Entry("in", 0, Clip("C:\\a.mp4", "1")), Entry("in", 0.5, Die(0))});
  const std::wstring second = (folder_.Path() / "second").wstring();
  ASSERT_EQ(
      RunConsole({L"replay", Journal(), L"--journal", second, L"--service", Service()}).status, 0);
  std::ifstream file(std::filesystem::path(second), std::ios::binary);
  Texts texts;
  std::vector<double> times;
  for (std::string line; std::getline(file, line);) {
    std::string error;
    const Json json = Json::parse(line, error);
    texts.push_back(json["direction"].string_value() + " " + json["text"].string_value());
    times.push_back(json["time"].number_value());
  }
  EXPECT_EQ(texts,
            (Texts{"in " + Clip("C:\\a.mp4", "1").dump(),
                   "out " + ClipFailure("1", "recorder not initialized"), "in " + Die(0).dump()}));
  ASSERT_EQ(times.size(), 3U);
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
  EXPECT_GE(times.back() - times.front(), 0.4995);  // Three decimal places are not exact.
}

TEST_F(Console, ShowsHowLongItWaitsOnATerminalOnly) {
  const auto watch = [&](const std::wstring& progress) {
    const auto [status, output] = RunConsole({L"watch", L"--mode", L"monitor", L"--for", L"3",
                                              L"--progress", progress, L"--service", Service()});
    EXPECT_EQ(status, 0) << output;
    return output;
  };
  const std::string terminal = watch(L"line");
  EXPECT_NE(terminal.find("Starting the service\r"), std::string::npos) << terminal;
  EXPECT_EQ(terminal.find("Watching, 0 of 3 s"), std::string::npos) << terminal;
  EXPECT_NE(terminal.find("Watching, 1 of 3 s\r                  \r"), std::string::npos)
      << terminal;
  EXPECT_NE(terminal.find("Watching, 2 of 3 s\r"), std::string::npos) << terminal;
  // It is gone before the next line is printed.
  EXPECT_TRUE(terminal.ends_with("It ended in good order.\n")) << terminal;

  const std::string plain = watch(L"plain");
  EXPECT_EQ(plain.find("Watching"), std::string::npos) << plain;
  EXPECT_EQ(plain.find('\r'), std::string::npos) << plain;
}

TEST_F(Console, ShowsThatItWaitsForAWindow) {
  const auto [status, output] = RunConsole(
      {L"record", L"--title", L"There is no such window", L"--window-wait", L"3", L"--out",
       (folder_.Path() / "clip.mp4").wstring(), L"--progress", L"line", L"--service", Service()});
  EXPECT_EQ(status, 1) << output;
  EXPECT_TRUE(output.starts_with("Waiting for the window, 1 s\r")) << output;
}

TEST_F(Console, MakesNoReportWhereThereIsOneOrNoFolder) {
  const auto failure = [&](const std::wstring& zip) {
    const auto [status, output] = RunConsole({L"report", zip, L"--json", L"--service", Service()});
    EXPECT_EQ(status, 1) << output;
    return Lines(output);
  };
  std::ofstream(std::filesystem::path(Journal())) << "before";
  const std::string name = Utf8FromPath(Journal());
  EXPECT_EQ(failure(Journal()), Texts{"failure There is a " + name + " already. Name a new file."});
  const std::wstring elsewhere = (folder_.Path() / "none" / "report.zip").wstring();
  EXPECT_EQ(failure(elsewhere), Texts{"failure There is no folder for " + Utf8FromPath(elsewhere) +
                                      ". Create it first, or name another."});
}

}  // namespace
}  // namespace e2e
