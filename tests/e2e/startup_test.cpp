// How the service starts and what it ends with when it can't.
#include <windows.h>

#include <algorithm>
#include <filesystem>

#include "tests/e2e/service_test.h"

namespace e2e {
namespace {

constexpr std::uint32_t kBadPipePath = 0xFFFFFFFF;

struct BadStart {
  const char* name;
  std::vector<std::wstring> arguments;
  std::uint32_t exit_code;
};

void PrintTo(const BadStart& value, std::ostream* out) { *out << value.name; }

class StartupExitCode : public ServiceTest, public ::testing::WithParamInterface<BadStart> {};

TEST_P(StartupExitCode, IsThatOfTheFailure) {
  ServiceRun& run = Start({.arguments = GetParam().arguments});
  EXPECT_EQ(run.WaitForExit(), GetParam().exit_code);
  EXPECT_EQ(run.Calls().Text(), "") << "the library was loaded before the pipe was open";
}

INSTANTIATE_TEST_SUITE_P(
    Table, StartupExitCode,
    ::testing::Values(
        BadStart{"NoArgument", {}, kBadPipePath}, BadStart{"EmptyArgument", {L""}, kBadPipePath},
        BadStart{"NotAPipe", {L"C:\\somewhere\\else"}, kBadPipePath},
        BadStart{"BarePrefix", {L"\\\\.\\pipe\\"}, kBadPipePath},
        BadStart{"OtherPrefix", {L"\\\\?\\pipe\\name"}, kBadPipePath},
        BadStart{"OtherMachine", {L"\\\\host\\pipe\\name"}, kBadPipePath},
        BadStart{"ForwardPrefix", {L"//./pipe/name"}, kBadPipePath},
        BadStart{"BackslashInName", {L"\\\\.\\pipe\\a\\b"}, kBadPipePath},
        BadStart{"SlashInName", {L"\\\\.\\pipe\\a/b"}, kBadPipePath},
        BadStart{
            "AbsentPipe", {L"\\\\.\\pipe\\capture-service-no-such-pipe"}, ERROR_FILE_NOT_FOUND},
        BadStart{"AbsentPipeInCapitals",
                 {L"\\\\.\\PIPE\\capture-service-no-such-pipe"},
                 ERROR_FILE_NOT_FOUND},
        BadStart{"AbsentPipeOfOneCharacter", {L"\\\\.\\pipe\\~"}, ERROR_FILE_NOT_FOUND}),
    [](const auto& test) { return test.param.name; });

class Startup : public ServiceTest {
 protected:
  // The path of a library in the folder `name` under the run's folder or elsewhere.
  static void CopyDouble(const std::filesystem::path& destination) {
    std::filesystem::create_directories(destination.parent_path());
    std::filesystem::copy_file(ProgramFolder() / "doubles" / "gsdk.dll", destination);
  }

  static std::size_t Attachments(const ServiceRun& run) {
    const CallLog log = run.Calls();
    return static_cast<std::size_t>(
        std::count_if(log.Lines().begin(), log.Lines().end(),
                      [](const Json& line) { return line["attach"].bool_value(); }));
  }
};

TEST_F(Startup, LoadsTheLibraryBesideTheProgram) {
  ServiceRun& run = Start();
  run.Send(Die(7));
  EXPECT_EQ(run.WaitForExit(), 7U);
  EXPECT_EQ(Attachments(run), 1U);
  EXPECT_EQ(run.Calls().Detach(), "free_library");
  EXPECT_EQ(run.Texts(), Texts{});
}

TEST_F(Startup, OpensAPipeWhosePrefixIsInCapitals) {
  HostPipe pipe(PipeMode::kByte);
  std::wstring path = pipe.Path();
  path.replace(0, 9, L"\\\\.\\PiPe\\");
  ServiceRun& run = Start({.arguments = std::vector<std::wstring>{path}});
  ASSERT_TRUE(pipe.WaitForConnection(kLimit));
  pipe.SendFrame(Die(3).dump());
  EXPECT_EQ(run.WaitForExit(), 3U);
}

TEST_F(Startup, ABusyPipeEndsIt) {
  ServiceRun& first = Start();
  ServiceRun& second = Start({.arguments = std::vector<std::wstring>{first.Pipe().Path()}});
  EXPECT_EQ(second.WaitForExit(), static_cast<std::uint32_t>(ERROR_PIPE_BUSY));
  ExpectCleanDie(first);
}

TEST_F(Startup, TakesARelativeLibraryPathFromTheProgramsFolder) {
  // Given a working folder that has a broken library of the same relative path
  const TemporaryFolder elsewhere;
  std::filesystem::create_directories(elsewhere.Path() / "sub");
  std::filesystem::copy_file(ProgramFolder() / "doubles" / "missing_export" / "gsdk.dll",
                             elsewhere.Path() / "sub" / "other.dll");
  ServiceRun& run = Start({.library = LibraryFile::kNotALibrary,
                           .other_library = L"sub\\other.dll",
                           .more_arguments = {L"sub\\other.dll"},
                           .working_folder = elsewhere.Path()});
  ExpectCleanDie(run, 4);
  EXPECT_EQ(Attachments(run), 1U);
}

TEST_F(Startup, LoadsAnAbsoluteLibraryPath) {
  const TemporaryFolder elsewhere;
  CopyDouble(elsewhere.Path() / "library.dll");
  // The one in the program's folder could not be loaded.
  ServiceRun& run = Start({.library = LibraryFile::kNotALibrary,
                           .more_arguments = {(elsewhere.Path() / "library.dll").wstring(), L"3"}});
  ExpectCleanDie(run, 5);
}

TEST_F(Startup, LoadsAForwardSlashedRelativeLibraryPath) {
  ServiceRun& run = Start({.more_arguments = {L"./gsdk.dll"}});
  ExpectCleanDie(run, 6);
}

TEST_F(Startup, FallsBackToItsOwnFolderFromALibraryThatCannotBeLoaded) {
  ServiceRun& run = Start({.more_arguments = {L"C:\\no\\such\\library.dll"}});
  ExpectCleanDie(run, 8);
  EXPECT_EQ(Attachments(run), 1U);
}

TEST_F(Startup, ALibraryThatIsNowhereEndsIt) {
  ServiceRun& run = Start({.library = LibraryFile::kNone});
  EXPECT_EQ(run.WaitForExit(), static_cast<std::uint32_t>(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(run.Texts(), Texts{});
}

TEST_F(Startup, TheFallbacksErrorCountsNotTheFirst) {
  ServiceRun& run = Start(
      {.library = LibraryFile::kNotALibrary, .more_arguments = {L"C:\\no\\such\\library.dll"}});
  EXPECT_EQ(run.WaitForExit(), static_cast<std::uint32_t>(ERROR_BAD_EXE_FORMAT));
}

TEST_F(Startup, AMissingEntryPointUnloadsTheLibraryAndEndsIt) {
  ServiceRun& run = Start({.library = LibraryFile::kMissingExport});
  EXPECT_EQ(run.WaitForExit(), 0xC0000409U);
  EXPECT_EQ(run.Calls().Detach(), "free_library");
  EXPECT_EQ(run.Calls().Calls(), Texts{});
  EXPECT_EQ(run.Texts(), Texts{});
}

TEST_F(Startup, MakesTheProgramsFolderTheWorkingFolder) {
  const TemporaryFolder elsewhere;
  // The library writes the clip's path as it is, relative to the working folder.
  ServiceRun& run = StartRecordingService(
      {.script = Json::object{{"dumps", Json::array{Json::object{{"write", "clip"}}}}},
       .working_folder = elsewhere.Path()},
      Settings());
  run.Send(Clip("relative.mp4", "1"));
  EXPECT_TRUE(run.WaitForTextCount(2));
  EXPECT_TRUE(std::filesystem::exists(run.Folder() / "relative.mp4"));
  ExpectCleanDie(run);
}

}  // namespace
}  // namespace e2e
