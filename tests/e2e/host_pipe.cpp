#include "tests/e2e/host_pipe.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <json11.hpp>
#include <stdexcept>

#include "tests/e2e/environment.h"

namespace e2e {
namespace {

using platform::OwnedHandle;
using platform::OwnFile;

std::wstring UniquePipeName() {
  static std::atomic<int> counter = 0;
  return L"capture-service-e2e-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
         std::to_wstring(++counter);
}

bool IsUtf8(std::string_view text) {
  return text.empty() || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                             static_cast<int>(text.size()), nullptr, 0) != 0;
}

// One overlapped operation that is waited for.
struct Operation {
  OwnedHandle event{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  OVERLAPPED overlapped = {};

  Operation() { overlapped.hEvent = event.get(); }
};

}  // namespace

HostPipe::HostPipe(PipeMode mode, DWORD buffer_bytes) : mode_(mode) {
  const std::wstring name = UniquePipeName();
  path_ = L"\\\\.\\pipe\\" + name;
  const DWORD type = mode == PipeMode::kMessage ? PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE
                                                : PIPE_TYPE_BYTE | PIPE_READMODE_BYTE;
  pipe_ = OwnFile(CreateNamedPipeW(
      path_.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
      type | PIPE_WAIT, 1, buffer_bytes, buffer_bytes, 0, nullptr));
  if (pipe_ == nullptr) throw std::runtime_error("CreateNamedPipeW failed");
  if (const std::filesystem::path folder = EnvironmentVariable(L"CAPTURE_SERVICE_TRAFFIC");
      !folder.empty()) {
    std::filesystem::create_directories(folder);
    journal_.open(folder / (name + L".jsonl"), std::ios::binary | std::ios::app);
  }
}

HostPipe::~HostPipe() { Close(); }

bool HostPipe::WaitForConnection(std::chrono::milliseconds limit) {
  Operation operation;
  if (ConnectNamedPipe(pipe_.get(), &operation.overlapped)) return true;
  if (GetLastError() == ERROR_PIPE_CONNECTED) return true;
  if (GetLastError() != ERROR_IO_PENDING) return false;
  const DWORD wait = WaitForSingleObject(operation.event.get(), static_cast<DWORD>(limit.count()));
  DWORD transferred = 0;
  if (wait != WAIT_OBJECT_0) CancelIoEx(pipe_.get(), &operation.overlapped);
  return GetOverlappedResult(pipe_.get(), &operation.overlapped, &transferred, TRUE) != 0;
}

void HostPipe::StartReading() {
  reader_ = std::thread([this] { Read(); });
}

void HostPipe::SendFrame(std::string_view text, bool odd) {
  const auto length = static_cast<std::uint32_t>(text.size());
  std::array<char, 4> prefix = {};
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    prefix[i] = static_cast<char>((length >> (8 * i)) & 0xFF);
  }
  Record("in", text, odd);
  SendBytes({prefix.data(), prefix.size()});
  if (!text.empty()) SendBytes(text);
}

void HostPipe::SendBytes(std::string_view bytes) {
  Operation operation;
  DWORD written = 0;
  if (!WriteFile(pipe_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr,
                 &operation.overlapped) &&
      GetLastError() != ERROR_IO_PENDING) {
    return;  // the service has gone, which the test finds by its exit code
  }
  GetOverlappedResult(pipe_.get(), &operation.overlapped, &written, TRUE);
}

void HostPipe::Close() {
  closing_ = true;
  // A read that begins after the cancelling is cancelled the next time round.
  while (reader_.joinable()) {
    CancelIoEx(pipe_.get(), nullptr);
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, std::chrono::milliseconds(10), [&] { return ended_; })) {
      lock.unlock();
      reader_.join();
    }
  }
  pipe_.reset();
}

bool HostPipe::WaitFor(const std::function<bool(const std::vector<std::string>&)>& condition,
                       std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, limit, [&] { return ended_ || condition(received_); });
  return condition(received_);
}

bool HostPipe::WaitForEnd(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, limit, [&] { return ended_; });
}

std::vector<std::string> HostPipe::Received() const {
  const std::lock_guard lock(mutex_);
  return received_;
}

std::string HostPipe::Transcript() const {
  const std::lock_guard lock(mutex_);
  return transcript_;
}

void HostPipe::Read() {
  const auto receive = [&](std::string text) {
    Record("out", text, /*odd=*/false);
    const std::lock_guard lock(mutex_);
    received_.push_back(std::move(text));
    changed_.notify_all();
  };
  while (!closing_) {
    std::array<unsigned char, 4> prefix = {};
    DWORD read = 0;
    if (!ReadPiece(prefix.data(), 4, read)) break;
    std::uint32_t length = 0;
    for (std::size_t i = 0; i < prefix.size(); ++i) {
      length |= static_cast<std::uint32_t>(prefix[i]) << (8 * i);
    }
    if (read != 4 || length == 0 || length > 4096) {
      receive("BAD FRAME: prefix of " + std::to_string(read) + " bytes that announces " +
              std::to_string(length));
      break;
    }
    std::string text(length, '\0');
    if (!ReadPiece(text.data(), length, read)) break;
    if (read != length) {
      receive("BAD FRAME: body of " + std::to_string(read) + " bytes instead of " +
              std::to_string(length));
      break;
    }
    receive(std::move(text));
  }
  const std::lock_guard lock(mutex_);
  ended_ = true;
  changed_.notify_all();
}

// Reads `size` bytes: in message mode by one read, so that a piece that wasn't written by itself
// shows; in byte mode by as many as it takes.
bool HostPipe::ReadPiece(void* buffer, DWORD size, DWORD& read) {
  read = 0;
  do {
    Operation operation;
    DWORD transferred = 0;
    if (!ReadFile(pipe_.get(), static_cast<char*>(buffer) + read, size - read, nullptr,
                  &operation.overlapped) &&
        GetLastError() != ERROR_IO_PENDING) {
      return false;
    }
    if (!GetOverlappedResult(pipe_.get(), &operation.overlapped, &transferred, TRUE)) return false;
    read += transferred;
  } while (mode_ == PipeMode::kByte && read < size);
  return true;
}

void HostPipe::Record(const char* direction, std::string_view text, bool odd) {
  const std::lock_guard lock(mutex_);
  transcript_.append(direction).append(": ").append(text).append("\n");
  if (!journal_.is_open() || !IsUtf8(text)) return;
  json11::Json::object line = {{"direction", direction}, {"text", std::string(text)}};
  if (odd) line["odd"] = true;
  journal_ << json11::Json(line).dump() << "\n" << std::flush;
}

}  // namespace e2e
