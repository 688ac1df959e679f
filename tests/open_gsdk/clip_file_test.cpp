// What becomes of a clip's file: names and folders of all kinds, and what stands in its way.
#include "open_gsdk/replay/clip_file.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "open_gsdk/replay/clip_cut.h"
#include "open_gsdk/replay/clip_path.h"
#include "open_gsdk/replay/packet_ring.h"
#include "open_gsdk/support/library_log.h"
#include "platform/owned_handle.h"
#include "platform/text_encoding.h"
#include "tests/open_gsdk/packets.h"

namespace open_gsdk {
namespace {

using Clock = std::chrono::steady_clock;

std::vector<std::string>& LogLines() {
  static std::vector<std::string> lines;
  return lines;
}

// Of files and folders, in the order of the alphabet.
std::vector<std::wstring> NamesIn(const std::wstring& folder) {
  std::vector<std::wstring> names;
  WIN32_FIND_DATAW found{};
  HANDLE const search = FindFirstFileW((folder + L"*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return names;
  do {
    const std::wstring name = found.cFileName;
    if (name != L"." && name != L"..") names.push_back(name);
  } while (FindNextFileW(search, &found) != FALSE);
  FindClose(search);
  std::sort(names.begin(), names.end());
  return names;
}

void RemoveFolder(const std::wstring& folder) {
  for (const std::wstring& name : NamesIn(folder)) {
    const std::wstring path = folder + name;
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      RemoveFolder(path + L"\\");
    } else {
      SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
      DeleteFileW(path.c_str());
    }
  }
  RemoveDirectoryW(folder.c_str());
}

platform::OwnedHandle Open(const std::wstring& path, DWORD access, DWORD sharing, DWORD how) {
  return platform::OwnFile(CreateFileW(path.c_str(), access, sharing, nullptr, how, 0, nullptr));
}

void WriteFileWith(const std::wstring& path, const std::string& content) {
  const platform::OwnedHandle file = Open(path, GENERIC_WRITE, 0, CREATE_NEW);
  DWORD written = 0;
  ASSERT_TRUE(file && WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()),
                                &written, nullptr));
}

// The first bytes; empty when there is no such file.
std::string BeginningOf(const std::wstring& path) {
  const platform::OwnedHandle file = Open(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  std::string content(8, '\0');
  DWORD read = 0;
  if (!file || !ReadFile(file.get(), content.data(), 8, &read, nullptr)) return {};
  content.resize(read);
  return content;
}

bool IsClip(const std::wstring& path) { return BeginningOf(path).substr(4) == "ftyp"; }

Clip SmallClip() {
  PacketRing ring;
  ring.SetDuration(1000 * kMs);
  const auto streams = DescribedStreams(64, 64, 10, 1);
  for (int picture = 0; picture < 10; ++picture) {
    ring.Push(TestPicture(streams, picture * 100, picture == 0, {0, 0, 0, 1, 0x65, 1, 2, 3}));
  }
  for (int number = 0; SoundNs(number) < 1000 * kMs; ++number) {
    ring.Push(TestSound(streams, 0, number));
  }
  return CutClip(ring.Content());
}

class ClipFile : public testing::Test {
 protected:
  ClipFile() {
    std::wstring temporary(MAX_PATH, L'\0');
    temporary.resize(GetTempPathW(MAX_PATH, temporary.data()));
    folder_ =
        L"\\\\?\\" + temporary + L"clip file " + std::to_wstring(GetCurrentProcessId()) + L"\\";
    RemoveFolder(folder_);
    CreateDirectoryW(folder_.c_str(), nullptr);
    LogLines().clear();
    SetLogCallback([](std::int32_t, const char* text) { LogLines().emplace_back(text); });
  }
  ~ClipFile() override {
    SetLogCallback(nullptr);
    RemoveFolder(folder_);
  }

  // As a host would give it.
  std::string Path(const std::wstring& name) const {
    return platform::Utf8FromWide(folder_.substr(4) + name);
  }
  std::int32_t Dump(const std::wstring& name) const {
    return static_cast<std::int32_t>(WriteClipFile(SmallClip(), Path(name)));
  }
  std::vector<std::wstring> Files() const { return NamesIn(folder_); }

  std::wstring folder_;  // with the prefix for long paths
};

using Names = std::vector<std::wstring>;

TEST_F(ClipFile, GetsItsNameAndLeavesNothingElse) {
  EXPECT_EQ(Dump(L"\u00e4\u4e2d\U0001F600 clip.mp4"), 0);
  EXPECT_EQ(Files(), Names{L"\u00e4\u4e2d\U0001F600 clip.mp4"});
  EXPECT_TRUE(IsClip(folder_ + Files()[0]));
  EXPECT_TRUE(LogLines().empty());
}

TEST_F(ClipFile, ReplacesTheFileThatWasThere) {
  WriteFileWith(folder_ + L"clip.mp4", "old");
  EXPECT_EQ(Dump(L"clip.mp4"), 0);
  EXPECT_EQ(Files(), Names{L"clip.mp4"});
  EXPECT_TRUE(IsClip(folder_ + L"clip.mp4"));
}

TEST_F(ClipFile, IsSavedBesideAFolderThatHasItsName) {
  CreateDirectoryW((folder_ + L"clip.mp4").c_str(), nullptr);
  const auto begin = Clock::now();
  EXPECT_EQ(Dump(L"clip.mp4"), 7);
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(2));
  EXPECT_EQ(Files(), (Names{L"clip (2).mp4", L"clip.mp4"}));
  EXPECT_TRUE(IsClip(folder_ + L"clip (2).mp4"));
}

TEST_F(ClipFile, IsSavedBesideAReadOnlyFileAndTakesTheNextFreeName) {
  WriteFileWith(folder_ + L"clip.mp4", "old");
  WriteFileWith(folder_ + L"clip (2).mp4", "other");
  SetFileAttributesW((folder_ + L"clip.mp4").c_str(), FILE_ATTRIBUTE_READONLY);
  const auto begin = Clock::now();
  EXPECT_EQ(Dump(L"clip.mp4"), 7);
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(2));
  EXPECT_EQ(Files(), (Names{L"clip (2).mp4", L"clip (3).mp4", L"clip.mp4"}));
  EXPECT_EQ(BeginningOf(folder_ + L"clip.mp4"), "old");
  EXPECT_EQ(BeginningOf(folder_ + L"clip (2).mp4"), "other");
  EXPECT_TRUE(IsClip(folder_ + L"clip (3).mp4"));
}

TEST_F(ClipFile, IsSavedBesideAFileThatStaysInUseAndSaysWhere) {
  WriteFileWith(folder_ + L"clip.mp4", "old");
  platform::OwnedHandle user =
      Open(folder_ + L"clip.mp4", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  const auto begin = Clock::now();
  EXPECT_EQ(Dump(L"clip.mp4"), 7);
  const auto took = Clock::now() - begin;
  EXPECT_GE(took, std::chrono::seconds(3));
  EXPECT_LT(took, std::chrono::seconds(10));
  EXPECT_EQ(Files(), (Names{L"clip (2).mp4", L"clip.mp4"}));
  EXPECT_EQ(BeginningOf(folder_ + L"clip.mp4"), "old");
  EXPECT_TRUE(IsClip(folder_ + L"clip (2).mp4"));
  ASSERT_EQ(LogLines().size(), 1u);
  std::string expected = "\"";
  expected.append(Path(L"clip.mp4"))
      .append("\" cannot be replaced (error 5); the clip was saved as \"")
      .append(Path(L"clip (2).mp4"))
      .append("\"");
  EXPECT_EQ(LogLines()[0], expected);
}

TEST_F(ClipFile, ReplacesAFileThatIsInUseForASecond) {
  WriteFileWith(folder_ + L"clip.mp4", "old");
  platform::OwnedHandle user = Open(folder_ + L"clip.mp4", GENERIC_READ, 0, OPEN_EXISTING);
  std::thread closer([&] {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    user.reset();
  });
  const auto begin = Clock::now();
  EXPECT_EQ(Dump(L"clip.mp4"), 0);
  EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(900));
  closer.join();
  EXPECT_EQ(Files(), Names{L"clip.mp4"});
  EXPECT_TRUE(IsClip(folder_ + L"clip.mp4"));
  EXPECT_TRUE(LogLines().empty());
}

TEST_F(ClipFile, HasANameOfUpTo255Characters) {
  const std::wstring longest = std::wstring(251, L'n') + L".mp4";
  EXPECT_EQ(Dump(longest), 0);
  EXPECT_EQ(Files(), Names{longest});
  EXPECT_EQ(Dump(L"n" + longest), 3);
  EXPECT_EQ(Files(), Names{longest});
  // Beside it there is room for a shorter one.
  SetFileAttributesW((folder_ + longest).c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(Dump(longest), 7);
  EXPECT_EQ(Files(), (Names{std::wstring(247, L'n') + L" (2).mp4", longest}));
}

TEST_F(ClipFile, IsWrittenToFoldersWithLongPaths) {
  const std::wstring deep = std::wstring(120, L'a') + L"\\" + std::wstring(120, L'b') + L"\\" +
                            std::wstring(120, L'c') + L"\\";
  CreateDirectoryW((folder_ + deep.substr(0, 121)).c_str(), nullptr);
  CreateDirectoryW((folder_ + deep.substr(0, 242)).c_str(), nullptr);
  CreateDirectoryW((folder_ + deep).c_str(), nullptr);
  ASSERT_GT(Path(deep + L"clip.mp4").size(), 360u);
  EXPECT_EQ(Dump(deep + L"clip.mp4"), 0);
  EXPECT_EQ(Dump(deep + L"clip.mp4"), 0);
  EXPECT_EQ(NamesIn(folder_ + deep), Names{L"clip.mp4"});
  // The clip's path is short enough to need no prefix, that of the temporary file is not.
  const std::wstring shallow = deep.substr(0, 121) + std::wstring(80, L'd') + L"\\";
  CreateDirectoryW((folder_ + shallow).c_str(), nullptr);
  EXPECT_EQ(Dump(shallow + L"c.mp4"), 0);
  EXPECT_EQ(NamesIn(folder_ + shallow), Names{L"c.mp4"});
}

TEST_F(ClipFile, TakesThePrefixForLongPathsAndForwardSlashes) {
  EXPECT_EQ(WriteClipFile(SmallClip(), platform::Utf8FromWide(folder_ + L"prefix.mp4")),
            DumpStatus::kSuccess);
  std::string slashes = Path(L"slashes.mp4");
  std::replace(slashes.begin(), slashes.end(), '\\', '/');
  EXPECT_EQ(WriteClipFile(SmallClip(), slashes), DumpStatus::kSuccess);
  EXPECT_EQ(Files(), (Names{L"prefix.mp4", L"slashes.mp4"}));
}

TEST_F(ClipFile, CannotBeOpenedWhereNoFileCanBe) {
  EXPECT_EQ(WriteClipFile(SmallClip(), ""), DumpStatus::kCannotOpen);
  for (const wchar_t* const name :
       {L"", L"missing\\clip.mp4", L"a?b.mp4", L"a*b.mp4", L"a:b.mp4", L"a|b.mp4", L"a\tb.mp4"}) {
    EXPECT_EQ(Dump(name), 3) << platform::Utf8FromWide(name);
  }
  EXPECT_TRUE(Files().empty());
}

TEST_F(ClipFile, LeavesNothingWhenItsStreamsCannotBeDescribed) {
  Clip clip = SmallClip();
  auto streams = std::make_shared<StreamSet>(*clip.streams);
  streams->audio[0].extradata.clear();
  clip.streams = streams;
  EXPECT_EQ(WriteClipFile(clip, Path(L"clip.mp4")), DumpStatus::kBadAudioStream);
  EXPECT_TRUE(Files().empty());
}

TEST_F(ClipFile, TemporaryFilesOfProcessesThatAreGoneAreRemovedAndNoOthers) {
  FILETIME created{};
  FILETIME ignored{};
  GetProcessTimes(GetCurrentProcess(), &created, &ignored, &ignored, &ignored);
  const std::uint64_t started = std::uint64_t{created.dwHighDateTime} << 32 | created.dwLowDateTime;
  const std::wstring self = std::to_wstring(GetCurrentProcessId());
  const std::wstring abandoned[] = {
      L"gsdk-clip-" + self + L"-" + std::to_wstring(started - 1) + L"-1.tmp",
      L"gsdk-clip-4294967288-" + std::to_wstring(started) + L"-1.tmp",
  };
  const Names others = {
      L"gsdk-clip-" + self + L"-" + std::to_wstring(started) + L"-x.tmp",
      L"gsdk-clip-4294967288.tmp",
      L"gsdk-clip-notes.tmp",
      L"my gsdk-clip-4294967288-1-1.tmp",
  };
  for (const std::wstring& name : abandoned) WriteFileWith(folder_ + name, "");
  for (const std::wstring& name : others) WriteFileWith(folder_ + name, "");
  EXPECT_EQ(Dump(L"a.mp4"), 0);
  Names expected = others;
  expected.emplace_back(L"a.mp4");
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(Files(), expected);
}

TEST(ClipPath, LongPathsGetThePrefixThatPeopleDoNotSee) {
  const std::wstring deep =
      L"C:\\" + std::wstring(120, L'a') + L"\\" + std::wstring(140, L'b') + L"\\";
  const auto whole = [](const std::wstring& path) {
    return ParseClipPath(platform::Utf8FromWide(path)).value_or(ClipPath{}).Whole();
  };
  EXPECT_EQ(whole(L"C:\\a\\clip.mp4"), L"C:\\a\\clip.mp4");
  EXPECT_EQ(whole(deep + L"clip.mp4"), L"\\\\?\\" + deep + L"clip.mp4");
  EXPECT_EQ(whole(L"\\\\server\\share" + deep.substr(2) + L"clip.mp4"),
            L"\\\\?\\UNC\\server\\share" + deep.substr(2) + L"clip.mp4");
  EXPECT_EQ(PathForPeople(L"\\\\?\\" + deep), deep);
  EXPECT_EQ(PathForPeople(L"\\\\?\\UNC\\server\\share\\a"), L"\\\\server\\share\\a");
  EXPECT_EQ(PathForPeople(L"C:\\a"), L"C:\\a");
}

TEST(ClipPath, NumberedNamesKeepTheExtensionAndTheLimit) {
  EXPECT_EQ(NumberedName(L"clip.mp4", 2), L"clip (2).mp4");
  EXPECT_EQ(NumberedName(L"a.b.mp4", 13), L"a.b (13).mp4");
  EXPECT_EQ(NumberedName(L"clip", 2), L"clip (2)");
  EXPECT_EQ(NumberedName(L".clip", 2), L".clip (2)");
  EXPECT_EQ(NumberedName(std::wstring(251, L'n') + L".mp4", 10),
            std::wstring(246, L'n') + L" (10).mp4");
  EXPECT_EQ(NumberedName(L"." + std::wstring(100, L'n'), 2),
            L"." + std::wstring(100, L'n') + L" (2)");
  // A character of two halves is not split.
  EXPECT_EQ(NumberedName(std::wstring(246, L'n') + L"\U0001F600nnn.mp4", 2),
            std::wstring(246, L'n') + L" (2).mp4");
}

}  // namespace
}  // namespace open_gsdk
