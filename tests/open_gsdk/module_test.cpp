// The built gsdk.dll itself: what it exports, and that it can be used and let go of.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "tests/open_gsdk/window.h"

namespace open_gsdk {
namespace {

std::wstring BesideThisProgram(const wchar_t* name) {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
  return path.substr(0, path.find_last_of(L'\\') + 1) + name;
}

std::vector<std::string> ExportedNames(HMODULE module) {
  const auto* base = reinterpret_cast<const std::uint8_t*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& entry =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
  const auto* exports =
      reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + entry.VirtualAddress);
  const auto* names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
  std::vector<std::string> result;
  for (DWORD index = 0; index < exports->NumberOfNames; ++index) {
    result.emplace_back(reinterpret_cast<const char*>(base + names[index]));
  }
  return result;
}

TEST(Module, ExportsTheEntryPointsAndNothingElse) {
  const HMODULE module = LoadLibraryW(BesideThisProgram(L"gsdk.dll").c_str());
  ASSERT_NE(module, nullptr) << GetLastError();
  std::vector<std::string> expected = {
#define GSDK_NAME(name) #name,
      GSDK_ENTRY_POINTS(GSDK_NAME)
#undef GSDK_NAME
  };
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(expected.size(), 34u);
  std::vector<std::string> names = ExportedNames(module);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, expected);
  EXPECT_TRUE(FreeLibrary(module));
}

TEST(Module, StaysLoadedOnceASessionWasMade) {
  const std::wstring path = BesideThisProgram(L"gsdk.dll");
  const HMODULE module = LoadLibraryW(path.c_str());
  ASSERT_NE(module, nullptr) << GetLastError();
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(GetModuleHandleW(path.c_str()), nullptr);

  const HMODULE again = LoadLibraryW(path.c_str());
  ASSERT_NE(again, nullptr) << GetLastError();
  const auto create = reinterpret_cast<decltype(&gsdk_session_create)>(
      reinterpret_cast<void*>(GetProcAddress(again, "gsdk_session_create")));
  const auto destroy = reinterpret_cast<decltype(&gsdk_session_destroy)>(
      reinterpret_cast<void*>(GetProcAddress(again, "gsdk_session_destroy")));
  gsdk_session* session = nullptr;
  ASSERT_TRUE(create(&session, nullptr, nullptr));
  destroy(session);
  EXPECT_TRUE(FreeLibrary(again));
  EXPECT_EQ(GetModuleHandleW(path.c_str()), again);
}

template <typename Function>
Function* EntryPoint(HMODULE module, const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

std::atomic<int> exit_test_packets{0};

// Ends the process in the middle of a recording, as a host does that has no time.
[[noreturn]] void ExitWhileRecording(int status) {
  const HMODULE module = LoadLibraryW(BesideThisProgram(L"gsdk.dll").c_str());
#define GSDK_BIND(name) const auto name = EntryPoint<decltype(::name)>(module, #name);
  GSDK_BIND(gsdk_session_create)
  GSDK_BIND(gsdk_session_set_video_input)
  GSDK_BIND(gsdk_session_update_video_input)
  GSDK_BIND(gsdk_session_properties_create)
  GSDK_BIND(gsdk_session_properties_connection_callback_set_callback)
  GSDK_BIND(gsdk_session_start)
#undef GSDK_BIND
  const TestWindow window(L"exit", 64, 64, 0);
  const std::string settings = "{\"window\": {\"hwnd\": " + std::to_string(window.number()) + "}}";
  gsdk_session* session = nullptr;
  gsdk_session_create(&session, nullptr, nullptr);
  gsdk_session_set_video_input(session, "window", nullptr);
  gsdk_session_update_video_input(session, settings.c_str(), nullptr);
  gsdk_properties* properties = gsdk_session_properties_create();
  gsdk_session_properties_connection_callback_set_callback(
      properties, nullptr, [](void*, gsdk_encoded_packet*) { ++exit_test_packets; });
  gsdk_session_start(session, properties, nullptr);
  while (exit_test_packets < 3) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  FreeLibrary(module);
  std::exit(status);
}

TEST(ModuleDeathTest, LetsTheProcessExitWhileItRecords) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(ExitWhileRecording(7), testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace open_gsdk
