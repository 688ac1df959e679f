#include "service/pipe_channel.h"

#include <windows.h>

#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "platform/owned_handle.h"
#include "protocol/message_queue.h"
#include "service/stop.h"
#include "service/stop_event.h"

namespace capture_service {
namespace {

// One read or write and everything that Windows may touch until it is done. An abandoned operation
// is given up with release(): Windows may still write here after everybody has left.
struct PipeOperation {
  OVERLAPPED overlapped{};
  platform::OwnedHandle done;
  std::array<char, kMaxMessageBytes> buffer{};

  // Makes it ready for one more operation.
  void Begin() {
    done.reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    overlapped = {};
    overlapped.hEvent = done.get();
  }
};

// Waits for an operation that was just issued and did not finish at once. Returns a Windows error
// code and the handle that ended the wait: the operation's own event, the stop event (with 0: the
// operation is abandoned and still pending), or null when there was no wait.
DWORD WaitForPendingIo(HANDLE pipe, OVERLAPPED& overlapped, HANDLE& signalled) {
  const DWORD issued = GetLastError();
  signalled = nullptr;
  if (issued != ERROR_IO_PENDING) return issued;

  const std::array handles = {overlapped.hEvent, StopEvent()};
  const DWORD wait = WaitForMultipleObjects(2, handles.data(), FALSE, INFINITE);
  switch (wait) {
    case WAIT_OBJECT_0: {
      signalled = handles[0];
      DWORD transferred = 0;
      return GetOverlappedResult(pipe, &overlapped, &transferred, TRUE) ? 0 : GetLastError();
    }
    case WAIT_OBJECT_0 + 1:
      signalled = handles[1];
      return 0;
    default:
      return GetLastError();
  }
}

// Brings an operation to its end; `finished` is what ReadFile or WriteFile returned just before.
// Returns whether it succeeded. An operation that is still pending is given up: `operation` is then
// empty.
bool Complete(HANDLE pipe, std::unique_ptr<PipeOperation>& operation, BOOL finished) {
  if (finished) {
    operation->done.reset();
    return true;
  }
  const bool pending = GetLastError() == ERROR_IO_PENDING;
  HANDLE signalled = nullptr;
  const DWORD error = WaitForPendingIo(pipe, operation->overlapped, signalled);
  // An operation whose event could not be created can't be waited for, and goes on.
  const bool ended_by_itself = signalled != nullptr && signalled == operation->done.get();
  operation->done.reset();
  if (pending && !ended_by_itself) static_cast<void>(operation.release());
  return error == 0 && ended_by_itself;
}

// Reads `count` bytes into the operation's buffer.
bool Read(HANDLE pipe, std::unique_ptr<PipeOperation>& operation, std::uint32_t count) {
  operation->Begin();
  const BOOL finished =
      ReadFile(pipe, operation->buffer.data(), count, nullptr, &operation->overlapped);
  return Complete(pipe, operation, finished);
}

// Reads the next frame's text into the operation's buffer; returns its length. None when the
// channel has failed or the service stops.
std::optional<std::uint32_t> ReadFrame(HANDLE pipe, std::unique_ptr<PipeOperation>& operation) {
  std::uint32_t length = 0;
  while (length == 0) {
    if (StopFlag || !Read(pipe, operation, sizeof(length))) return std::nullopt;
    // Windows is little-endian, as the frame is.
    std::memcpy(&length, operation->buffer.data(), sizeof(length));
    if (length > kMaxMessageBytes) return std::nullopt;
  }
  if (StopFlag || !Read(pipe, operation, length)) return std::nullopt;
  return length;
}

// Writes what of `bytes` fits an operation's buffer, which a frame's length and text do.
bool PipeWrite(HANDLE pipe, std::string_view bytes) {
  auto operation = std::make_unique<PipeOperation>();
  operation->Begin();
  const std::size_t count = bytes.copy(operation->buffer.data(), operation->buffer.size());
  const BOOL finished = WriteFile(pipe, operation->buffer.data(), static_cast<DWORD>(count),
                                  nullptr, &operation->overlapped);
  return Complete(pipe, operation, finished);
}

}  // namespace

bool WriteFrame(PipeHandle pipe, std::string_view text) {
  if (text.size() > kMaxMessageBytes) return false;
  const auto length = static_cast<std::uint32_t>(text.size());
  std::array<char, sizeof(length)> prefix{};
  std::memcpy(prefix.data(), &length, sizeof(length));
  return PipeWrite(pipe, {prefix.data(), prefix.size()}) && PipeWrite(pipe, text);
}

void PipeReader(PipeHandle pipe) {
  auto operation = std::make_unique<PipeOperation>();
  while (const std::optional<std::uint32_t> length = ReadFrame(pipe, operation)) {
    PushMessage(MakePipeMessage(Direction::kInbound, {operation->buffer.data(), *length}));
  }
  if (!StopFlag) RequestStop();
}

}  // namespace capture_service
