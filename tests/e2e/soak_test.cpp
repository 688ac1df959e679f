// Records a window and real sound through the service and the open library for minutes, with
// restarts, clips and device changes all the time, and looks at what the service's process holds
// meanwhile. Needs a sound server (scripts/with_desktop --sound).
#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <ostream>

#include "platform/deadline.h"
#include "tests/e2e/holdings.h"
#include "tests/e2e/reports.h"
#include "tests/e2e/saved_clips.h"
#include "tests/e2e/service_test.h"
#include "tests/open_gsdk/window.h"

namespace e2e {
namespace {

constexpr int kRounds = 100;
// Before that, pools and caches are still filling.
constexpr int kWarmUpRounds = 10;
// A leak of one handle or thread a round shows as kRounds - kWarmUpRounds of them.
constexpr std::size_t kHandleTolerance = 8;
constexpr std::size_t kThreadTolerance = 2;
// Wine forgets a registry key each time that it is asked for the compositor's capture, which it
// does not have (RoGetActivationFactory), and each time for encoders on a graphics card
// (MFTEnumEx).
constexpr std::size_t kKeysForgottenInARound = 2;
// A leak of a twentieth of a picture of the window a round would be more.
constexpr std::size_t kByteTolerance = 4U << 20U;
// Of the clip at the end, and what a tone of that length takes at least. Silence takes a twentieth,
// and a picture that stands still less.
constexpr int kHeardMs = 3000;
constexpr std::uintmax_t kHeardBytes = 20'000;

std::ostream& operator<<(std::ostream& out, const Holdings& holdings) {
  return out << holdings.handles << " handles, " << holdings.registry_keys << " registry keys, "
             << holdings.threads << " threads, " << holdings.private_bytes << " bytes";
}

// The largest holdings of any of the rounds, member by member.
Holdings Largest(const Holdings* begin, const Holdings* end) {
  Holdings largest;
  for (const Holdings* round = begin; round != end; ++round) {
    largest.handles = std::max(largest.handles, round->handles);
    largest.registry_keys = std::max(largest.registry_keys, round->registry_keys);
    largest.threads = std::max(largest.threads, round->threads);
    largest.private_bytes = std::max(largest.private_bytes, round->private_bytes);
  }
  return largest;
}

using Soak = ServiceTest;

// A tone on the system's default device while it lives.
ChildProcess PlayTone() {
  return ChildProcess(
      {.program = ProgramFolder() / "demo_game.exe",
       .arguments = {L"--sound", L"tone:440", L"--size", L"160x120", L"--fps", L"1"}});
}

TEST_F(Soak, RestartsClipsAndDeviceChangesLeaveNothingBehind) {
  const ChildProcess tone = PlayTone();
  const open_gsdk::TestWindow window(L"Soak", 640, 360, RGB(0, 0, 0));
  ServiceRun& run = Start({.library = LibraryFile::kOpen});
  run.Send(ReportingSettings());
  run.Send(RecorderSettings(Settings({{"recording_mode", 3},
                                      {"game_hwnd", static_cast<int>(window.number())},
                                      {"video_fps", 30},
                                      {"record_length", 5},
                                      {"audio_game", "default"},
                                      {"audio_input", "default"}})));

  std::array<Holdings, kRounds> rounds;
  for (int round = 0; round < kRounds; ++round) {
    const std::string id = std::to_string(round);
    run.Send(Restart());
    ASSERT_TRUE(run.Pipe().WaitFor(
        [&](const Texts& texts) {
          return std::count_if(texts.begin(), texts.end(), [](const std::string& text) {
                   return text.find("capture settings: ") != std::string::npos;
                 }) > round;
        },
        kLimit));
    window.Fill(RGB(round * 2, 0, 255 - round * 2));
    run.Send(ChangeAudio());

    const std::filesystem::path file = run.Folder() / (id + ".mp4");
    const Json answer = SaveFirstClip(run, file, id);
    ASSERT_TRUE(answer["succeeded"].bool_value()) << answer.dump();
    EXPECT_GT(answer["duration"].int_value(), 0) << answer.dump();
    EXPECT_GT(std::filesystem::file_size(file), 0U);
    std::filesystem::remove(file);
    Holdings& holdings = rounds.at(static_cast<std::size_t>(round));
    holdings = HoldingsOf(run.Process());
    ASSERT_GT(holdings.handles, 0U);
    ASSERT_GT(holdings.registry_keys, 0U);
    ASSERT_GT(holdings.threads, 0U);
    ASSERT_GT(holdings.private_bytes, 0U);
  }

  const Holdings early = Largest(rounds.data() + kWarmUpRounds / 2, rounds.data() + kWarmUpRounds);
  const Holdings late =
      Largest(rounds.data() + kRounds - kWarmUpRounds / 2, rounds.data() + kRounds);
  std::cout << "After " << kWarmUpRounds << " sessions: " << early << "; after " << kRounds << ": "
            << late << "\n";
  std::cout << "Bytes after each tenth session:";
  for (int round = 9; round < kRounds; round += 10) {
    std::cout << " " << rounds.at(static_cast<std::size_t>(round)).private_bytes;
  }
  std::cout << std::endl;
  EXPECT_LE(late.handles, early.handles + kHandleTolerance);
  EXPECT_LE(late.registry_keys,
            early.registry_keys + kKeysForgottenInARound * kRounds + kHandleTolerance);
  EXPECT_LE(late.threads, early.threads + kThreadTolerance);
  EXPECT_LE(late.private_bytes, early.private_bytes + kByteTolerance);

  // The last session is still heard.
  platform::SleepUntil(std::chrono::steady_clock::now() + std::chrono::milliseconds(2 * kHeardMs));
  const std::filesystem::path file = run.Folder() / "heard.mp4";
  const Json answer = SaveFirstClip(run, file, "heard");
  ASSERT_TRUE(answer["succeeded"].bool_value()) << answer.dump();
  EXPECT_GE(answer["duration"].int_value(), kHeardMs);
  EXPECT_GE(std::filesystem::file_size(file), kHeardBytes);
  EXPECT_TRUE(tone.IsRunning());

  run.Send(Die(0));
  EXPECT_EQ(run.WaitForExit(), 0U);
  EXPECT_EQ(ReportMisuses(run), Texts{});
}

}  // namespace
}  // namespace e2e
