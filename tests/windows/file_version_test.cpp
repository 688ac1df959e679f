// Against files of the build: modules with different version resources in the folder "versions"
// beside this program.
#include "diagnostics/file_version.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <filesystem>
#include <fstream>

namespace capture_service {
namespace {

std::filesystem::path VersionedFile(const wchar_t* name) {
  std::array<wchar_t, MAX_PATH> path{};
  GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return std::filesystem::path(path.data()).parent_path() / L"versions" / name;
}

std::string VersionOf(const wchar_t* name) {
  const std::filesystem::path path = VersionedFile(name);
  EXPECT_TRUE(std::filesystem::exists(path)) << path;
  return GetFileVersionString(path.wstring());
}

TEST(GetFileVersionString, JoinsTheFourNumbers) {
  EXPECT_EQ(VersionOf(L"version_3_7_12_0.dll"), "3.7.12.0");
}

TEST(GetFileVersionString, WritesZerosOut) {
  EXPECT_EQ(VersionOf(L"version_1_0_0_0.dll"), "1.0.0.0");
}

TEST(GetFileVersionString, ReadsAllSixteenBitsOfEachNumber) {
  EXPECT_EQ(VersionOf(L"version_65535_32768_1_65534.dll"), "65535.32768.1.65534");
}

TEST(GetFileVersionString, IsEmptyWithoutAVersionResource) {
  EXPECT_EQ(VersionOf(L"version_none.dll"), "");
}

TEST(GetFileVersionString, IsEmptyForARecordOfAnotherLength) {
  const std::wstring path = VersionedFile(L"version_short_record.dll").wstring();
  // The file is a test of the length only if the calls before it succeed.
  std::array<std::byte, 4096> resource{};
  void* record = nullptr;
  UINT length = 0;
  ASSERT_TRUE(
      GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(resource.size()), resource.data()));
  ASSERT_TRUE(VerQueryValueW(resource.data(), L"\\", &record, &length));
  ASSERT_EQ(length, 48U);

  EXPECT_EQ(GetFileVersionString(path), "");
}

TEST(GetFileVersionString, IsEmptyForAFileThatIsNoProgram) {
  const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                     (std::to_wstring(GetCurrentProcessId()) + L".no_program.dll");
  std::ofstream(path) << "text";
  EXPECT_EQ(GetFileVersionString(path.wstring()), "");
  std::filesystem::remove(path);
}

TEST(GetFileVersionString, IsEmptyForAMissingFileAndAnEmptyPath) {
  EXPECT_EQ(GetFileVersionString(VersionedFile(L"missing.dll").wstring()), "");
  EXPECT_EQ(GetFileVersionString(L""), "");
}

}  // namespace
}  // namespace capture_service
