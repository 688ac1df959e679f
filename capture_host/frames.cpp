#include "capture_host/frames.h"

#include <cstddef>

namespace capture_host {

FramePrefix MakeFramePrefix(std::uint32_t length) {
  FramePrefix prefix{};
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    prefix[i] = static_cast<char>((length >> (8 * i)) & 0xFFU);
  }
  return prefix;
}

std::uint32_t ReadFramePrefix(const FramePrefix& prefix) {
  std::uint32_t length = 0;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    length |= static_cast<std::uint32_t>(static_cast<unsigned char>(prefix[i])) << (8 * i);
  }
  return length;
}

}  // namespace capture_host
