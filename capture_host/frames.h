// The frames on the pipe: four bytes with the length of the text, little-endian, then the text.
#pragma once

#include <array>
#include <cstdint>

#include "protocol/message_queue.h"

namespace capture_host {

inline constexpr std::uint32_t kLongestTextBytes = capture_service::kMaxMessageBytes;

using FramePrefix = std::array<char, 4>;

FramePrefix MakeFramePrefix(std::uint32_t length);
std::uint32_t ReadFramePrefix(const FramePrefix& prefix);

}  // namespace capture_host
