#include "tests/e2e/environment.h"

#include <windows.h>

#include <atomic>
#include <system_error>
#include <thread>

namespace e2e {

std::wstring EnvironmentVariable(const wchar_t* name) {
  std::wstring value(32768, L'\0');
  const DWORD length =
      GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
  value.resize(length < value.size() ? length : 0);
  return value;
}

std::filesystem::path ProgramFolder() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return std::filesystem::path(path).parent_path();
}

std::filesystem::path PathFromUtf8(std::string_view text) {
  return std::u8string(text.begin(), text.end());
}

std::string Utf8FromPath(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

TemporaryFolder::TemporaryFolder() {
  static std::atomic<int> counter = 0;
  // Process ids come again, and a run that was ended may have left its folder behind.
  do {
    path_ = std::filesystem::temp_directory_path() /
            (L"capture-service-e2e-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
             std::to_wstring(++counter));
  } while (!std::filesystem::create_directories(path_));
}

TemporaryFolder::~TemporaryFolder() {
  // A process lets its files and its working folder go a moment after it has ended. The folder goes
  // last and only once it is empty: Wine forgets the removal of a folder that still is in use and
  // has files in it.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  std::error_code error;
  while (!std::filesystem::is_empty(path_, error) && std::chrono::steady_clock::now() < deadline) {
    for (const auto& entry : std::filesystem::directory_iterator(path_, error)) {
      std::filesystem::remove_all(entry.path(), error);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  std::filesystem::remove(path_, error);
}

}  // namespace e2e
