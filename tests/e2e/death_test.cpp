// Ends the service at random moments in every way that there is and looks at how it goes: with the
// exit status that the contract gives, in time, and with nothing left behind.
//
// Every run follows from a seed and its number, which are printed. The environment variables
// CAPTURE_SERVICE_SEED and CAPTURE_SERVICE_DEATH give them again: all runs of a seed, or one of
// them.
#include <windows.h>

#include <tlhelp32.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "platform/owned_handle.h"
#include "tests/e2e/death_plan.h"
#include "tests/e2e/reports.h"
#include "tests/e2e/service_test.h"
#include "tests/open_gsdk/window.h"

namespace e2e {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kDeaths = 300;
// Most of a run is waiting.
constexpr int kRunsAtOnce = 6;
constexpr const char* kGameArgument = "game";

int NumberFrom(const wchar_t* variable, int otherwise) {
  const std::wstring text = EnvironmentVariable(variable);
  return text.empty() ? otherwise : std::stoi(text);
}

// When a process was started; 0 when it cannot be told.
std::uint64_t StartOf(HANDLE process) {
  FILETIME started = {};
  FILETIME ignored = {};
  if (!GetProcessTimes(process, &started, &ignored, &ignored, &ignored)) return 0;
  return std::uint64_t{started.dwHighDateTime} << 32U | started.dwLowDateTime;
}

// The processes that `process` has started and that still run. Ids come again: one that is older
// than its parent has another parent.
std::size_t CountChildren(const ChildProcess& process) {
  const platform::OwnedHandle snapshot =
      platform::OwnFile(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof(entry);
  std::size_t count = 0;
  for (BOOL more = Process32FirstW(snapshot.get(), &entry); more;
       more = Process32NextW(snapshot.get(), &entry)) {
    if (entry.th32ParentProcessID != process.Id()) continue;
    const platform::OwnedHandle child(
        OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ProcessID));
    if (child && StartOf(child.get()) >= StartOf(process.Handle())) ++count;
  }
  return count;
}

std::set<std::string> FilesIn(const std::filesystem::path& folder) {
  std::set<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files.insert(Utf8FromPath(entry.path().filename()));
  }
  return files;
}

// One run: plays the plan, and collects what is wrong.
class Death {
 public:
  explicit Death(DeathPlan plan) : plan_(std::move(plan)) {}

  // The time from the host's act, or the first message, to the end.
  milliseconds Play() {
    StartGame();
    ServiceRun run({.script = plan_.script,
                    .library = plan_.library,
                    .variables = {{L"TEMP", temporary_.Path().wstring()},
                                  {L"TMP", temporary_.Path().wstring()}}});
    const std::set<std::string> files = FilesIn(run.Folder());
    if (plan_.reporting) run.Send(ReportingSettings());
    run.Send(RecorderSettings(GameSettings()));
    run.Send(Restart());
    steady_clock::time_point act = steady_clock::now();
    const bool hangs = plan_.cause == Cause::kHungSession || plan_.cause == Cause::kHungDump;
    SendMessages(run, act, hangs ? act + milliseconds(kForEver) : act + plan_.moment);
    if (hangs) {
      WaitUntilItHangs(run);
      std::this_thread::sleep_for(plan_.moment);
    }
    if (HostActs()) act = steady_clock::now();
    End(run);

    const auto status = run.Process().WaitForExit(kLimit);
    const auto taken = std::chrono::duration_cast<milliseconds>(steady_clock::now() - act);
    const bool pipe_closed = plan_.cause == Cause::kPipeClosed ||
                             (plan_.cause == Cause::kHungSession && !plan_.hung_end_is_restart &&
                              plan_.hung_end == Cause::kPipeClosed);
    if (!pipe_closed) run.Pipe().WaitForEnd(kLimit);
    Check(status == plan_.exit_status,
          "the exit status is " + (status ? std::to_string(*status) : std::string("none")) +
              ", not " + std::to_string(plan_.exit_status));
    Check(taken <= plan_.limit, "the end took " + std::to_string(taken.count()) +
                                    " ms, the limit is " + std::to_string(plan_.limit.count()));
    CheckNothingIsLeft(run, files);
    if (!problems_.empty()) problems_ += run.Report();
    return taken;
  }

  const std::string& Problems() const { return problems_; }

 private:
  static constexpr int kForEver = 1'000'000;

  void Check(bool holds, const std::string& problem) {
    if (!holds) problems_ += problem + "\n";
  }

  void StartGame() {
    if (plan_.library == LibraryFile::kOpen) {
      window_ = std::make_unique<open_gsdk::TestWindow>(L"Death", 320, 180, RGB(0, 0, 255));
      window_->Animate();
    } else if (plan_.cause == Cause::kGameGone && plan_.game_is_a_window) {
      message_window_ = std::make_unique<TestWindow>();
    } else if (plan_.cause == Cause::kGameGone) {
      std::wstring program(32'768, L'\0');
      program.resize(GetModuleFileNameW(nullptr, program.data(), 32'768));
      game_ =
          std::make_unique<ChildProcess>(ProcessStart{.program = program, .arguments = {L"game"}});
    }
  }

  Json GameSettings() const {
    if (window_) {
      return Settings({{"recording_mode", 3},
                       {"game_pid", nullptr},
                       {"game_hwnd", static_cast<int>(window_->number())},
                       {"video_fps", 30},
                       {"record_length", 5}});
    }
    if (message_window_) {
      return Settings({{"game_pid", nullptr}, {"game_hwnd", message_window_->Number()}});
    }
    if (game_) return Settings({{"game_pid", static_cast<int>(game_->Id())}});
    return Settings();
  }

  bool HostActs() const {
    return plan_.cause != Cause::kConnectionError && plan_.cause != Cause::kFailedStart;
  }

  void SendMessages(ServiceRun& run, steady_clock::time_point begin, steady_clock::time_point end) {
    for (const TimedMessage& timed : plan_.messages) {
      const auto time = begin + timed.after;
      if (time >= end) break;
      if (EndsBefore(run, time)) return;
      Json message = timed.message;
      if (message["clip"].is_object()) {
        const std::string id = message["clip"]["id"].string_value();
        const std::string file = message["clip"]["filepath"].string_value();
        clips_.push_back(id);
        clip_files_.insert(file);
        message = Clip(Utf8FromPath(run.Folder() / file), id);
      }
      run.Send(message);
    }
    if (HostActs() && end < begin + milliseconds(kForEver)) EndsBefore(run, end);
  }

  // Waits until `time`, or until the service has ended; whether it has.
  static bool EndsBefore(const ServiceRun& run, steady_clock::time_point time) {
    const auto left = std::chrono::ceil<milliseconds>(time - steady_clock::now());
    return run.Process().WaitForExit(std::max(left, milliseconds(0))).has_value();
  }

  void WaitUntilItHangs(ServiceRun& run) {
    const char* const call =
        plan_.cause == Cause::kHungDump ? "gsdk_recorder_dump" : "gsdk_session_properties_destroy";
    if (plan_.cause == Cause::kHungDump) {
      Check(run.WaitForCall("gsdk_session_properties_destroy"), "no session was started");
      run.Send(Clip(Utf8FromPath(run.Folder() / "hung.mp4"), "hung"));
      clips_.emplace_back("hung");
    }
    Check(run.WaitForCall(call), std::string(call) + " was not called");
  }

  void End(ServiceRun& run) {
    Cause end = plan_.cause;
    if (end == Cause::kHungSession) {
      if (plan_.hung_end_is_restart) return run.Send(Restart());
      end = plan_.hung_end;
    }
    switch (end) {
      case Cause::kPipeClosed:
        return run.Pipe().Close();
      case Cause::kDie:
      case Cause::kHungDump:
        return run.Send(Die(plan_.die_value));
      case Cause::kOversizedFrame: {
        const std::uint32_t length = plan_.frame_bytes;
        return run.Pipe().SendBytes({reinterpret_cast<const char*>(&length), sizeof(length)});
      }
      case Cause::kGameGone:
        if (message_window_) message_window_->Destroy();
        if (game_) {
          TerminateProcess(game_->Handle(), 0);
          game_->WaitForExit(kLimit);
        }
        return run.Send(Restart());
      default:
        return;
    }
  }

  void CheckNothingIsLeft(const ServiceRun& run, const std::set<std::string>& before) {
    Check(CountChildren(run.Process()) == 0, "a process that it started still runs");
    for (const std::string& file : FilesIn(temporary_.Path())) {
      Check(false, "the temporary folder still has " + file);
    }
    for (const std::string& file : FilesIn(run.Folder())) {
      const bool known = before.contains(file) || clip_files_.contains(file) ||
                         file == "calls.jsonl" || file == "reports.jsonl";
      Check(known, "it left " + file);
    }
    if (plan_.library == LibraryFile::kDouble && plan_.cause != Cause::kHungSession) {
      for (const std::string& line : run.Calls().Imbalances()) Check(false, line);
    }
    if (plan_.cause != Cause::kHungSession) {
      for (const std::string& line : ReportMisuses(run)) Check(false, line);
    }
    CheckAnswers(run);
  }

  // The answers that came are those to the first requests, in order and each once.
  void CheckAnswers(const ServiceRun& run) {
    std::size_t next = 0;
    for (const std::string& text : run.Texts()) {
      std::string error;
      const Json clip = Json::parse(text, error)["clip"];
      if (!clip.is_object()) continue;
      const bool expected = next < clips_.size() && clip["id"].string_value() == clips_[next];
      Check(expected, "an answer that is not next: " + text);
      ++next;
    }
  }

  const DeathPlan plan_;
  const TemporaryFolder temporary_;
  std::unique_ptr<open_gsdk::TestWindow> window_;
  std::unique_ptr<TestWindow> message_window_;
  std::unique_ptr<ChildProcess> game_;
  std::vector<std::string> clips_;
  std::set<std::string> clip_files_;
  std::string problems_;
};

struct Tally {
  std::mutex mutex;  // guards all below
  std::array<int, static_cast<std::size_t>(Cause::kCount)> deaths{};
  std::array<milliseconds, static_cast<std::size_t>(Cause::kCount)> slowest{};
  std::string problems;
};

void PlayOne(int seed, int number, Tally& tally) {
  const DeathPlan plan = PlanDeath(static_cast<std::uint64_t>(seed), number);
  std::string problems;
  milliseconds taken{};
  try {
    Death death(plan);
    taken = death.Play();
    problems = death.Problems();
  } catch (const std::exception& error) {
    problems = error.what();
  }
  const auto cause = static_cast<std::size_t>(plan.cause);
  const std::lock_guard lock(tally.mutex);
  ++tally.deaths.at(cause);
  tally.slowest.at(cause) = std::max(tally.slowest.at(cause), taken);
  if (problems.empty()) return;
  tally.problems += "CAPTURE_SERVICE_SEED=" + std::to_string(seed) +
                    " CAPTURE_SERVICE_DEATH=" + std::to_string(number) + " (" + NameOf(plan.cause) +
                    "):\n" + problems + "\n";
}

TEST(Deaths, EndAsTheContractSaysInTimeAndLeaveNothing) {
  const int seed =
      NumberFrom(L"CAPTURE_SERVICE_SEED", static_cast<int>(std::random_device()() % 1'000'000));
  const int only = NumberFrom(L"CAPTURE_SERVICE_DEATH", -1);
  std::cout << "CAPTURE_SERVICE_SEED=" << seed << " has these runs again.\n" << std::flush;
  // Wine's desktop is a child of the first process that asks for it, and must not be a service's.
  GetDesktopWindow();
  Tally tally;
  std::atomic<int> next = only < 0 ? 0 : only;
  const int end = only < 0 ? kDeaths : only + 1;
  std::vector<std::thread> players;
  for (int player = 0; player < kRunsAtOnce; ++player) {
    players.emplace_back([&] {
      for (int number = next++; number < end; number = next++) PlayOne(seed, number, tally);
    });
  }
  for (std::thread& player : players) player.join();

  EXPECT_EQ(tally.problems, "");
  std::cout << "hunt: " << end - (only < 0 ? 0 : only) << " ends at random moments, seed " << seed
            << ", slowest of each:";
  for (std::size_t cause = 0; cause < tally.deaths.size(); ++cause) {
    std::cout << (cause == 0 ? " " : ", ") << tally.deaths.at(cause) << " "
              << NameOf(static_cast<Cause>(cause)) << " " << tally.slowest.at(cause).count()
              << " ms";
  }
  std::cout << "\n";
}

}  // namespace
}  // namespace e2e

int main(int argc, char** argv) {
  // A game that is there until somebody ends it.
  if (argc > 1 && std::string(argv[1]) == e2e::kGameArgument) Sleep(INFINITE);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
