// The loader against the scripted library and its variants, which the build puts into the folder
// "doubles" beside this program.
#include "gsdk/capture_library_loader.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "tests/windows/replaced_import.h"

REPLACEABLE_IMPORT(L"kernel32.dll", GetModuleFileNameW)
REPLACEABLE_IMPORT(L"kernel32.dll", LoadLibraryExW)

namespace capture_service {
namespace {

using windows_test::ReplacedImport;

std::filesystem::path OwnFolder() {
  std::array<wchar_t, MAX_PATH> path{};
  GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return std::filesystem::path(path.data()).parent_path();
}

bool IsLoaded(const std::filesystem::path& path) {
  return GetModuleHandleW(path.c_str()) != nullptr;
}

TEST(LoadCaptureLibraryModule, TakesARelativePathFromTheExecutablesFolder) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(std::filesystem::temp_directory_path());

  const std::shared_ptr<void> module = LoadCaptureLibraryModule(L"./doubles/gsdk.dll");

  std::filesystem::current_path(before);
  ASSERT_TRUE(module);
  EXPECT_TRUE(IsLoaded(OwnFolder() / L"doubles" / L"gsdk.dll"));
}

TEST(LoadCaptureLibraryModule, LoadsAnAbsolutePathAsItStands) {
  EXPECT_TRUE(LoadCaptureLibraryModule(OwnFolder() / L"doubles" / L"gsdk.dll"));
}

TEST(LoadCaptureLibraryModule, LoadsADevicePathAsItStands) {
  const std::wstring path = L"\\\\?\\" + (OwnFolder() / L"doubles" / L"gsdk.dll").native();
  EXPECT_TRUE(LoadCaptureLibraryModule(path)) << GetLastError();
}

TEST(LoadCaptureLibraryModule, FindsWhatTheLibraryNeedsBesideTheLibrary) {
  const std::shared_ptr<void> module =
      LoadCaptureLibraryModule(L"doubles/with_dependency/gsdk.dll");
  ASSERT_TRUE(module) << GetLastError();
  EXPECT_TRUE(IsLoaded(OwnFolder() / L"doubles" / L"with_dependency" / L"capture_dependency.dll"));
}

// What Windows was asked to load, as "flags path".
class LoadRequest : public testing::Test {
 protected:
  static std::wstring Asked(const std::wstring& path) {
    static std::wstring asked;
    asked.clear();
    const ReplacedImport load(__imp_LoadLibraryExW,
                              [](LPCWSTR name, HANDLE /*file*/, DWORD flags) -> HMODULE {
                                asked += std::to_wstring(flags) + L" " + name;
                                return nullptr;
                              });
    EXPECT_FALSE(LoadCaptureLibraryModule(path));
    return asked;
  }
};

TEST_F(LoadRequest, HasAnAbsolutePathAsItStands) {
  for (const std::wstring path :
       {L"C:\\a\\gsdk.dll", L"c:/a/gsdk.dll", L"\\\\server\\share\\gsdk.dll",
        L"//server/share/gsdk.dll", L"\\/server/share/gsdk.dll", L"\\\\?\\C:\\a\\gsdk.dll",
        L"\\\\.\\C:\\a\\gsdk.dll"}) {
    EXPECT_EQ(Asked(path), L"8 " + path);
  }
}

TEST_F(LoadRequest, HasAnyOtherPathBehindTheExecutablesFolder) {
  for (const std::wstring path : {L"gsdk.dll", L"./gsdk.dll", L"a\\gsdk.dll", L"..\\gsdk.dll"}) {
    EXPECT_EQ(Asked(path), L"8 " + (OwnFolder() / path).native());
  }
  EXPECT_EQ(Asked(L"\\a\\gsdk.dll"), L"8 " + OwnFolder().root_name().native() + L"\\a\\gsdk.dll");
}

TEST_F(LoadRequest, HasTheRelativePathWhenTheExecutableIsUnknown) {
  const ReplacedImport name(__imp_GetModuleFileNameW,
                            [](HMODULE, LPWSTR, DWORD) -> DWORD { return 0; });
  EXPECT_EQ(Asked(L"a\\gsdk.dll"), L"0 a\\gsdk.dll");
}

TEST(LoadCaptureLibraryModule, SaysWhyThereIsNoModule) {
  EXPECT_FALSE(LoadCaptureLibraryModule(L"./no such library.dll"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
}

TEST(LoadModulePlainly, SaysWhyThereIsNoModule) {
  EXPECT_FALSE(LoadModulePlainly(L"./no such library.dll"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
}

TEST(BindCaptureLibrary, BindsEveryEntryPoint) {
  const std::unique_ptr<CaptureLibrary> library =
      BindCaptureLibrary(LoadCaptureLibraryModule(L"doubles/gsdk.dll"));

  auto* const module = static_cast<HMODULE>(library->module.get());
#define EXPECT_BOUND(name)                          \
  EXPECT_EQ(reinterpret_cast<void*>(library->name), \
            reinterpret_cast<void*>(GetProcAddress(module, #name)));
  GSDK_ENTRY_POINTS(EXPECT_BOUND)
#undef EXPECT_BOUND
}

TEST(BindCaptureLibrary, UnloadsALibraryThatLacksAnEntryPoint) {
  const std::filesystem::path path = OwnFolder() / L"doubles" / L"missing_export" / L"gsdk.dll";
  std::shared_ptr<void> module = LoadCaptureLibraryModule(path);
  ASSERT_TRUE(module);

  try {
    BindCaptureLibrary(std::move(module));
    FAIL() << "the library was bound";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "Error getting function ptr for gsdk_encoded_packet_release");
    EXPECT_FALSE(IsLoaded(path)) << "still loaded when the error is thrown";
  }
}

TEST(BindCaptureLibrary, UnloadsTheLibraryWithItsTable) {
  const std::filesystem::path path = OwnFolder() / L"doubles" / L"gsdk.dll";
  std::unique_ptr<CaptureLibrary> library = BindCaptureLibrary(LoadCaptureLibraryModule(path));
  ASSERT_TRUE(IsLoaded(path));
  library.reset();

  EXPECT_FALSE(IsLoaded(path));
}

TEST(InstallCaptureLibrary, UnloadsTheLibraryThatWasInstalledBefore) {
  const std::filesystem::path path = OwnFolder() / L"doubles" / L"gsdk.dll";
  InstallCaptureLibrary(BindCaptureLibrary(LoadCaptureLibraryModule(path)));
  ASSERT_TRUE(IsLoaded(path));
  InstallCaptureLibrary(std::make_unique<CaptureLibrary>());

  EXPECT_FALSE(IsLoaded(path));
}

TEST(KeepLibraryLoaded, HoldsTheModuleBeyondTheTable) {
  const std::filesystem::path path = OwnFolder() / L"doubles" / L"gsdk.dll";
  InstallCaptureLibrary(BindCaptureLibrary(LoadCaptureLibraryModule(path)));
  std::shared_ptr<void> hold = KeepLibraryLoaded();
  InstallCaptureLibrary(std::make_unique<CaptureLibrary>());
  EXPECT_TRUE(IsLoaded(path));
  hold.reset();

  EXPECT_FALSE(IsLoaded(path));
}

}  // namespace
}  // namespace capture_service
