#include "tests/open_gsdk/pictures.h"

#include <gtest/gtest.h>

#include <chrono>
#include <utility>

#include "open_gsdk/support/library_log.h"

namespace open_gsdk {
namespace {

constexpr std::chrono::seconds kPatience{60};

}  // namespace

void GreyPicture::New(Size size) {
  size_ = size;
  shade_ = static_cast<std::uint8_t>(shade_ + 7);
  pixels_.assign(
      std::size_t{4} * static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height),
      shade_);
}

TestRecording::TestRecording(TestPictures::Look look, std::vector<VideoEncoderKind> encoders) {
  TakeFfmpegLines();
  SessionProperties properties;
  properties.tracks = {"Game"};
  properties.on_packet = [this](SharedPacket packet) {
    const std::lock_guard lock(mutex_);
    packets_.push_back(std::move(packet));
    changed_.notify_all();
  };
  properties.on_error = [this](ErrorCode code, const std::string& message) {
    const std::lock_guard lock(mutex_);
    errors_.push_back(std::to_string(static_cast<int>(code)) + " " + message);
  };
  const VideoSource source{.window = window_.handle(), .process_id = GetCurrentProcessId()};
  RecordingParts parts{std::make_unique<TestPictures>(std::move(look)), std::move(encoders)};
  recording_ = std::make_shared<Recording>(properties, source, std::vector<SoundBinding>{},
                                           std::move(parts));
  recording_->Start();
}

TestRecording::~TestRecording() { Stop(); }

void TestRecording::WaitFor(
    const std::function<bool(const std::vector<SharedPacket>&)>& condition) {
  std::unique_lock lock(mutex_);
  ASSERT_TRUE(changed_.wait_for(lock, kPatience, [&] {
    return !packets_.empty() && condition(packets_);
  })) << "the recording never gives what is waited for";
}

void TestRecording::Stop() {
  if (const auto recording = std::exchange(recording_, nullptr)) recording->Stop();
}

std::vector<SharedPacket> TestRecording::Packets() {
  const std::lock_guard lock(mutex_);
  return packets_;
}

std::vector<SharedPacket> TestRecording::Packets(std::size_t stream) {
  std::vector<SharedPacket> packets = Packets();
  std::erase_if(packets, [&](const SharedPacket& packet) { return packet->stream != stream; });
  return packets;
}

std::vector<std::string> TestRecording::Errors() {
  const std::lock_guard lock(mutex_);
  return errors_;
}

}  // namespace open_gsdk
