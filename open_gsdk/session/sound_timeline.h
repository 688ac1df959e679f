// Decisions about a track's sound: where a block belongs in the track, and what is put where there
// is none. All counts are samples at the track's rate.
#pragma once

#include <cstdint>

namespace open_gsdk {

// What to do before a block of sound goes into the track.
struct Alignment {
  // The block does not join on to what came before; that is complete without it.
  bool breaks = false;
  std::int64_t silence = 0;  // put in before the block
  std::int64_t skip = 0;     // left out at the beginning of the block
  // Made more of the block and what follows, evenly over a second; negative is less.
  int stretch = 0;

  bool operator==(const Alignment&) const = default;
};

// `late` is how much later than it belongs the block would come if it were just joined on, negative
// when it would come too early. `jump` says that its device lost samples before it or counts anew.
// Small differences are evened out too slowly to be heard, large ones are a break.
Alignment AlignBlock(std::int64_t late, bool jump, int sample_rate);

// The state of what a track takes its sound from.
struct SoundSupply {
  bool bound = false;         // a device is set
  bool lost = false;          // the device gave sound before and is gone
  std::int64_t heard_ns = 0;  // when the last block came; 0: none yet
};

// How long to wait for the sound of a moment before silence takes its place. A device that has just
// given sound gets longer, since only a busy machine keeps it from giving more.
std::int64_t GraceNs(const SoundSupply& supply, std::int64_t now_ns);

// Whether this process did not run for a while: it was to wait until `deadline_ns` at most, and it
// is `now_ns`.
bool HasOverslept(std::int64_t deadline_ns, std::int64_t now_ns);

// Whether silence that is put in now stands for sound that there was.
bool IsLoss(const SoundSupply& supply, bool overslept);

// The track's samples until `time_ns`, which is not before its start.
std::int64_t SamplesUntil(std::int64_t time_ns, std::int64_t start_ns, int sample_rate);

// The time of the track's sample `number`, which may be negative.
std::int64_t SampleTimeNs(std::int64_t number, std::int64_t start_ns, int sample_rate);

}  // namespace open_gsdk
