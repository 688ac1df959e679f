#include "open_gsdk/replay/temporary_file.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string_view>
#include <vector>

namespace open_gsdk {
namespace {

constexpr std::wstring_view kPrefix = L"gsdk-clip-";
constexpr std::wstring_view kSuffix = L".tmp";

// A number says which process it is only together with the time at which it started, since Windows
// uses the numbers again.
struct Process {
  DWORD number = 0;
  std::uint64_t started = 0;  // in units of 100 ns

  bool operator==(const Process&) const = default;
};

std::uint64_t StartOf(HANDLE process) {
  FILETIME created{};
  FILETIME exited{};
  FILETIME kernel{};
  FILETIME user{};
  if (!GetProcessTimes(process, &created, &exited, &kernel, &user)) return 0;
  return std::uint64_t{created.dwHighDateTime} << 32 | created.dwLowDateTime;
}

std::wstring NameInFolder() {
  static std::atomic<unsigned> count{0};
  return std::wstring(kPrefix) + std::to_wstring(GetCurrentProcessId()) + L"-" +
         std::to_wstring(StartOf(GetCurrentProcess())) + L"-" + std::to_wstring(++count) +
         std::wstring(kSuffix);
}

// Whose temporary file has this name; a process with the number 0 when it is none.
Process OwnerOf(std::wstring_view name) {
  if (!name.starts_with(kPrefix) || !name.ends_with(kSuffix)) return {};
  const std::wstring numbers(name.substr(kPrefix.size()));
  wchar_t* end = nullptr;
  const DWORD number = std::wcstoul(numbers.c_str(), &end, 10);
  if (*end != L'-') return {};
  const std::uint64_t started = std::wcstoull(end + 1, &end, 10);
  return *end == L'-' ? Process{number, started} : Process{};
}

// In doubt it does.
bool Runs(const Process& process) {
  const platform::OwnedHandle opened(
      OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process.number));
  if (!opened) return GetLastError() != ERROR_INVALID_PARAMETER;
  DWORD exit_code = STILL_ACTIVE;
  if (GetExitCodeProcess(opened.get(), &exit_code) && exit_code != STILL_ACTIVE) return false;
  const std::uint64_t started = StartOf(opened.get());
  return started == 0 || started == process.started;
}

struct FindCloser {
  void operator()(HANDLE search) const noexcept { FindClose(search); }
};
using OwnedSearch = std::unique_ptr<void, FindCloser>;

}  // namespace

TemporaryFile::TemporaryFile(const std::wstring& folder)
    : path_(folder + NameInFolder()),
      file_(platform::OwnFile(CreateFileW(path_.c_str(), GENERIC_WRITE | DELETE, 0, nullptr,
                                          CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr))) {}

TemporaryFile::~TemporaryFile() {
  if (!file_ || !removed_at_end_) return;
  FILE_DISPOSITION_INFO disposition{};
  disposition.DeleteFile = TRUE;
  SetFileInformationByHandle(file_.get(), FileDispositionInfo, &disposition, sizeof disposition);
}

bool TemporaryFile::WriteAt(std::int64_t position, std::span<const std::uint8_t> bytes) {
  OVERLAPPED where{};
  where.Offset = static_cast<DWORD>(position & 0xFFFFFFFF);
  where.OffsetHigh = static_cast<DWORD>(position >> 32);
  DWORD written = 0;
  return WriteFile(file_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, &where) !=
             FALSE &&
         written == bytes.size();
}

DWORD TemporaryFile::RenameTo(const std::wstring& target, bool replace) {
  // Windows 10 1607 and later on its own file system, and not in all headers: a file is replaced
  // also while programs have it open that allow it to be deleted.
  constexpr auto kFileRenameInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
  constexpr DWORD kReplaceIfExists = 1;
  constexpr DWORD kPosixSemantics = 2;

  const std::size_t bytes = target.size() * sizeof(wchar_t);
  std::vector<std::uint64_t> storage((sizeof(FILE_RENAME_INFO) + bytes) / sizeof(std::uint64_t) +
                                     1);
  auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(storage.data());
  info->FileNameLength = static_cast<DWORD>(bytes);
  std::memcpy(info->FileName, target.data(), bytes);
  const auto size = static_cast<DWORD>(storage.size() * sizeof(std::uint64_t));

  // The flags begin where the older form has its one.
  const DWORD flags = replace ? kReplaceIfExists | kPosixSemantics : kPosixSemantics;
  std::memcpy(info, &flags, sizeof flags);
  if (!SetFileInformationByHandle(file_.get(), kFileRenameInfoEx, info, size)) {
    const DWORD older = replace ? TRUE : FALSE;
    std::memcpy(info, &older, sizeof older);
    if (!SetFileInformationByHandle(file_.get(), FileRenameInfo, info, size)) return GetLastError();
  }
  path_ = target;
  removed_at_end_ = false;
  return ERROR_SUCCESS;
}

void RemoveAbandonedFiles(const std::wstring& folder) {
  const std::wstring pattern = folder + std::wstring(kPrefix) + L"*" + std::wstring(kSuffix);
  WIN32_FIND_DATAW found{};
  HANDLE const search = FindFirstFileW(pattern.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return;
  const OwnedSearch owned(search);
  do {
    const Process owner = OwnerOf(found.cFileName);
    // What a process still writes could not be removed anyway: it has the file for itself.
    if (owner.number != 0 && !Runs(owner)) DeleteFileW((folder + found.cFileName).c_str());
  } while (FindNextFileW(search, &found) != FALSE);
}

}  // namespace open_gsdk
