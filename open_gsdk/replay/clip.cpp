#include "open_gsdk/replay/clip.h"

#include <array>

namespace open_gsdk {

std::span<const std::uint8_t> SilentPacket() {
  // A pair of channels with a common window and no scale factor bands, each with a global gain and
  // nothing else, and the end of the block.
  static constexpr std::array<std::uint8_t, 6> kSilence = {0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};
  return kSilence;
}

void ClipPacket::AddPieces(std::vector<std::span<const std::uint8_t>>& pieces) const {
  if (IsSilence()) {
    pieces.push_back(SilentPacket());
  } else {
    stored.segment->AddPieces(stored, pieces);
  }
}

std::size_t ClipPacket::Size() const { return IsSilence() ? SilentPacket().size() : stored.size; }

}  // namespace open_gsdk
