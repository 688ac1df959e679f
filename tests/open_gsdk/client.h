// A client of the open capture library as its tests need one: starts a session the way the service
// does, and keeps all that the callbacks bring.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/replay/encoded_packet.h"

namespace open_gsdk {

// What a failing call left; freed with this object.
class ErrorSlot {
 public:
  ~ErrorSlot() { gsdk_err_free(error_); }
  ErrorSlot() = default;
  ErrorSlot(const ErrorSlot&) = delete;
  ErrorSlot& operator=(const ErrorSlot&) = delete;

  gsdk_error** Out() { return &error_; }
  std::int32_t Code() const { return gsdk_err_code(error_); }
  std::string Message() const { return gsdk_err_message(error_); }

 private:
  gsdk_error* error_ = nullptr;
};

// The code that a call fails with; 0 when it succeeds.
std::int32_t CodeOf(const std::function<bool(gsdk_error**)>& call);

struct ClientOptions {
  std::uint32_t frame_rate = 30;
  std::uint32_t max_width = 1920;
  std::uint32_t max_height = 1080;
  std::vector<const char*> tracks = {"Game"};
  std::uint32_t duration_ms = 60'000;
  // Runs inside the packet callback, after the packet was pushed.
  std::function<void()> in_packet_callback = nullptr;
};

class Client {
 public:
  explicit Client(ClientOptions options = {});
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  gsdk_session* session() const { return session_; }
  gsdk_recorder* recorder() const { return recorder_; }

  // Fails the test when a step fails.
  void RecordWindow(unsigned number);
  void Choose(const char* type, const std::string& settings);
  // 0 or the code of the failure.
  std::int32_t Start();
  void Destroy();

  // Each fails the test when it takes a minute.
  void WaitForFrames(std::size_t more);
  // The code of the first connection error.
  std::int32_t WaitForError();

  std::vector<SharedPacket> Packets() const;
  std::vector<SharedPacket> VideoPackets() const;
  std::vector<std::int32_t> Errors() const;

 private:
  static void OnPacket(void* client, gsdk_encoded_packet* packet);
  static void OnError(void* client, gsdk_error* error);

  ClientOptions options_;
  gsdk_session* session_ = nullptr;
  gsdk_properties* properties_ = nullptr;
  gsdk_recorder* recorder_ = nullptr;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<SharedPacket> packets_;
  std::vector<std::int32_t> errors_;
};

// A file in the temporary folder that is gone before and after.
class TemporaryPath {
 public:
  explicit TemporaryPath(const std::string& name);
  ~TemporaryPath();
  TemporaryPath(const TemporaryPath&) = delete;
  TemporaryPath& operator=(const TemporaryPath&) = delete;

  const std::string& utf8() const { return path_; }
  bool exists() const;
  // How many files there are whose names begin with this one's.
  std::size_t FilesLikeIt() const;

 private:
  std::string path_;
};

}  // namespace open_gsdk
