#include "tests/e2e/host_pipe.h"

#include <windows.h>

#include <json11.hpp>
#include <stdexcept>

#include "tests/e2e/environment.h"

namespace e2e {
namespace {

using capture_host::Frame;

bool IsUtf8(std::string_view text) {
  return text.empty() || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                             static_cast<int>(text.size()), nullptr, 0) != 0;
}

}  // namespace

HostPipe::HostPipe(PipeMode mode, std::uint32_t buffer_bytes) {
  capture_host::Error error;
  pipe_ = capture_host::HostPipe::Create({.mode = mode, .buffer_bytes = buffer_bytes}, error);
  if (!pipe_) throw std::runtime_error(Describe(error));
  if (const std::filesystem::path folder = EnvironmentVariable(L"CAPTURE_SERVICE_TRAFFIC");
      !folder.empty()) {
    std::filesystem::create_directories(folder);
    const std::wstring name = Path().substr(Path().rfind(L'\\') + 1);
    journal_.open(folder / (name + L".jsonl"), std::ios::binary | std::ios::app);
  }
}

HostPipe::~HostPipe() { Close(); }

bool HostPipe::WaitForConnection(std::chrono::milliseconds limit) {
  return pipe_->AwaitClient(nullptr, limit) == capture_host::HostPipe::Arrival::kClient;
}

void HostPipe::StartReading() {
  reader_ = std::thread([this] { Read(); });
}

void HostPipe::SendFrame(std::string_view text, bool odd) {
  Record("in", text, odd);
  pipe_->WriteFrame(text, kLimit);
}

void HostPipe::SendBytes(std::string_view bytes) { pipe_->WriteBytes(bytes, kLimit); }

void HostPipe::Close() {
  pipe_->StopUse();
  if (reader_.joinable()) reader_.join();
  pipe_->Close();
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
  Frame frame = pipe_->ReadFrame();
  for (; frame.kind == Frame::Kind::kText; frame = pipe_->ReadFrame()) {
    Receive(frame.text.empty() ? "BAD FRAME: it is empty." : std::move(frame.text));
  }
  if (frame.kind == Frame::Kind::kBroken) Receive("BAD FRAME: " + frame.text);
  const std::lock_guard lock(mutex_);
  ended_ = true;
  changed_.notify_all();
}

void HostPipe::Receive(std::string text) {
  Record("out", text, /*odd=*/false);
  const std::lock_guard lock(mutex_);
  received_.push_back(std::move(text));
  changed_.notify_all();
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
