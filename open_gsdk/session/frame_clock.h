// When each frame of a constant frame rate is due, and which frame a picture becomes.
#pragma once

#include <cstdint>

namespace open_gsdk {

// The time of frame `number` after the start, in nanoseconds. Computed from the number, so that
// rounding never adds up.
std::int64_t FrameTimeNs(std::int64_t number, int frame_rate);

// The frame that is due at `elapsed_ns` after the start.
std::int64_t FrameDueAt(std::int64_t elapsed_ns, int frame_rate);

// Keeps looking at a source to the frame rate. A frame is looked at when it is due; one whose time
// passes without a look is left out, and nothing is made up for it. All times count from the start,
// in nanoseconds. Not synchronised.
class PicturePace {
 public:
  explicit PicturePace(int frame_rate) : frame_rate_(frame_rate) {}

  // When the source is to be looked at next; it may have passed.
  [[nodiscard]] std::int64_t NextLookNs() const { return FrameTimeNs(next_, frame_rate_); }

  struct Placed {
    std::int64_t frame;
    std::int64_t lost;  // frames right before it of which nobody knows what they showed
  };

  // A look that lasted from `begin_ns` to `end_ns` gave a new picture.
  Placed SawNew(std::int64_t begin_ns, std::int64_t end_ns);

  // Such a look gave what was seen before, or nothing: no picture was lost meanwhile.
  void SawNothingNew(std::int64_t begin_ns, std::int64_t end_ns);

 private:
  // The frame of a look.
  std::int64_t Look(std::int64_t begin_ns, std::int64_t end_ns);

  int frame_rate_;
  std::int64_t next_ = 0;    // the first frame that was not looked at
  std::int64_t missed_ = 0;  // frames that were left out since the last look that counted
  bool looked_ = false;
};

// The frame as which a picture is encoded: its own, but always after the last one that was.
std::int64_t FrameToEncode(std::int64_t frame, std::int64_t last);

// Whether a frame has to be a key frame, so that there is one in every second.
bool IsKeyFrameDue(std::int64_t frame, std::int64_t last_key_frame, int frame_rate);

}  // namespace open_gsdk
