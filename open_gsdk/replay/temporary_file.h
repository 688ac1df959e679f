// A file that is written under a name of its own and gets its real one when it is complete.
#pragma once

#include <windows.h>

#include <cstdint>
#include <span>
#include <string>

#include "platform/owned_handle.h"

namespace open_gsdk {

// No other program can open the file while this object has it. It is removed with this object,
// unless it was renamed or is to be kept. For one thread at a time.
class TemporaryFile {
 public:
  // Creates "gsdk-clip-PROCESS-STARTED-NUMBER.tmp" in `folder`, which ends with a separator.
  explicit TemporaryFile(const std::wstring& folder);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  // Whether it could be created; nothing else may be called when it could not.
  [[nodiscard]] bool exists() const { return file_ != nullptr; }
  [[nodiscard]] const std::wstring& path() const { return path_; }

  bool WriteAt(std::int64_t position, std::span<const std::uint8_t> bytes);

  // Returns once the content is on the disk.
  bool Flush() { return FlushFileBuffers(file_.get()) != FALSE; }

  // Renames the file, which stays open meanwhile, to another path on the same volume. With
  // `replace` over a file that has that name. Returns 0 or the number of Windows's error.
  DWORD RenameTo(const std::wstring& target, bool replace);

  // The file stays under the name that it has.
  void Keep() { removed_at_end_ = false; }

 private:
  std::wstring path_;
  platform::OwnedHandle file_;
  bool removed_at_end_ = true;
};

// Removes the temporary files in `folder` that processes left behind which run no more. Files that
// cannot be removed, and all others, stay.
void RemoveAbandonedFiles(const std::wstring& folder);

}  // namespace open_gsdk
