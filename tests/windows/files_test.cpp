#include "platform/files.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <shlobj.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/text_encoding.h"
#include "tests/windows/replaced_import.h"

REPLACEABLE_IMPORT(L"shell32.dll", SHGetFolderPathW)

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
