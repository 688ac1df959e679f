#include "open_gsdk/replay/clip_file.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <span>
#include <utility>

#include "open_gsdk/replay/clip_muxer.h"
#include "open_gsdk/support/library_log.h"
#include "platform/owned_handle.h"
#include "platform/text_encoding.h"

namespace open_gsdk {
namespace {

// Exists until it is renamed, or else until this object goes.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::wstring path)
      : path_(std::move(path)),
        file_(platform::OwnFile(CreateFileW(path_.c_str(), GENERIC_WRITE | DELETE, 0, nullptr,
                                            CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr))),
        exists_(file_ != nullptr) {}
  ~TemporaryFile() {
    file_.reset();
    if (exists_) DeleteFileW(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  [[nodiscard]] bool exists() const { return exists_; }

  bool WriteAt(std::int64_t position, std::span<const std::uint8_t> bytes) {
    OVERLAPPED where{};
    where.Offset = static_cast<DWORD>(position & 0xFFFFFFFF);
    where.OffsetHigh = static_cast<DWORD>(position >> 32);
    DWORD written = 0;
    return WriteFile(file_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                     &where) != FALSE &&
           written == bytes.size();
  }

  // Returns once the content is on the disk.
  bool Flush() { return FlushFileBuffers(file_.get()) != FALSE; }

  bool RenameTo(const std::wstring& target) {
    file_.reset();
    if (!MoveFileExW(path_.c_str(), target.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
      return false;
    }
    exists_ = false;
    return true;
  }

 private:
  std::wstring path_;
  platform::OwnedHandle file_;
  bool exists_;
};

std::wstring TemporaryName(const std::wstring& target) {
  static std::atomic<unsigned> count{0};
  return target + L"." + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++count) +
         L".tmp";
}

DumpStatus Write(const Clip& clip, const std::string& path) {
  const std::wstring target = platform::WideFromUtf8(path);
  if (target.empty()) return DumpStatus::kCannotOpen;
  TemporaryFile file(TemporaryName(target));
  if (!file.exists()) return DumpStatus::kCannotOpen;
  const DumpStatus status =
      WriteMp4(clip, [&](std::int64_t position, std::span<const std::uint8_t> bytes) {
        return file.WriteAt(position, bytes);
      });
  if (status != DumpStatus::kSuccess) return status;
  if (!file.Flush()) return DumpStatus::kCannotWrite;
  return file.RenameTo(target) ? DumpStatus::kSuccess : DumpStatus::kCannotRename;
}

}  // namespace

DumpStatus WriteClipFile(const Clip& clip, const std::string& path) noexcept {
  try {
    return Write(clip, path);
  } catch (const std::exception& error) {
    Log(LogLevel::kError, std::string("writing a clip failed: ") + error.what());
    return DumpStatus::kUnexpected;
  }
}

}  // namespace open_gsdk
