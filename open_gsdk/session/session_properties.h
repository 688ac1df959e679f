// What the gsdk_session_properties_* setters collect, and what a session makes of odd values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/encoding/frame_geometry.h"

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
  void* error_user_data = nullptr;
  gsdk_error_callback on_error = nullptr;
  void* packet_user_data = nullptr;
  gsdk_packet_callback on_packet = nullptr;
};

struct VideoEncoding {
  Size size;
  int frame_rate = 0;
  int crf = 0;
};

struct AudioEncoding {
  int sample_rate = 0;
  int bit_rate = 0;
};

// Throws Failure: kNoEncoder for a frame rate or maximum size that no encoder takes,
// kInvalidArgument for a rate control or connection type other than the ones there are.
VideoEncoding ChooseVideoEncoding(const SessionProperties& properties, Size source);

// Takes the nearest values that AAC knows.
AudioEncoding ChooseAudioEncoding(const SessionProperties& properties);

}  // namespace open_gsdk
