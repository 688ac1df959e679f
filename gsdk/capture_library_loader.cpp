#include "gsdk/capture_library_loader.h"

#include <windows.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace capture_service {
namespace {

std::shared_ptr<void> OwnModule(HMODULE module) {
  if (module == nullptr) return nullptr;
  return {module, [](HMODULE owned) { FreeLibrary(owned); }};
}

// The folder of the executable; empty when Windows does not tell.
std::filesystem::path ExecutableFolder() {
  std::array<wchar_t, MAX_PATH> executable{};
  if (GetModuleFileNameW(nullptr, executable.data(), static_cast<DWORD>(executable.size())) == 0) {
    return {};
  }
  return std::filesystem::path(executable.data()).parent_path();
}

// Whether the path has a drive and a root, or is a network or device path (two leading separators),
// which not every standard library takes for absolute.
bool IsAbsolute(const std::filesystem::path& path) {
  const auto is_separator = [](wchar_t c) { return c == L'\\' || c == L'/'; };
  const std::wstring& text = path.native();
  return path.is_absolute() || (text.size() >= 2 && is_separator(text[0]) && is_separator(text[1]));
}

// Null when the module has no such export.
template <typename Function>
Function FindEntryPoint(HMODULE module, const char* name) {
  const FARPROC address = GetProcAddress(module, name);
  Function function = nullptr;
  static_assert(sizeof(function) == sizeof(address));
  std::memcpy(&function, &address, sizeof(function));
  return function;
}

}  // namespace

std::shared_ptr<void> LoadCaptureLibraryModule(const std::wstring& path) {
  std::filesystem::path full = path;
  if (!IsAbsolute(full)) full = ExecutableFolder() / full;
  const DWORD flags = IsAbsolute(full) ? LOAD_WITH_ALTERED_SEARCH_PATH : 0;
  return OwnModule(LoadLibraryExW(full.c_str(), nullptr, flags));
}

std::shared_ptr<void> LoadModulePlainly(const std::wstring& path) {
  return OwnModule(LoadLibraryW(path.c_str()));
}

std::unique_ptr<CaptureLibrary> BindCaptureLibrary(std::shared_ptr<void> module) {
  auto library = std::make_unique<CaptureLibrary>();
  library->module = std::move(module);

  const auto bind = [&]<typename Function>(Function& pointer, const char* name) {
    pointer = FindEntryPoint<Function>(static_cast<HMODULE>(library->module.get()), name);
    if (pointer != nullptr) return;
    // Nothing catches the error, so nothing would unwind: unload before it is thrown.
    library.reset();
    throw std::runtime_error(std::string("Error getting function ptr for ") + name);
  };
#define GSDK_BIND(name) bind(library->name, #name);
  GSDK_ENTRY_POINTS(GSDK_BIND)
#undef GSDK_BIND
  return library;
}

}  // namespace capture_service
