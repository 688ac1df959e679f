#include "platform/files.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/text_encoding.h"

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
