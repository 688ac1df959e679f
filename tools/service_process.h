// The host's end of the service: creates the named pipe, starts CaptureService with its name, and
// exchanges framed messages with it. Used by host_console and by tests that need a live service.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/owned_handle.h"

namespace host_tools {

struct ServiceLaunch {
  std::filesystem::path program;
  std::vector<std::wstring> arguments;  // what follows the pipe's path on the command line
  std::chrono::milliseconds connect_limit{20'000};
};

// The service could not be started, or did not connect. The text is a sentence for people.
class ServiceStartError : public std::runtime_error {
 public:
  explicit ServiceStartError(const std::string& text,
                             std::optional<std::uint32_t> status = std::nullopt)
      : std::runtime_error(text), exit_status(status) {}

  // Set when the service ended before it connected.
  std::optional<std::uint32_t> exit_status;
};

// One running service. It ends with this object, and also when the process that owns this object
// ends in any other way: the service belongs to a job that is killed with its last handle.
class ServiceProcess {
 public:
  // Called on the receiving thread with the text of each message, in order of arrival.
  using MessageHandler = std::function<void(const std::string& text)>;
  // Called once on the receiving thread, when no further message can come.
  using ClosedHandler = std::function<void()>;

  // Starts the service and returns when it has opened the pipe. Throws ServiceStartError.
  ServiceProcess(const ServiceLaunch& launch, MessageHandler on_message, ClosedHandler on_closed);
  // Closes the pipe, gives the service a while to end by itself, then kills it.
  ~ServiceProcess();
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  // Sends one message, length and body as two writes. Any one thread at a time. False when the
  // service has gone or takes nothing for some seconds.
  [[nodiscard]] bool Send(std::string_view text);

  // Sends bytes as they are in one write, for hosts that break the framing on purpose.
  [[nodiscard]] bool SendBytes(std::string_view bytes);

  // The exit status of the service; none while it still runs after `limit`.
  [[nodiscard]] std::optional<std::uint32_t> WaitForExit(std::chrono::milliseconds limit) const;

  // For a service that has ended: returns when all that it sent has been handled.
  void ReceiveRest();

  // Closes the host's end of the pipe, which tells the service to stop. No message comes or goes
  // afterwards; returns when the receiving thread has ended.
  void CloseConnection();

  [[nodiscard]] std::uint32_t process_id() const { return process_id_; }

 private:
  void CreatePipe();
  void StartProcess(const ServiceLaunch& launch);
  void AwaitConnection(const ServiceLaunch& launch);
  void Receive();
  bool ReadExactly(char* bytes, std::uint32_t count);

  std::wstring pipe_path_;
  platform::OwnedHandle pipe_;
  platform::OwnedHandle stop_receiving_;
  platform::OwnedHandle job_;
  platform::OwnedHandle process_;
  std::uint32_t process_id_ = 0;
  MessageHandler on_message_;
  ClosedHandler on_closed_;
  std::thread receiver_;
};

}  // namespace host_tools
