#include "tests/open_gsdk/client.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "open_gsdk/api/handles.h"
#include "platform/text_encoding.h"

namespace open_gsdk {
namespace {

constexpr std::chrono::seconds kPatience{60};

std::filesystem::path PathOf(const std::string& utf8) { return platform::WideFromUtf8(utf8); }

}  // namespace

std::int32_t CodeOf(const std::function<bool(gsdk_error**)>& call) {
  ErrorSlot error;
  const bool succeeded = call(error.Out());
  EXPECT_EQ(succeeded, error.Code() == 0) << error.Message();
  EXPECT_EQ(succeeded, error.Message().empty());
  return error.Code();
}

Client::Client(ClientOptions options) : options_(std::move(options)) {
  ErrorSlot error;
  EXPECT_TRUE(gsdk_session_create(&session_, nullptr, error.Out())) << error.Message();
  properties_ = gsdk_session_properties_create();
  gsdk_session_properties_audio_set_bitrate(properties_, 128'000);
  gsdk_session_properties_audio_set_samplerate(properties_, 48'000);
  gsdk_session_properties_video_set_ratecontrol(properties_, kGsdkRateControl);
  gsdk_session_properties_video_set_min_quality(properties_, 23, 23, 23);
  gsdk_session_properties_video_set_max_quality(properties_, 23, 23, 23);
  gsdk_session_properties_video_set_framerate(properties_, options_.frame_rate);
  gsdk_session_properties_video_set_max_height(properties_, options_.max_height);
  gsdk_session_properties_video_set_max_width(properties_, options_.max_width);
  gsdk_session_properties_audio_set_tracks_ids(
      properties_, static_cast<std::uint32_t>(options_.tracks.size()), options_.tracks.data());
  gsdk_session_properties_connection_set_type(properties_, kGsdkConnectionType);
  gsdk_session_properties_set_error_callback(properties_, this, OnError);
  recorder_ = gsdk_recorder_create(properties_);
  gsdk_recorder_set_duration(recorder_, options_.duration_ms);
  gsdk_session_properties_connection_callback_set_callback(properties_, this, OnPacket);
}

Client::~Client() {
  Destroy();
  gsdk_recorder_destroy(recorder_);
  gsdk_session_properties_destroy(properties_);
}

void Client::RecordWindow(unsigned number) {
  Choose("window", "{\"cursor\": false, \"window\": {\"hwnd\": " + std::to_string(number) + "}}");
  ASSERT_EQ(Start(), 0);
}

void Client::Choose(const char* type, const std::string& settings) {
  ErrorSlot error;
  ASSERT_TRUE(gsdk_session_set_video_input(session_, type, error.Out())) << error.Message();
  ASSERT_TRUE(gsdk_session_update_video_input(session_, settings.c_str(), error.Out()))
      << error.Message();
}

std::int32_t Client::Start() {
  return CodeOf(
      [&](gsdk_error** error) { return gsdk_session_start(session_, properties_, error); });
}

void Client::Destroy() { gsdk_session_destroy(session_); }

void Client::WaitForFrames(std::size_t more) {
  const auto frames = [this] {
    return std::count_if(packets_.begin(), packets_.end(),
                         [](const SharedPacket& packet) { return packet->IsVideo(); });
  };
  std::unique_lock lock(mutex_);
  const auto wanted = frames() + static_cast<std::ptrdiff_t>(more);
  ASSERT_TRUE(changed_.wait_for(lock, kPatience, [&] { return frames() >= wanted; }))
      << "the session gives no frames";
}

std::int32_t Client::WaitForError() {
  std::unique_lock lock(mutex_);
  const bool came = changed_.wait_for(lock, kPatience, [this] { return !errors_.empty(); });
  EXPECT_TRUE(came) << "no error was reported";
  return came ? errors_.front() : 0;
}

std::vector<SharedPacket> Client::Packets() const {
  const std::lock_guard lock(mutex_);
  return packets_;
}

std::vector<SharedPacket> Client::VideoPackets() const {
  std::vector<SharedPacket> packets = Packets();
  std::erase_if(packets, [](const SharedPacket& packet) { return !packet->IsVideo(); });
  return packets;
}

std::vector<std::int32_t> Client::Errors() const {
  const std::lock_guard lock(mutex_);
  return errors_;
}

void Client::OnPacket(void* client, gsdk_encoded_packet* packet) {
  auto& self = *static_cast<Client*>(client);
  const SharedPacket content = open_gsdk::Packets().Find(packet);
  gsdk_recorder_push_packet(self.recorder_, packet);
  gsdk_encoded_packet_release(packet);
  EXPECT_EQ(open_gsdk::Packets().Find(packet), nullptr);
  if (self.options_.in_packet_callback) self.options_.in_packet_callback();
  const std::lock_guard lock(self.mutex_);
  self.packets_.push_back(content);
  self.changed_.notify_all();
}

void Client::OnError(void* client, gsdk_error* error) {
  auto& self = *static_cast<Client*>(client);
  const std::int32_t code = gsdk_err_code(error);
  gsdk_err_free(error);
  const std::lock_guard lock(self.mutex_);
  self.errors_.push_back(code);
  self.changed_.notify_all();
}

TemporaryPath::TemporaryPath(const std::string& name)
    : path_(platform::Utf8FromWide(std::filesystem::temp_directory_path().native()) +
            std::to_string(GetCurrentProcessId()) + "-" + name) {
  std::filesystem::remove_all(PathOf(path_));
}

TemporaryPath::~TemporaryPath() {
  std::error_code ignored;
  std::filesystem::remove_all(PathOf(path_), ignored);
}

bool TemporaryPath::exists() const { return std::filesystem::exists(PathOf(path_)); }

std::size_t TemporaryPath::FilesLikeIt() const {
  const std::filesystem::path path = PathOf(path_);
  const std::wstring name = path.filename().native();
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(path.parent_path())) {
    if (entry.path().filename().native().starts_with(name)) ++count;
  }
  return count;
}

}  // namespace open_gsdk
