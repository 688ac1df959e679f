#include "tests/doubles/gsdk_double_log.h"

#include <windows.h>

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace gsdk_double {
namespace {

struct Log {
  HANDLE file = INVALID_HANDLE_VALUE;

  std::mutex mutex;  // guards all below and keeps lines whole
  std::map<DWORD, std::string> thread_names;
  int callers = 0;
};

// Never destroyed: the last line is written while the library is unloaded.
Log& TheLog() {
  static Log& log = *new Log;
  return log;
}

const std::string& ThreadName(Log& log) {
  std::string& name = log.thread_names[GetCurrentThreadId()];
  if (name.empty()) name = "caller" + std::to_string(++log.callers);
  return name;
}

double MonotonicMicroseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<double>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

}  // namespace

std::filesystem::path EnvironmentPath(const wchar_t* name) {
  std::wstring value(32768, L'\0');
  const DWORD length =
      GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
  value.resize(length < value.size() ? length : 0);
  return value;
}

void OpenLog() {
  Log& log = TheLog();
  log.thread_names[GetCurrentThreadId()] = "loader";
  const std::filesystem::path path = EnvironmentPath(L"GSDK_DOUBLE_LOG");
  if (path.empty()) return;
  log.file = CreateFileW(path.c_str(), FILE_APPEND_DATA,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void CloseLog() {
  const HANDLE file = std::exchange(TheLog().file, INVALID_HANDLE_VALUE);
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
}

void WriteLine(json11::Json::object members) {
  Log& log = TheLog();
  const std::lock_guard lock(log.mutex);
  members["us"] = MonotonicMicroseconds();
  members["thread"] = ThreadName(log);
  WriteRawLine(json11::Json(std::move(members)).dump() + "\n");
}

void WriteRawLine(std::string_view line) {
  const Log& log = TheLog();
  if (log.file == INVALID_HANDLE_VALUE) return;
  DWORD written = 0;
  WriteFile(log.file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

LibraryThreadName::LibraryThreadName() {
  Log& log = TheLog();
  const std::lock_guard lock(log.mutex);
  log.thread_names[GetCurrentThreadId()] = "library";
}

LibraryThreadName::~LibraryThreadName() {
  Log& log = TheLog();
  const std::lock_guard lock(log.mutex);
  log.thread_names.erase(GetCurrentThreadId());
}

}  // namespace gsdk_double
