// The one queue through which all traffic of the service passes: texts that arrived from the host,
// requests that the service posts to itself, and texts to be written to the host.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace capture_service {

// A frame's text has at most this many bytes, in either direction.
inline constexpr std::size_t kMaxMessageBytes = 4096;

enum class Direction : std::uint32_t {
  kInbound = 0,   // to be interpreted by the main loop as a host message
  kOutbound = 1,  // to be written to the pipe
};

struct PipeMessage {
  Direction direction;
  std::array<char, kMaxMessageBytes + 1> text;  // ends at its first zero byte, anything follows
};

// Makes a message of `text` up to its first zero byte. A text of more than kMaxMessageBytes ends
// the process at once (FailFast): producers keep their texts short.
std::unique_ptr<PipeMessage> MakePipeMessage(Direction direction, std::string_view text);

// Appends a message and wakes the main loop. Any thread; never blocks on the pipe.
void PushMessage(std::unique_ptr<PipeMessage> message);

// Waits for the next message and takes it. Main thread only.
std::unique_ptr<PipeMessage> PopMessage();

}  // namespace capture_service
