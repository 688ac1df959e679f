// The host's end of a service's pipe for tests: sends frames, collects what the service sends, and
// keeps the story for a failing test.
//
// When the environment variable CAPTURE_SERVICE_TRAFFIC names a folder, every text in either
// direction is also written there as a JSON line {"direction": "in"|"out", "text": ...}, seen from
// the service, one file for each pipe. A text that no proper host would send also has "odd": true;
// what is not UTF-8 is left out.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "capture_host/host_pipe.h"

namespace e2e {

using capture_host::PipeMode;

class HostPipe {
 public:
  // Creates a pipe. `buffer_bytes` is how much the system keeps for a reader that doesn't read.
  explicit HostPipe(PipeMode mode, std::uint32_t buffer_bytes = 65536);
  ~HostPipe();
  HostPipe(const HostPipe&) = delete;
  HostPipe& operator=(const HostPipe&) = delete;

  const std::wstring& Path() const { return pipe_->path(); }

  // Waits until the service has opened its end; false when it didn't within `limit`.
  bool WaitForConnection(std::chrono::milliseconds limit);

  // Starts collecting what the service sends.
  void StartReading();

  // Sends `text` as a frame, the length and the text in a write each. `odd` is for the journal: it
  // marks what no proper host would send. A service that has gone is found by its exit code.
  void SendFrame(std::string_view text, bool odd = false);
  // Sends bytes as they are, in one write.
  void SendBytes(std::string_view bytes);

  // Closes the host's end.
  void Close();

  // Waits until `condition` holds for the texts received so far, or no more can come, or `limit`
  // has passed; true when it holds.
  bool WaitFor(const std::function<bool(const std::vector<std::string>&)>& condition,
               std::chrono::milliseconds limit);
  // Waits until the service has closed its end and everything that it sent has been received.
  bool WaitForEnd(std::chrono::milliseconds limit);

  // The texts received so far, in order. A frame that isn't as it should be stands there as a text
  // that begins with "BAD FRAME".
  std::vector<std::string> Received() const;

  // Both directions in order, for people.
  std::string Transcript() const;

 private:
  void Read();
  void Receive(std::string text);
  void Record(const char* direction, std::string_view text, bool odd);

  std::unique_ptr<capture_host::HostPipe> pipe_;
  std::thread reader_;

  mutable std::mutex mutex_;  // guards all below
  std::condition_variable changed_;
  std::vector<std::string> received_;
  bool ended_ = false;
  std::string transcript_;
  std::ofstream journal_;
};

}  // namespace e2e
