// The last packets of a recording, back to the key frame from which the wanted time can be played.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <vector>

#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/replay/packet_segment.h"

namespace open_gsdk {

inline constexpr std::int64_t kNoTime = std::numeric_limits<std::int64_t>::min();

// What a ring holds at one moment; it shares the bytes with the ring.
struct RingContent {
  // Of the last key frame, or of the last sound while there was none yet; null when there is
  // nothing. Pictures in segments of other streams cannot be shown with them; their sound can.
  std::shared_ptr<const StreamSet> streams;
  // Oldest first.
  std::vector<std::shared_ptr<const PacketSegment>> segments;
  // For each stream, the latest end of a packet; kNoTime while there was none.
  std::vector<std::int64_t> ends_ns;
  std::int64_t duration_ns = 0;  // as set
  bool memory_limited = false;   // packets of the set duration were dropped for want of room
};

// How many bytes a ring of this duration keeps at most: one bit for each pixel (1280x720 at 30
// frames per second: 27.6 Mbit/s) and the bit rates of the sound, but not less than 16 MiB.
std::size_t MemoryLimit(const StreamSet& streams, std::int64_t duration_ns);

// Where the sound of all tracks ends, of what has come so far. Tracks that are behind the pictures
// by more than half a second are waited for no longer and don't count; without any track that
// counts it is the end of the pictures. `ends_ns` as in RingContent, `frame_rate` that of the
// pictures.
std::int64_t SoundEndNs(const std::vector<std::int64_t>& ends_ns, int frame_rate);

// Holds enough for a clip of the set duration (once that much was pushed) that begins with a key
// frame and has its sound, and about one key-frame distance more. Not synchronised.
class PacketRing {
 public:
  void SetDuration(std::int64_t duration_ns);

  // A key frame of other streams than those before starts the ring anew: a new session, or a new
  // size of the picture. The sound from right before it stays, where its description is the same.
  // Pictures that no key frame of the same streams comes before are left out, and so is sound of
  // another description.
  // Throws std::bad_alloc when memory runs out: then the ring is as it was, without this packet,
  // and leaves out the pictures up to the next key frame.
  void Push(const EncodedPacket& packet);

  // Throws std::bad_alloc.
  [[nodiscard]] RingContent Content() const;

 private:
  void PushKeyFrame(const EncodedPacket& packet);
  void PushPicture(const EncodedPacket& packet);
  void PushSound(const EncodedPacket& packet);
  void StartSegment(const EncodedPacket& packet, std::int64_t dropped_ns);
  // False when the last segment alone would take more than the ring may.
  bool Append(const EncodedPacket& packet);
  void NoteEnd(const EncodedPacket& packet);
  void Trim();
  void DropFront();
  // Nothing that was over at this time is of use for a clip.
  [[nodiscard]] std::int64_t NeededFromNs() const;

  std::int64_t duration_ns_ = 0;
  std::shared_ptr<const StreamSet> streams_;             // null until the first packet was kept
  std::deque<std::shared_ptr<PacketSegment>> segments_;  // only the last one grows
  std::vector<std::int64_t> ends_ns_;
  std::size_t size_ = 0;       // of all segments in memory
  bool lost_pictures_ = true;  // until the next key frame they cannot be decoded
  bool memory_limited_ = false;
};

}  // namespace open_gsdk
