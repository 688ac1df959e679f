#include "platform/files.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <shlobj.h>

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/owned_handle.h"
#include "platform/text_encoding.h"
#include "tests/windows/replaced_import.h"

REPLACEABLE_IMPORT(L"shell32.dll", SHGetFolderPathW)
REPLACEABLE_IMPORT(L"msvcrt.dll", _wstat64)

namespace capture_service {
namespace {

std::filesystem::path TestFile(const wchar_t* name) {
  return std::filesystem::temp_directory_path() /
         (std::to_wstring(GetCurrentProcessId()) + L"." + name);
}

TEST(RemoveFile, RemovesAFileWhosePathIsUtf8) {
  const std::filesystem::path path = TestFile(L"\u00e4\u4e2d\U0001f3ae.mp4");
  std::ofstream(path) << "partial clip";
  ASSERT_TRUE(std::filesystem::exists(path));

  platform::RemoveFile(platform::Utf8FromWide(path.native()));

  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(RemoveFile, ReadsThePathUpToItsFirstZeroByte) {
  const std::filesystem::path path = TestFile(L"cut.mp4");
  std::ofstream(path) << "partial clip";

  platform::RemoveFile(platform::Utf8FromWide(path.native()) + std::string("\0.other", 7));

  EXPECT_FALSE(std::filesystem::exists(path));
}

// std::filesystem of some toolchains can't handle paths that begin with \\?\.
bool Exists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void MakeEmptyFile(const std::wstring& path) {
  EXPECT_NE(platform::OwnFile(
                CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr)),
            nullptr)
      << GetLastError();
}

// The C runtime of Windows takes a question mark for a wildcard and finds nothing; Wine's doesn't.
int RefuseQuestionMarks(const wchar_t* path, struct _stat64* status) {
  static const auto system = windows_test::SystemFunction(&_wstat64, L"msvcrt.dll", "_wstat64");
  if (std::wstring_view(path).find(L'?') == std::wstring_view::npos) return system(path, status);
  errno = ENOENT;
  return -1;
}

TEST(RemoveFile, RemovesAFileByAPathThatGoesStraightToTheFileSystem) {
  const windows_test::ReplacedImport ask(__imp__wstat64, RefuseQuestionMarks);
  const std::wstring path = L"\\\\?\\" + TestFile(L"straight.mp4").wstring();
  MakeEmptyFile(path);

  platform::RemoveFile(platform::Utf8FromWide(path) + std::string("\0.other", 7));

  EXPECT_FALSE(Exists(path));
  DeleteFileW(path.c_str());
}

TEST(RemoveFile, RemovesAFileWhosePathIsLongerThanOtherPathsMayBe) {
  std::wstring path = L"\\\\?\\" + TestFile(L"folders").wstring();
  std::vector<std::wstring> folders;
  while (path.size() <= MAX_PATH) {
    folders.push_back(path);
    ASSERT_TRUE(CreateDirectoryW(path.c_str(), nullptr)) << GetLastError();
    path += L"\\" + std::wstring(100, L'n');
  }
  MakeEmptyFile(path);

  platform::RemoveFile(platform::Utf8FromWide(path));

  EXPECT_FALSE(Exists(path));
  DeleteFileW(path.c_str());
  for (; !folders.empty(); folders.pop_back()) RemoveDirectoryW(folders.back().c_str());
}

TEST(RemoveFile, LeavesAReadOnlyFileAlone) {
  const std::filesystem::path path = TestFile(L"protected.mp4");
  std::ofstream(path) << "an earlier clip";
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);

  platform::RemoveFile(platform::Utf8FromWide(path.native()));

  EXPECT_TRUE(std::filesystem::exists(path));
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  std::filesystem::remove(path);
}

TEST(RemoveFile, RemovesAnEmptyFolder) {
  const std::filesystem::path folder = TestFile(L"empty");
  std::filesystem::create_directory(folder);

  platform::RemoveFile(platform::Utf8FromWide(folder.native()));

  EXPECT_FALSE(std::filesystem::exists(folder));
  std::filesystem::remove(folder);
}

TEST(RemoveFile, LeavesAFolderWithFilesAlone) {
  const std::filesystem::path folder = TestFile(L"folder");
  std::filesystem::create_directory(folder);
  std::ofstream(folder / "kept.mp4") << "a clip";

  platform::RemoveFile(platform::Utf8FromWide(folder.native()));

  EXPECT_TRUE(std::filesystem::exists(folder / "kept.mp4"));
  std::filesystem::remove_all(folder);
}

TEST(RemoveFile, BearsPathsThatCannotBe) {
  platform::RemoveFile("");
  platform::RemoveFile("\xff\xfe?*");
  platform::RemoveFile(std::string(40000, 'x'));
}

TEST(CommonAppDataFolder, IsAnExistingFolderWithoutATrailingSeparator) {
  const std::optional<std::wstring> folder = platform::CommonAppDataFolder();

  ASSERT_TRUE(folder);
  EXPECT_TRUE(std::filesystem::is_directory(*folder));
  EXPECT_NE(folder->back(), L'\\');
}

TEST(CommonAppDataFolder, IsTheOneInUseNotTheDefaultOne) {
  static HWND asked_window;
  static int asked_folder;
  static HANDLE asked_token;
  static DWORD asked_type;
  const windows_test::ReplacedImport get(
      __imp_SHGetFolderPathW,
      [](HWND window, int folder, HANDLE token, DWORD type, LPWSTR path) -> HRESULT {
        asked_window = window;
        asked_folder = folder;
        asked_token = token;
        asked_type = type;
        wcscpy(path, L"X:\\moved");
        return S_FALSE;
      });
  EXPECT_EQ(platform::CommonAppDataFolder(), L"X:\\moved");
  EXPECT_EQ(asked_window, nullptr);
  EXPECT_EQ(asked_folder, CSIDL_COMMON_APPDATA);
  EXPECT_EQ(asked_token, nullptr);
  EXPECT_EQ(asked_type, DWORD{SHGFP_TYPE_CURRENT});
}

TEST(CommonAppDataFolder, IsNoneWhenTheShellDoesNotKnowIt) {
  const windows_test::ReplacedImport get(__imp_SHGetFolderPathW,
                                         [](HWND, int, HANDLE, DWORD, LPWSTR path) -> HRESULT {
                                           wcscpy(path, L"X:\\left over");
                                           return E_FAIL;
                                         });
  EXPECT_EQ(platform::CommonAppDataFolder(), std::nullopt);
}

TEST(TextEncoding, ConvertsBothWays) {
  EXPECT_EQ(platform::Utf8FromWide(L"\u00e4\u4e2d\U0001f3ae"),
            "\xc3\xa4\xe4\xb8\xad\xf0\x9f\x8e\xae");
  EXPECT_EQ(platform::WideFromUtf8("\xc3\xa4\xe4\xb8\xad\xf0\x9f\x8e\xae"),
            L"\u00e4\u4e2d\U0001f3ae");
  EXPECT_EQ(platform::Utf8FromWide(L""), "");
  EXPECT_EQ(platform::WideFromUtf8(""), L"");
}

TEST(TextEncoding, ReplacesMalformedInput) {
  EXPECT_EQ(platform::WideFromUtf8("a\xff"), L"a\ufffd");
  EXPECT_EQ(platform::Utf8FromWide(std::wstring(1, wchar_t{0xd800})), "\xef\xbf\xbd");
}

}  // namespace
}  // namespace capture_service
