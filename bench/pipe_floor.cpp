// The least that a program at the other end of the host's pipe can do: opens the pipe that its
// command line names and, on its only thread, makes the Windows calls that every read and write of
// the service makes, and nothing else. scripts/bench measures the service against it.
//
// It drops every frame but two: a clip request is answered at once, and a "die" event or a closed
// pipe ends it.
#include <windows.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

constexpr DWORD kLongestText = 4096;
constexpr std::string_view kAnswer =
    R"({"clip": {"audio_drop": 0, "captured_from_hdr": false, "duration": 1000, "id": "1", )"
    R"("last_ts": "1000000000", "succeeded": true, "video_drop": 0}})";

struct Channel {
  HANDLE pipe;
  HANDLE stop;  // never signalled; what the second place of every wait is for
};

// `issue` is given an OVERLAPPED and starts the operation. Returns whether it succeeded.
template <typename Issue>
bool Transfer(const Channel& channel, const Issue& issue) {
  const HANDLE done = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  OVERLAPPED operation{};
  operation.hEvent = done;
  bool succeeded = issue(operation) != FALSE;
  if (!succeeded && GetLastError() == ERROR_IO_PENDING) {
    const std::array handles = {done, channel.stop};
    DWORD transferred = 0;
    succeeded = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                                       INFINITE) == WAIT_OBJECT_0 &&
                GetOverlappedResult(channel.pipe, &operation, &transferred, TRUE);
  }
  CloseHandle(done);
  return succeeded;
}

bool Read(const Channel& channel, char* buffer, DWORD count) {
  return Transfer(channel, [&](OVERLAPPED& operation) {
    return ReadFile(channel.pipe, buffer, count, nullptr, &operation);
  });
}

bool Write(const Channel& channel, const void* bytes, std::size_t count) {
  return Transfer(channel, [&](OVERLAPPED& operation) {
    return WriteFile(channel.pipe, bytes, static_cast<DWORD>(count), nullptr, &operation);
  });
}

bool WriteFrame(const Channel& channel, std::string_view text) {
  const auto length = static_cast<std::uint32_t>(text.size());
  return Write(channel, &length, sizeof(length)) && Write(channel, text.data(), text.size());
}

void Serve(const Channel& channel) {
  std::array<char, kLongestText> buffer{};
  for (;;) {
    std::uint32_t length = 0;
    if (!Read(channel, buffer.data(), sizeof(length))) return;
    std::memcpy(&length, buffer.data(), sizeof(length));
    if (length > kLongestText || !Read(channel, buffer.data(), length)) return;
    const std::string_view text(buffer.data(), length);
    if (text.starts_with(R"({"clip")") && !WriteFrame(channel, kAnswer)) return;
    if (text.starts_with(R"({"event": {"die")")) return;
  }
}

}  // namespace

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int WINAPI wWinMain(_In_ HINSTANCE /*instance*/, _In_opt_ HINSTANCE /*previous*/,
                    _In_ LPWSTR command_line, _In_ int /*show*/) {
  const HANDLE pipe = CreateFileW(command_line, GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
  if (pipe == INVALID_HANDLE_VALUE) return static_cast<int>(GetLastError());
  const HANDLE stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  Serve({.pipe = pipe, .stop = stop});
  CloseHandle(stop);
  CloseHandle(pipe);
  return 0;
}
