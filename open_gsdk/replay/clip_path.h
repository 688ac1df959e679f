// Where a clip goes, as Windows takes it.
#pragma once

#include <optional>
#include <string>

namespace open_gsdk {

struct ClipPath {
  std::wstring folder;  // whole, with the separator at its end
  std::wstring name;    // of the file in it

  [[nodiscard]] std::wstring Whole() const { return folder + name; }
};

// `path` is UTF-8, as the host gave it: relative or not, with either separator, also with the
// prefix \\?\. A folder that is so long that a file in it may need that prefix gets it. None for a
// path without a file name, and for a name that no file can have: over 255 characters, or one of
// < > : " | ? * in it.
std::optional<ClipPath> ParseClipPath(const std::string& path);

// The name with a number before the extension, "clip (2).mp4"; shortened before the number where it
// would have over 255 characters.
std::wstring NumberedName(const std::wstring& name, int number);

// The path without the prefix, as people know it.
std::wstring PathForPeople(const std::wstring& path);

}  // namespace open_gsdk
