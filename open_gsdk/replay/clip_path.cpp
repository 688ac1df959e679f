#include "open_gsdk/replay/clip_path.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "platform/text_encoding.h"

namespace open_gsdk {
namespace {

constexpr std::size_t kLongestName = 255;
constexpr std::wstring_view kPrefix = LR"(\\?\)";
constexpr std::wstring_view kNetworkPrefix = LR"(\\?\UNC\)";

// The path from the root on, without "." and "..", and with backslashes.
std::wstring FullPath(const std::wstring& path) {
  std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  full.resize(
      GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full;
}

// Windows takes MAX_PATH characters, the final zero included, where there is no prefix. Besides the
// clip itself there are its temporary name and one with a number in the folder.
std::wstring WithPrefixWhereLong(const std::wstring& folder, std::size_t name_size) {
  constexpr std::size_t kTemporaryName = 64;
  constexpr std::size_t kNumber = 7;
  const std::size_t longest = std::max(name_size + kNumber, kTemporaryName);
  if (folder.size() + longest < MAX_PATH || folder.starts_with(kPrefix) ||
      folder.starts_with(LR"(\\.\)")) {
    return folder;
  }
  if (folder.starts_with(LR"(\\)")) return std::wstring(kNetworkPrefix).append(folder, 2);
  return std::wstring(kPrefix).append(folder);
}

bool CanBeAName(const std::wstring& name) {
  return !name.empty() && name.size() <= kLongestName &&
         name.find_first_of(L"<>:\"|?*") == std::wstring::npos &&
         std::all_of(name.begin(), name.end(), [](wchar_t letter) { return letter >= L' '; });
}

}  // namespace

std::optional<ClipPath> ParseClipPath(const std::string& path) {
  const std::wstring full = FullPath(platform::WideFromUtf8(path));
  const std::size_t separator = full.find_last_of(L'\\');
  if (separator == std::wstring::npos) return std::nullopt;
  const std::wstring name = full.substr(separator + 1);
  ClipPath parsed{WithPrefixWhereLong(full.substr(0, separator + 1), name.size()), name};
  if (!CanBeAName(parsed.name)) return std::nullopt;
  return parsed;
}

std::wstring NumberedName(const std::wstring& name, int number) {
  // A dot at the beginning is part of the name, and what is too long is no extension.
  std::size_t dot = name.find_last_of(L'.');
  if (dot == std::wstring::npos || dot == 0 || name.size() - dot > 32) dot = name.size();
  const std::wstring end = L" (" + std::to_wstring(number) + L")" + name.substr(dot);
  std::size_t stem = std::min(dot, kLongestName - end.size());
  // Both halves of a character outside the basic plane, or none.
  if (stem > 0 && stem < dot && IS_HIGH_SURROGATE(name[stem - 1])) --stem;
  return name.substr(0, stem) + end;
}

std::wstring PathForPeople(const std::wstring& path) {
  if (path.starts_with(kNetworkPrefix)) return L"\\\\" + path.substr(kNetworkPrefix.size());
  if (path.starts_with(kPrefix)) return path.substr(kPrefix.size());
  return path;
}

}  // namespace open_gsdk
