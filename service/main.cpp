// The service's entry point: CaptureService.exe PIPE [LIBRARY]
//
// PIPE is the full path of a named pipe that the host has created, LIBRARY a capture library to use
// instead of ./gsdk.dll. docs/protocol.md lists the exit codes.

#include <windows.h>

#include <shellapi.h>
#include <shlwapi.h>

#include <array>
#include <cctype>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "diagnostics/error_reporting.h"
#include "diagnostics/file_version.h"
#include "gsdk/capture_library.h"
#include "gsdk/capture_library_loader.h"
#include "platform/fail_fast.h"
#include "platform/message_boxes.h"
#include "platform/owned_handle.h"
#include "recording/clip_dump.h"
#include "service/command_worker.h"
#include "service/main_loop.h"
#include "service/pipe_channel.h"
#include "service/stop.h"
#include "service/stop_event.h"

namespace capture_service {
namespace {

constexpr std::wstring_view kPipePrefix = L"\\\\.\\pipe\\";
constexpr const wchar_t* kDefaultLibrary = L"./gsdk.dll";
constexpr DWORD kBadPipePath = 0xFFFFFFFF;

// The words of the command line; empty when it cannot be split.
class Arguments {
 public:
  explicit Arguments(const wchar_t* command_line)
      : words_(CommandLineToArgvW(command_line, &count_)) {}

  [[nodiscard]] int Count() const { return words_ ? count_ : 0; }
  const wchar_t* operator[](int index) const { return words_.get()[index]; }

 private:
  int count_ = 0;
  std::unique_ptr<wchar_t*, platform::LocalMemoryFreer> words_;
};

// Makes the executable's folder the working directory; on failure the reason is the last error.
bool EnterOwnFolder() {
  std::array<wchar_t, MAX_PATH> path{};
  if (GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())) == 0) return false;
  PathRemoveFileSpecW(path.data());
  return SetCurrentDirectoryW(path.data()) != FALSE;
}

wchar_t LowerAscii(wchar_t c) {
  constexpr wchar_t kLastAscii = 0x7F;
  return c <= kLastAscii ? static_cast<wchar_t>(std::tolower(static_cast<int>(c))) : c;
}

// Whether `path` is the pipe prefix, in any case, and a name without separators.
bool IsPipePath(std::wstring_view path) {
  if (path.size() <= kPipePrefix.size()) return false;
  for (std::size_t i = 0; i < kPipePrefix.size(); ++i) {
    if (LowerAscii(path[i]) != LowerAscii(kPipePrefix[i])) return false;
  }
  return path.find_first_of(L"/\\", kPipePrefix.size()) == std::wstring_view::npos;
}

// Opens the host's pipe; null with the reason as the last error.
platform::OwnedHandle OpenPipe(const wchar_t* path) {
  if (!IsPipePath(path)) {
    SetLastError(kBadPipePath);
    return nullptr;
  }
  platform::OwnedHandle pipe =
      platform::OwnFile(CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OVERLAPPED, nullptr));
  if (pipe) {
    // Of a message pipe every read takes one message, so that a host that sends a frame's prefix
    // and body as one is noticed. A byte pipe refuses the mode and stays as it is.
    DWORD mode = PIPE_READMODE_MESSAGE;
    SetNamedPipeHandleState(pipe.get(), &mode, nullptr, nullptr);
  }
  return pipe;
}

// Loads the library at `path`, or else the default one; `path` then names that. Null with the
// reason as the last error.
std::shared_ptr<void> LoadLibraryOrDefault(std::wstring& path) {
  if (std::shared_ptr<void> module = LoadCaptureLibraryModule(path)) return module;
  path = kDefaultLibrary;
  return LoadModulePlainly(path);
}

DWORD Run(const Arguments& arguments) {
  if (!EnterOwnFolder()) return GetLastError();
  const platform::OwnedHandle pipe = OpenPipe(arguments[0]);
  if (!pipe) return GetLastError();

  CreateStopEvent();
  StopFlag = false;
  std::wstring library_path = arguments.Count() >= 2 ? arguments[1] : kDefaultLibrary;
  std::shared_ptr<void> module = LoadLibraryOrDefault(library_path);
  if (!module) return GetLastError();
  InstallCaptureLibrary(BindCaptureLibrary(std::move(module)));

  std::thread(RunClipThread).detach();
  std::thread worker(CommandWorker, kRestartWait);
  std::thread reader(PipeReader, pipe.get());

  ServiceState state{.capture_library_version = GetFileVersionString(library_path)};
  RunMainLoop(pipe.get(), state);

  reader.join();
  worker.join();
  ShutdownErrorReporting();
  return state.exit_code;
}

}  // namespace
}  // namespace capture_service

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int WINAPI wWinMain(_In_ HINSTANCE /*instance*/, _In_opt_ HINSTANCE /*previous*/,
                    _In_ LPWSTR command_line, _In_ int /*show*/) {
  platform::FailFastOnUncaughtExceptions();
  platform::ShowNoMessageBoxes();

  const capture_service::Arguments arguments(command_line);
  if (arguments.Count() == 0) return 1;
  return static_cast<int>(capture_service::Run(arguments));
}
