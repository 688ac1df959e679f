// One encoded picture or piece of sound, with what a player has to know of its stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace open_gsdk {

// Of AAC: how many samples a packet stands for.
inline constexpr int kSamplesPerPacket = 1024;

struct VideoFormat {
  int width = 0;
  int height = 0;
  int frame_rate = 0;  // per second
  std::vector<std::uint8_t> extradata;
  bool from_hdr = false;  // what was recorded is shown in HDR; the pictures are not

  bool operator==(const VideoFormat&) const = default;
};

struct AudioFormat {
  std::string name;  // of the track, UTF-8
  int sample_rate = 0;
  int channels = 0;
  int bit_rate = 0;  // per second
  std::vector<std::uint8_t> extradata;

  bool operator==(const AudioFormat&) const = default;
};

// The streams of one session, up to a change of the picture's size.
struct StreamSet {
  VideoFormat video;
  std::vector<AudioFormat> audio;
};

// Never changed once it has been handed out, so that any number of threads can share it.
struct EncodedPacket {
  std::shared_ptr<const StreamSet> streams;
  std::size_t stream = 0;  // 0 is the video, 1 + n the audio track n
  bool key_frame = false;
  // On the steady clock: when the picture was taken, or when the first sample was heard that the
  // packet stands for. A decoder gives these samples when it was given the packet before, too.
  // Packets of a sound track join on to each other to the nanosecond, and come a tenth of a second
  // after their time, later when the machine is busy. In silence that lasts they have equal bytes.
  std::int64_t time_ns = 0;
  std::int64_t duration_ns = 0;  // of a picture: one step of the frame rate
  std::int64_t dropped_ns = 0;   // what of this stream was lost right before this packet
  std::vector<std::uint8_t> data;

  [[nodiscard]] bool IsVideo() const { return stream == 0; }
};

using SharedPacket = std::shared_ptr<const EncodedPacket>;

}  // namespace open_gsdk
