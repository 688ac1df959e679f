// What the gsdk_session_properties_* setters collect, and what a session makes of odd values.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "open_gsdk/encoding/audio_encoding.h"
#include "open_gsdk/encoding/frame_geometry.h"
#include "open_gsdk/encoding/video_encoding.h"
#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/support/failure.h"

namespace open_gsdk {

// The values as they were set; 0 and null mean "not set".
struct SessionProperties {
  std::uint32_t audio_bit_rate = 0;
  std::uint32_t audio_sample_rate = 0;
  std::uint32_t rate_control = 0;
  std::uint32_t min_quality = 0;  // of P frames
  std::uint32_t max_quality = 0;  // of P frames
  std::uint32_t frame_rate = 0;
  std::uint32_t max_width = 0;
  std::uint32_t max_height = 0;
  std::uint32_t connection_type = 0;
  std::vector<std::string> tracks{};
  // Called on threads of the session, one call at a time; see packet_sink.h.
  std::function<void(SharedPacket)> on_packet{};
  std::function<void(ErrorCode, const std::string&)> on_error{};
};

// Throws Failure: kNoEncoder for a frame rate or maximum size that no encoder takes,
// kInvalidArgument for a rate control or connection type other than the ones there are.
VideoEncoding ChooseVideoEncoding(const SessionProperties& properties, Size source);

// Takes the nearest values that AAC knows.
AudioEncoding ChooseAudioEncoding(const SessionProperties& properties);

}  // namespace open_gsdk
