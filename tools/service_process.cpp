#include "tools/service_process.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstring>
#include <system_error>

#include "platform/text_encoding.h"

namespace host_tools {
namespace {

using platform::OwnedHandle;
using platform::OwnFile;
using platform::Utf8FromWide;
using std::chrono::milliseconds;

// Far more than the service ever has under way, so that neither side waits for the other.
constexpr DWORD kPipeBufferBytes = 1 << 20;
// No message of the service is longer; a longer announcement means that the framing is lost.
constexpr std::uint32_t kLongestMessageBytes = 4096;
constexpr milliseconds kWriteLimit{5'000};
// The service joins two threads of at most 10 s each after a restart of about 3 s.
constexpr milliseconds kOrderlyEndLimit{25'000};

static_assert(std::endian::native == std::endian::little, "frames carry little-endian lengths");

std::string WindowsErrorText(DWORD error) {
  return std::system_category().message(static_cast<int>(error)) + " (Windows error " +
         std::to_string(error) + ")";
}

[[noreturn]] void FailWithLastError(const std::string& what) {
  throw ServiceStartError(what + ": " + WindowsErrorText(GetLastError()) + ".");
}

OwnedHandle MakeManualResetEvent() {
  OwnedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!event) FailWithLastError("Cannot create an event");
  return event;
}

DWORD WaitMilliseconds(milliseconds limit) { return static_cast<DWORD>(limit.count()); }

// Cancels an operation that is still pending and waits until it no longer touches its memory.
void Abandon(HANDLE pipe, OVERLAPPED& operation) {
  CancelIoEx(pipe, &operation);
  DWORD transferred = 0;
  GetOverlappedResult(pipe, &operation, &transferred, TRUE);
}

std::wstring Quoted(const std::wstring& argument) {
  if (argument.find(L'"') != std::wstring::npos) {
    throw ServiceStartError("The argument " + Utf8FromWide(argument) +
                            " contains a quotation mark, which no path may.");
  }
  return L"\"" + argument + L"\"";
}

std::wstring UniquePipePath() {
  static std::atomic<unsigned> serial{0};
  return L"\\\\.\\pipe\\capture-host-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
         std::to_wstring(GetTickCount64()) + L"-" + std::to_wstring(++serial);
}

}  // namespace

ServiceProcess::ServiceProcess(const ServiceLaunch& launch, MessageHandler on_message,
                               ClosedHandler on_closed)
    : pipe_path_(UniquePipePath()),
      stop_receiving_(MakeManualResetEvent()),
      on_message_(std::move(on_message)),
      on_closed_(std::move(on_closed)) {
  CreatePipe();
  StartProcess(launch);
  AwaitConnection(launch);
  receiver_ = std::thread(&ServiceProcess::Receive, this);
}

ServiceProcess::~ServiceProcess() {
  CloseConnection();
  if (!WaitForExit(kOrderlyEndLimit)) TerminateJobObject(job_.get(), 1);
}

void ServiceProcess::CreatePipe() {
  pipe_ = OwnFile(CreateNamedPipeW(
      pipe_path_.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
      PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1,
      kPipeBufferBytes, kPipeBufferBytes, 0, nullptr));
  if (!pipe_) FailWithLastError("Cannot create the pipe " + Utf8FromWide(pipe_path_));
}

void ServiceProcess::StartProcess(const ServiceLaunch& launch) {
  job_.reset(CreateJobObjectW(nullptr, nullptr));
  if (!job_) FailWithLastError("Cannot create a job object for the service");
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  if (!SetInformationJobObject(job_.get(), JobObjectExtendedLimitInformation, &limits,
                               sizeof(limits))) {
    FailWithLastError("Cannot tie the service to this process");
  }

  std::wstring command_line = Quoted(launch.program.wstring()) + L" " + Quoted(pipe_path_);
  for (const std::wstring& argument : launch.arguments) command_line += L" " + Quoted(argument);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  // Suspended, so that it cannot run outside the job even for a moment.
  if (!CreateProcessW(launch.program.c_str(), command_line.data(), nullptr, nullptr, FALSE,
                      CREATE_SUSPENDED, nullptr, nullptr, &startup, &started)) {
    FailWithLastError("Cannot start the service " + Utf8FromWide(launch.program.wstring()));
  }
  process_.reset(started.hProcess);
  process_id_ = started.dwProcessId;
  const OwnedHandle thread(started.hThread);
  if (!AssignProcessToJobObject(job_.get(), process_.get())) {
    const DWORD error = GetLastError();
    TerminateProcess(process_.get(), 1);
    SetLastError(error);
    FailWithLastError("Cannot tie the service to this process");
  }
  ResumeThread(thread.get());
}

void ServiceProcess::AwaitConnection(const ServiceLaunch& launch) {
  const OwnedHandle connected = MakeManualResetEvent();
  OVERLAPPED operation{};
  operation.hEvent = connected.get();
  if (ConnectNamedPipe(pipe_.get(), &operation)) return;
  const DWORD error = GetLastError();
  if (error == ERROR_PIPE_CONNECTED) return;
  if (error != ERROR_IO_PENDING) FailWithLastError("Cannot wait for the service");

  const std::array<HANDLE, 2> handles{connected.get(), process_.get()};
  const DWORD result = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(),
                                              FALSE, WaitMilliseconds(launch.connect_limit));
  if (result == WAIT_OBJECT_0) return;
  Abandon(pipe_.get(), operation);
  if (const auto status = WaitForExit(milliseconds{0})) {
    throw ServiceStartError(
        "The service " + Utf8FromWide(launch.program.wstring()) + " ended before it connected.",
        status);
  }
  throw ServiceStartError("The service " + Utf8FromWide(launch.program.wstring()) +
                          " did not connect within " +
                          std::to_string(launch.connect_limit.count() / 1000) + " s.");
}

bool ServiceProcess::ReadExactly(char* bytes, std::uint32_t count) {
  const OwnedHandle completed = MakeManualResetEvent();
  const std::array<HANDLE, 2> handles{completed.get(), stop_receiving_.get()};
  while (count > 0) {
    OVERLAPPED operation{};
    operation.hEvent = completed.get();
    if (!ReadFile(pipe_.get(), bytes, count, nullptr, &operation)) {
      if (GetLastError() != ERROR_IO_PENDING) return false;
      const DWORD result = WaitForMultipleObjects(static_cast<DWORD>(handles.size()),
                                                  handles.data(), FALSE, INFINITE);
      if (result != WAIT_OBJECT_0) {
        Abandon(pipe_.get(), operation);
        return false;
      }
    }
    DWORD transferred = 0;
    if (!GetOverlappedResult(pipe_.get(), &operation, &transferred, TRUE)) return false;
    bytes += transferred;
    count -= transferred;
  }
  return true;
}

void ServiceProcess::Receive() {
  while (true) {
    std::uint32_t length = 0;
    std::array<char, sizeof(length)> prefix{};
    if (!ReadExactly(prefix.data(), sizeof(length))) break;
    std::memcpy(&length, prefix.data(), sizeof(length));
    if (length > kLongestMessageBytes) break;
    std::string text(length, '\0');
    if (!ReadExactly(text.data(), length)) break;
    on_message_(text);
  }
  on_closed_();
}

bool ServiceProcess::Send(std::string_view text) {
  const auto length = static_cast<std::uint32_t>(text.size());
  std::array<char, sizeof(length)> prefix{};
  std::memcpy(prefix.data(), &length, sizeof(length));
  return SendBytes({prefix.data(), prefix.size()}) && (text.empty() || SendBytes(text));
}

bool ServiceProcess::SendBytes(std::string_view bytes) {
  if (!pipe_) return false;
  const OwnedHandle completed = MakeManualResetEvent();
  OVERLAPPED operation{};
  operation.hEvent = completed.get();
  if (!WriteFile(pipe_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr,
                 &operation)) {
    if (GetLastError() != ERROR_IO_PENDING) return false;
    if (WaitForSingleObject(completed.get(), WaitMilliseconds(kWriteLimit)) != WAIT_OBJECT_0) {
      Abandon(pipe_.get(), operation);
      return false;
    }
  }
  DWORD transferred = 0;
  return GetOverlappedResult(pipe_.get(), &operation, &transferred, TRUE) != FALSE &&
         transferred == bytes.size();
}

std::optional<std::uint32_t> ServiceProcess::WaitForExit(milliseconds limit) const {
  if (WaitForSingleObject(process_.get(), WaitMilliseconds(limit)) != WAIT_OBJECT_0) {
    return std::nullopt;
  }
  DWORD status = 0;
  GetExitCodeProcess(process_.get(), &status);
  return status;
}

void ServiceProcess::ReceiveRest() {
  if (receiver_.joinable()) receiver_.join();
}

void ServiceProcess::CloseConnection() {
  SetEvent(stop_receiving_.get());
  ReceiveRest();
  pipe_.reset();
}

}  // namespace host_tools
