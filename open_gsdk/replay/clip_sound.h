// The sound of a clip: which packets of a track go into it, and where they lie.
#pragma once

#include <cstddef>
#include <span>

#include "open_gsdk/replay/clip.h"
#include "open_gsdk/replay/packet_segment.h"

namespace open_gsdk {

// Adds the sound of a track to `clip`, which has its start and duration, and counts what it lost.
// `packets` are those of the buffer, in the order in which they came.
// The packets are laid end to end, so that no player has to make up for a gap: where there is a
// packet's length or more without sound, packets of silence are put in, and a packet is left out
// that lies a whole length or more before the end of those before it. So each packet is less than
// its own length away from its true time; in a track that has no gap it is exactly there.
void AddSound(std::size_t track, std::span<const StoredPacket> packets, Clip& clip);

}  // namespace open_gsdk
