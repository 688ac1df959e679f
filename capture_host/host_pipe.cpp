#include "capture_host/host_pipe.h"

#include <bcrypt.h>

#include <array>
#include <utility>

#include "capture_host/frames.h"
#include "capture_host/user_only_access.h"
#include "capture_host/windows_error.h"
#include "platform/text_encoding.h"

namespace capture_host {
namespace {

using platform::OwnedHandle;
using std::chrono::milliseconds;

// Longer than any wait that Windows takes as a number of milliseconds.
constexpr milliseconds kForever = milliseconds::max();

DWORD WaitMilliseconds(milliseconds limit) {
  return limit.count() >= INFINITE ? INFINITE : static_cast<DWORD>(limit.count());
}

OwnedHandle MakeManualResetEvent() {
  return OwnedHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

// 128 random bits in the name: nobody can have a pipe of that name before it is created.
std::wstring RandomPath() {
  std::array<unsigned char, 16> bytes{};
  if (BCryptGenRandom(nullptr, bytes.data(), static_cast<ULONG>(bytes.size()),
                      BCRYPT_USE_SYSTEM_PREFERRED_RNG) != 0) {
    return {};
  }
  std::wstring path = L"\\\\.\\pipe\\capture-host-";
  for (const unsigned char byte : bytes) {
    path += L"0123456789abcdef"[byte >> 4U];
    path += L"0123456789abcdef"[byte & 0xFU];
  }
  return path;
}

}  // namespace

std::unique_ptr<HostPipe> HostPipe::Create(const PipeOptions& options, Error& error) {
  const char* const advice = "Close programs and try again; the machine is short of resources.";
  std::wstring path = RandomPath();
  if (path.empty()) {
    error = {.what = "Windows gave no random number for the pipe's name.",
             .where = "BCryptGenRandom",
             .advice = advice};
    return nullptr;
  }
  UserOnlyAccess access;
  if (access.attributes() == nullptr) {
    error = WindowsError(GetLastError(), "Windows does not say which user this is",
                         "GetTokenInformation", advice);
    return nullptr;
  }
  const DWORD type = options.mode == PipeMode::kMessage ? PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE
                                                        : PIPE_TYPE_BYTE | PIPE_READMODE_BYTE;
  OwnedHandle pipe = platform::OwnFile(CreateNamedPipeW(
      path.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
      type | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, options.buffer_bytes, options.buffer_bytes,
      0, access.attributes()));
  if (!pipe) {
    error = WindowsError(GetLastError(), "Cannot create the pipe " + platform::Utf8FromWide(path),
                         "CreateNamedPipeW", advice);
    return nullptr;
  }
  OwnedHandle stop = MakeManualResetEvent();
  if (!stop) {
    error = WindowsError(GetLastError(), "Cannot create an event", "CreateEventW", advice);
    return nullptr;
  }
  return std::unique_ptr<HostPipe>(
      new HostPipe(std::move(path), options.mode, std::move(pipe), std::move(stop)));
}

HostPipe::HostPipe(std::wstring path, PipeMode mode, OwnedHandle pipe, OwnedHandle stop)
    : path_(std::move(path)), mode_(mode), pipe_(std::move(pipe)), stop_(std::move(stop)) {}

HostPipe::Arrival HostPipe::AwaitClient(HANDLE process, milliseconds limit) {
  const OwnedHandle connected = MakeManualResetEvent();
  if (!connected) return Arrival::kFailed;
  OVERLAPPED operation{};
  operation.hEvent = connected.get();
  if (ConnectNamedPipe(pipe_.get(), &operation)) return Arrival::kClient;
  if (GetLastError() == ERROR_PIPE_CONNECTED) return Arrival::kClient;
  if (GetLastError() != ERROR_IO_PENDING) return Arrival::kFailed;

  const std::array<HANDLE, 2> handles{connected.get(), process};
  const DWORD result = WaitForMultipleObjects(process != nullptr ? 2 : 1, handles.data(), FALSE,
                                              WaitMilliseconds(limit));
  if (result != WAIT_OBJECT_0) CancelIoEx(pipe_.get(), &operation);
  // Also after the cancelling: it no longer touches the structure when this returns, and a client
  // may have come at the last moment.
  DWORD ignored = 0;
  if (GetOverlappedResult(pipe_.get(), &operation, &ignored, TRUE)) return Arrival::kClient;
  if (result == WAIT_OBJECT_0 + 1) return Arrival::kProcessEnded;
  return result == WAIT_TIMEOUT ? Arrival::kTimedOut : Arrival::kFailed;
}

bool HostPipe::stopped() const { return WaitForSingleObject(stop_.get(), 0) == WAIT_OBJECT_0; }

// Waits for an operation whose call returned `done`, for StopUse, or until `limit` has passed.
HostPipe::Transfer HostPipe::Finish(OVERLAPPED& operation, bool done, milliseconds limit) {
  Transfer transfer;
  if (!done) {
    // A message that is longer than the read is done as well, and says so again below.
    const DWORD error = GetLastError();
    if (error != ERROR_IO_PENDING && error != ERROR_MORE_DATA) return {.error = error};
    const std::array<HANDLE, 2> handles{operation.hEvent, stop_.get()};
    const DWORD result = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(),
                                                FALSE, WaitMilliseconds(limit));
    if (result != WAIT_OBJECT_0) {
      CancelIoEx(pipe_.get(), &operation);
      GetOverlappedResult(pipe_.get(), &operation, &transfer.bytes, TRUE);
      transfer.error = result == WAIT_TIMEOUT ? WAIT_TIMEOUT : ERROR_OPERATION_ABORTED;
      return transfer;
    }
  }
  if (!GetOverlappedResult(pipe_.get(), &operation, &transfer.bytes, TRUE)) {
    transfer.error = GetLastError();
  }
  return transfer;
}

DWORD HostPipe::ReadPiece(char* bytes, DWORD count, DWORD& read) {
  read = 0;
  const OwnedHandle completed = MakeManualResetEvent();
  if (!completed) return GetLastError();
  do {
    if (stopped()) return ERROR_OPERATION_ABORTED;
    OVERLAPPED operation{};
    operation.hEvent = completed.get();
    const bool done =
        ReadFile(pipe_.get(), bytes + read, count - read, nullptr, &operation) != FALSE;
    const Transfer transfer = Finish(operation, done, kForever);
    read += transfer.bytes;
    if (transfer.error != 0) return transfer.error;
  } while (mode_ == PipeMode::kByte && read < count);
  return 0;
}

Frame HostPipe::ReadFrame() {
  const auto failure = [](DWORD error, bool inside, DWORD read) -> Frame {
    if (error == ERROR_OPERATION_ABORTED) return {Frame::Kind::kStopped, {}};
    if (error == ERROR_MORE_DATA) {
      return {Frame::Kind::kBroken, "It sent a message that is longer than was announced."};
    }
    const bool middle = inside || read > 0;
    return {Frame::Kind::kClosed, middle ? "It closed the pipe in the middle of a frame." : ""};
  };
  FramePrefix prefix{};
  DWORD read = 0;
  if (const DWORD error = ReadPiece(prefix.data(), static_cast<DWORD>(prefix.size()), read)) {
    return failure(error, /*inside=*/false, read);
  }
  if (read != prefix.size()) {
    return {Frame::Kind::kBroken, "It sent a length of " + std::to_string(read) + " bytes."};
  }
  const std::uint32_t length = ReadFramePrefix(prefix);
  if (length > kLongestTextBytes) {
    return {Frame::Kind::kBroken,
            "It announced a text of " + std::to_string(length) + " bytes; the longest has 4096."};
  }
  Frame frame{Frame::Kind::kText, std::string(length, '\0')};
  if (length == 0) return frame;
  if (const DWORD error = ReadPiece(frame.text.data(), length, read)) {
    return failure(error, /*inside=*/true, read);
  }
  if (read != length) {
    return {Frame::Kind::kBroken, "It sent a text of " + std::to_string(read) +
                                      " bytes after it had announced " + std::to_string(length) +
                                      "."};
  }
  return frame;
}

DWORD HostPipe::WriteFrame(std::string_view text, milliseconds limit) {
  const FramePrefix prefix = MakeFramePrefix(static_cast<std::uint32_t>(text.size()));
  const DWORD error = WriteBytes({prefix.data(), prefix.size()}, limit);
  return error != 0 || text.empty() ? error : WriteBytes(text, limit);
}

DWORD HostPipe::WriteBytes(std::string_view bytes, milliseconds limit) {
  if (!pipe_ || stopped()) return ERROR_OPERATION_ABORTED;
  const OwnedHandle completed = MakeManualResetEvent();
  if (!completed) return GetLastError();
  OVERLAPPED operation{};
  operation.hEvent = completed.get();
  const bool done = WriteFile(pipe_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr,
                              &operation) != FALSE;
  const Transfer transfer = Finish(operation, done, limit);
  if (transfer.error != 0) return transfer.error;
  return transfer.bytes == bytes.size() ? 0 : ERROR_WRITE_FAULT;
}

void HostPipe::StopUse() { SetEvent(stop_.get()); }

}  // namespace capture_host
