// Which of the packets in a ring go into a clip.
#pragma once

#include "open_gsdk/replay/clip.h"
#include "open_gsdk/replay/packet_ring.h"

namespace open_gsdk {

// The clip begins with the latest key frame from which the wanted duration can be played, or else
// with the first one. It ends where the sound does, with a whole picture: sound arrives later than
// the pictures of its time. A last picture that stands longer (a source that has nothing new gives
// one a second) stands until the sound ends. Throws std::bad_alloc.
Clip CutClip(const RingContent& content);

}  // namespace open_gsdk
