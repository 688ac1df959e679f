#include "open_gsdk/replay/clip_file.h"

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <optional>
#include <span>

#include "open_gsdk/replay/clip_muxer.h"
#include "open_gsdk/replay/clip_path.h"
#include "open_gsdk/replay/temporary_file.h"
#include "open_gsdk/support/library_log.h"
#include "platform/deadline.h"
#include "platform/text_encoding.h"

namespace open_gsdk {
namespace {

// Scanners and players that look at a new file are done by then.
constexpr std::chrono::seconds kPatience{3};
constexpr std::chrono::milliseconds kBetweenAttempts{50};

std::string Quoted(const std::wstring& path) {
  return std::string("\"").append(platform::Utf8FromWide(PathForPeople(path))).append("\"");
}

// Whether the file at `path` can never be replaced, however long one waits.
bool IsFolderOrReadOnly(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES &&
         (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0;
}

bool IsInUse(DWORD error) {
  return error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION ||
         error == ERROR_LOCK_VIOLATION || error == ERROR_USER_MAPPED_FILE;
}

// Returns 0 or the error of the last attempt.
DWORD RenameOnceItIsFree(TemporaryFile& file, const std::wstring& target) {
  if (IsFolderOrReadOnly(target)) return ERROR_ACCESS_DENIED;
  const platform::SteadyTime last =
      platform::DeadlineAfter(std::chrono::steady_clock::now(), kPatience);
  for (;;) {
    const DWORD error = file.RenameTo(target, true);
    const platform::SteadyTime now = std::chrono::steady_clock::now();
    if (!IsInUse(error) || now >= last) return error;
    platform::SleepUntil(platform::DeadlineAfter(now, kBetweenAttempts));
  }
}

// Keeps the clip beside the place that it cannot have: under a free name, or else under its
// temporary one.
void SaveBeside(TemporaryFile& file, const ClipPath& target, DWORD error) {
  constexpr int kLastNumber = 9999;
  file.Keep();
  for (int number = 2; number <= kLastNumber; ++number) {
    if (file.RenameTo(target.folder + NumberedName(target.name, number), false) !=
        ERROR_ALREADY_EXISTS) {
      break;
    }
  }
  Log(LogLevel::kWarning, Quoted(target.Whole()) + " cannot be replaced (error " +
                              std::to_string(error) + "); the clip was saved as " +
                              Quoted(file.path()));
}

DumpStatus Write(const Clip& clip, const std::string& path) {
  const std::optional<ClipPath> target = ParseClipPath(path);
  if (!target) return DumpStatus::kCannotOpen;
  RemoveAbandonedFiles(target->folder);
  TemporaryFile file(target->folder);
  if (!file.exists()) return DumpStatus::kCannotOpen;
  const DumpStatus status =
      WriteMp4(clip, [&](std::int64_t position, std::span<const std::uint8_t> bytes) {
        return file.WriteAt(position, bytes);
      });
  if (status != DumpStatus::kSuccess) return status;
  if (!file.Flush()) return DumpStatus::kCannotWrite;
  const DWORD error = RenameOnceItIsFree(file, target->Whole());
  if (error == ERROR_SUCCESS) return DumpStatus::kSuccess;
  SaveBeside(file, *target, error);
  return DumpStatus::kCannotRename;
}

}  // namespace

DumpStatus WriteClipFile(const Clip& clip, const std::string& path) noexcept {
  try {
    if (clip.memory_limited) {
      Log(LogLevel::kWarning,
          "the clip is shorter than wanted, since the buffer has reached its limit in bytes");
    }
    return Write(clip, path);
  } catch (const std::exception& error) {
    Log(LogLevel::kError, std::string("writing a clip failed: ") + error.what());
    return DumpStatus::kUnexpected;
  }
}

}  // namespace open_gsdk
