// The host's end of the pipe: creates it, takes the service's connection, and carries frames. A
// part of Service (capture_host/service.h), which is what a host uses; by itself for tests of the
// channel.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "capture_host/error.h"
#include "platform/owned_handle.h"

namespace capture_host {

enum class PipeMode { kByte, kMessage };

struct PipeOptions {
  PipeMode mode = PipeMode::kByte;
  // How much the system keeps for a reader that does not read: by default far more than the service
  // ever has under way, so that neither side waits for the other.
  std::uint32_t buffer_bytes = 1 << 20;
};

struct Frame {
  enum class Kind {
    kText,     // `text` is what came; an empty frame is an empty text
    kClosed,   // the service closed its end; in the middle of a frame when `text` says so
    kBroken,   // no frame: `text` says what is wrong with it, and nothing more can be read
    kStopped,  // StopUse was called
  };
  Kind kind;
  std::string text;
};

class HostPipe {
 public:
  // Creates a pipe for one client under a random name, which only the user of this process may
  // open. Null with `error` filled in when Windows refuses. Any thread.
  static std::unique_ptr<HostPipe> Create(const PipeOptions& options, Error& error);

  // The full path, for the service's command line.
  [[nodiscard]] const std::wstring& path() const { return path_; }

  // What AwaitClient saw first.
  enum class Arrival { kClient, kProcessEnded, kTimedOut, kFailed };
  // Waits until the pipe is opened, `process` (not owned; null for none) has ended, or `limit` has
  // passed. GetLastError says why it failed.
  Arrival AwaitClient(HANDLE process, std::chrono::milliseconds limit);

  // The next frame, however long it takes. One thread.
  Frame ReadFrame();

  // Sends a text of up to 4096 bytes as a frame, the length and the text in a write each. Returns
  // 0, or a Windows error: WAIT_TIMEOUT when the service took nothing for `limit`,
  // ERROR_OPERATION_ABORTED after StopUse. After an error the framing is lost. One thread at a
  // time.
  DWORD WriteFrame(std::string_view text, std::chrono::milliseconds limit);
  // Sends bytes as they are in one write, for those who break the framing on purpose.
  DWORD WriteBytes(std::string_view bytes, std::chrono::milliseconds limit);

  // Ends the reads and writes under way and to come. Any thread.
  void StopUse();

  // Closes the host's end, which tells the service to stop. No other call may be under way.
  void Close() { pipe_.reset(); }

 private:
  HostPipe(std::wstring path, PipeMode mode, platform::OwnedHandle pipe,
           platform::OwnedHandle stop);

  // Of one operation on the pipe.
  struct Transfer {
    DWORD error = 0;  // 0: done
    DWORD bytes = 0;
  };
  [[nodiscard]] bool stopped() const;
  Transfer Finish(OVERLAPPED& operation, bool done, std::chrono::milliseconds limit);
  // Fills `bytes`, in message mode by one read, so that a piece that was not written by itself
  // shows.
  DWORD ReadPiece(char* bytes, DWORD count, DWORD& read);

  std::wstring path_;
  PipeMode mode_;
  platform::OwnedHandle pipe_;
  platform::OwnedHandle stop_;
};

}  // namespace capture_host
