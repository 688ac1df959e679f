// Records a window and real sound through the service and the open library for minutes, with
// restarts, clips and device changes all the time, and looks at what the service's process holds
// meanwhile. Needs a sound server (scripts/with_sound).
#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <ostream>
#include <vector>

#include "platform/deadline.h"
#include "platform/owned_handle.h"
#include "tests/e2e/reports.h"
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

// NtQuerySystemInformation's answer about all handles of the machine. GetProcessHandleCount would
// be simpler, but Wine's always says 0.
constexpr int kExtendedHandleInformation = 64;
constexpr auto kLengthMismatch = static_cast<LONG>(0xC0000004);  // STATUS_INFO_LENGTH_MISMATCH
using QuerySystemInformation = LONG(WINAPI*)(int kind, void* answer, ULONG size, ULONG* needed);
struct HandleEntry {
  void* object;
  ULONG_PTR process;
  ULONG_PTR handle;
  ULONG access;
  USHORT creator_back_trace;
  USHORT type;
  ULONG attributes;
  ULONG reserved;
};
struct HandleInformation {
  ULONG_PTR count;
  ULONG_PTR reserved;
};

// What a process holds.
struct Holdings {
  std::size_t handles = 0;  // but for registry keys
  std::size_t registry_keys = 0;
  std::size_t threads = 0;
  std::size_t private_bytes = 0;
};

// The handles of all processes; none when Windows does not tell.
std::vector<HandleEntry> ListHandles() {
  const FARPROC address =
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation");
  QuerySystemInformation query = nullptr;
  std::memcpy(&query, &address, sizeof(query));
  std::vector<std::byte> answer(1U << 16U);
  LONG status = kLengthMismatch;
  while (status == kLengthMismatch) {
    answer.resize(answer.size() * 2);
    status = query(kExtendedHandleInformation, answer.data(), static_cast<ULONG>(answer.size()),
                   nullptr);
  }
  if (status != 0) return {};

  HandleInformation information = {};
  std::memcpy(&information, answer.data(), sizeof(information));
  std::vector<HandleEntry> entries(information.count);
  std::memcpy(entries.data(), answer.data() + sizeof(information),
              entries.size() * sizeof(HandleEntry));
  return entries;
}

// The number by which the system knows registry keys among its handles; 0 when it does not tell.
USHORT RegistryKeyType() {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, &key) != ERROR_SUCCESS) return 0;
  const std::vector<HandleEntry> entries = ListHandles();
  const auto own = std::find_if(entries.begin(), entries.end(), [&](const HandleEntry& entry) {
    return entry.process == GetCurrentProcessId() &&
           entry.handle == reinterpret_cast<ULONG_PTR>(key);
  });
  RegCloseKey(key);
  return own == entries.end() ? USHORT{0} : own->type;
}

std::size_t CountThreads(DWORD process) {
  const platform::OwnedHandle snapshot =
      platform::OwnFile(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 thread = {};
  thread.dwSize = sizeof(thread);
  std::size_t count = 0;
  for (BOOL more = Thread32First(snapshot.get(), &thread); more;
       more = Thread32Next(snapshot.get(), &thread)) {
    if (thread.th32OwnerProcessID == process) ++count;
  }
  return count;
}

Holdings HoldingsOf(const ChildProcess& process) {
  static const USHORT registry_key = RegistryKeyType();
  PROCESS_MEMORY_COUNTERS memory = {};
  EXPECT_TRUE(GetProcessMemoryInfo(process.Handle(), &memory, sizeof(memory)));
  Holdings holdings = {.threads = CountThreads(process.Id()),
                       .private_bytes = memory.PagefileUsage};
  for (const HandleEntry& entry : ListHandles()) {
    if (entry.process != process.Id()) continue;
    ++(entry.type == registry_key ? holdings.registry_keys : holdings.handles);
  }
  return holdings;
}

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

class Soak : public ServiceTest {
 protected:
  // Asks for a clip; returns the service's answer.
  static Json SaveClip(ServiceRun& run, const std::filesystem::path& file, const std::string& id) {
    run.Send(Clip(Utf8FromPath(file), id));
    Json answer;
    EXPECT_TRUE(run.Pipe().WaitFor(
        [&](const Texts& texts) {
          return std::any_of(texts.rbegin(), texts.rend(), [&](const std::string& text) {
            std::string error;
            answer = Json::parse(text, error)["clip"];
            return answer["id"] == id;
          });
        },
        kLimit));
    return answer;
  }

  // Asks until there is something to save: a session that has just begun may have no packet yet.
  static Json SaveFirstClip(ServiceRun& run, const std::filesystem::path& file,
                            const std::string& id) {
    const auto deadline = std::chrono::steady_clock::now() + kLimit;
    Json answer;
    for (int attempt = 1; std::chrono::steady_clock::now() < deadline; ++attempt) {
      answer = SaveClip(run, file, id + "." + std::to_string(attempt));
      const std::string error = answer["error"].string_value();
      if (error != "clip was empty" && error != "recorder not initialized") break;
    }
    return answer;
  }
};

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
