// Three hundred sessions in one process, with the waits of the service shortened. What the process
// holds after each is fitted with a straight line, which must not rise.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <iostream>
#include <vector>

#include "tests/e2e/holdings.h"
#include "tests/e2e/reports.h"
#include "tests/e2e/saved_clips.h"
#include "tests/e2e/service_test.h"
#include "tests/open_gsdk/window.h"

namespace e2e {
namespace {

constexpr int kSessions = 300;
// Before that, pools and caches are still filling.
constexpr int kWarmUp = 30;
constexpr int kModes = 3;

struct FittedLine {
  double at_start = 0;
  double slope = 0;   // for each value
  double spread = 0;  // standard deviation of the values about the line
};

// The straight line of least squares through `values`, one apart.
FittedLine FitLine(const std::vector<double>& values) {
  const auto count = static_cast<double>(values.size());
  const double middle = (count - 1) / 2;
  double mean = 0;
  for (const double value : values) mean += value / count;
  double rise = 0;
  double run = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double x = static_cast<double>(i) - middle;
    rise += x * (values[i] - mean);
    run += x * x;
  }
  FittedLine line = {.at_start = mean - rise / run * middle, .slope = rise / run};
  double squares = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double rest = values[i] - line.at_start - line.slope * static_cast<double>(i);
    squares += rest * rest;
  }
  line.spread = std::sqrt(squares / (count - 2));
  return line;
}

// One thing that a process holds.
struct Holding {
  const char* name;
  std::size_t Holdings::*member;
  // A rise over all sessions that may come from when the values were taken: what one session holds
  // more than another at the same point of its life.
  double noise;
};
// Locks make their events when threads first meet there, so that a few come late: of 1200 sessions
// no more than of 300.
constexpr Holding kHandles = {.name = "handles", .member = &Holdings::handles, .noise = 4};
constexpr Holding kKeys = {.name = "registry keys", .member = &Holdings::registry_keys, .noise = 1};
constexpr Holding kThreads = {.name = "threads", .member = &Holdings::threads, .noise = 1};
constexpr Holding kBytes = {
    .name = "private bytes", .member = &Holdings::private_bytes, .noise = 1U << 20U};

void ExpectNoRise(const Holding& holding, const std::vector<Holdings>& sessions) {
  std::vector<double> values;
  for (const Holdings& session : sessions) {
    values.push_back(static_cast<double>(session.*holding.member));
  }
  const FittedLine line = FitLine(values);
  const double rise = line.slope * static_cast<double>(values.size());
  EXPECT_GT(line.at_start, 0) << holding.name;
  std::cout << "hunt: " << holding.name << ": " << line.at_start << " after " << kWarmUp
            << " sessions, " << line.slope << " more with every third (" << rise
            << " in all), spread " << line.spread << "\n";
  EXPECT_LE(rise, std::max(holding.noise, 2 * line.spread)) << holding.name;
}

TEST(LineFit, IsThatOfLeastSquares) {
  const FittedLine line = FitLine({1, 4, 5, 8});
  EXPECT_DOUBLE_EQ(line.at_start, 1.2);
  EXPECT_DOUBLE_EQ(line.slope, 2.2);
  EXPECT_NEAR(line.spread, std::sqrt(0.4), 1e-9);
}

class Restarts : public ServiceTest {
 protected:
  // Starts sessions one after the other in `run`; `between` is called in each. What the process
  // holds is taken at the end of every third, which all have the same mode.
  static std::vector<Holdings> RunSessions(ServiceRun& run,
                                           const std::function<void(int session)>& between) {
    std::vector<Holdings> taken;
    for (int session = 1; session <= kSessions; ++session) {
      run.Send(Restart());
      if (!WaitForSession(run, session)) break;
      run.Send(ChangeAudio());
      between(session);
      if (session <= kWarmUp || session % kModes != 0) continue;
      taken.push_back(HoldingsOf(run.Process()));
    }
    EXPECT_EQ(taken.size(), static_cast<std::size_t>((kSessions - kWarmUp) / kModes));
    return taken;
  }

  static bool WaitForSession(ServiceRun& run, int number) {
    return run.Pipe().WaitFor(
        [&](const Texts& texts) {
          return std::count_if(texts.begin(), texts.end(), [](const std::string& text) {
                   return text.find("capture settings: ") != std::string::npos;
                 }) >= number;
        },
        kLimit);
  }
};

// The service alone: its library opens nothing.
TEST_F(Restarts, ThreeHundredSessionsLeaveNothingOfTheServiceBehind) {
  ServiceRun& run = Start({.hurried = true});
  run.Send(ReportingSettings());
  run.Send(RecorderSettings(Settings()));
  const std::vector<Holdings> taken = RunSessions(run, [&](int session) {
    const Json answer = SaveFirstClip(run, run.Folder() / "clip.mp4", std::to_string(session));
    ASSERT_TRUE(answer["succeeded"].bool_value()) << answer.dump();
    // The next session's mode: the monitor for every third, else the game.
    run.Send(RecorderSettings(Json::object{{"recording_mode", session % kModes == 2 ? 1 : 2}}));
  });
  std::cout << "hunt: " << kSessions << " sessions of a library that opens nothing\n";
  for (const Holding& holding : {kHandles, kKeys, kThreads}) ExpectNoRise(holding, taken);
  ExpectCleanDie(run);
}

TEST_F(Restarts, ThreeHundredRecordingsLeaveNothingBehind) {
  const open_gsdk::TestWindow window(L"Restarts", 320, 180, RGB(0, 0, 0));
  window.Animate();
  ServiceRun& run = Start({.library = LibraryFile::kOpen, .hurried = true});
  run.Send(ReportingSettings());
  run.Send(RecorderSettings(Settings({{"game_hwnd", static_cast<int>(window.number())},
                                      {"recording_mode", 2},
                                      {"video_fps", 30},
                                      {"record_length", 5},
                                      {"audio_game", "default"}})));
  const std::vector<Holdings> taken = RunSessions(run, [&](int session) {
    const Json answer = SaveFirstClip(run, run.Folder() / "clip.mp4", std::to_string(session));
    ASSERT_TRUE(answer["succeeded"].bool_value()) << answer.dump();
    run.Send(RecorderSettings(Json::object{{"recording_mode", session % kModes + 1}}));
  });
  std::cout << "hunt: " << kSessions << " recordings in one process, a clip of each\n";
  for (const Holding& holding : {kHandles, kThreads, kBytes}) ExpectNoRise(holding, taken);
  run.Send(Die(0));
  EXPECT_EQ(run.WaitForExit(), 0U);
  EXPECT_EQ(ReportMisuses(run), Texts{});
}

}  // namespace
}  // namespace e2e
