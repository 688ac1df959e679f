// When each frame of a constant frame rate is due, and what is done about frames that were missed.
#pragma once

#include <cstdint>

namespace open_gsdk {

// The time of frame `number` after the start, in nanoseconds. Computed from the number, so that
// rounding never adds up.
std::int64_t FrameTimeNs(std::int64_t number, int frame_rate);

// The frame that is due at `elapsed_ns` after the start.
std::int64_t FrameDueAt(std::int64_t elapsed_ns, int frame_rate);

// What to do with the frames that became due unseen.
struct CatchUp {
  std::int64_t repeated = 0;  // give the latest picture again, to keep the frame rate constant
  std::int64_t dropped = 0;   // leave out, because there are too many to make up for
};

// `next` is the first frame that was not yet given, `due` the one that is due now. A delay of up to
// a second is made up for; after a longer one (the machine slept, the encoder can't keep up) the
// whole delay is dropped.
CatchUp CatchUpTo(std::int64_t next, std::int64_t due, int frame_rate);

}  // namespace open_gsdk
