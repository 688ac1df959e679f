// What goes into a clip, and its figures.
#pragma once

#include <cstdint>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/replay/encoded_packet.h"

namespace open_gsdk {

// How a dump ended: the numbers of gsdk_dump_result::status.
enum class DumpStatus : std::int32_t {
  kSuccess = kGsdkDumpSuccess,
  kUnexpected = 1,  // has no name in the interface
  kEmpty = kGsdkDumpEmpty,
  kCannotOpen = kGsdkDumpCannotOpen,
  kBadAudioStream = kGsdkDumpBadAudioStream,
  kBadVideoStream = kGsdkDumpBadVideoStream,
  kCannotWrite = kGsdkDumpCannotWrite,
  kCannotRename = kGsdkDumpCannotRename,
};

struct Clip {
  // In the order of their times; all of one session, the first one a key frame of the video. Empty
  // when there is nothing to write.
  std::vector<SharedPacket> packets;
  std::int64_t start_ns = 0;  // the time of the first picture, on the steady clock
  std::int64_t duration_ns = 0;
  std::int64_t last_timestamp_ns = 0;  // the latest time of a packet, on the steady clock
  std::int64_t audio_drop_ns = 0;      // the track that lost most counts
  std::int64_t video_drop_ns = 0;
};

// `packets` is the content of a PacketRing. Sound from before the first picture is left out.
Clip CutClip(std::vector<SharedPacket> packets);

}  // namespace open_gsdk
