// The entry points for session properties.
#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/api/entry_point.h"
#include "open_gsdk/api/handles.h"
#include "open_gsdk/session/session_properties.h"

namespace open_gsdk {
namespace {

// More tracks than any file needs; a larger count is taken for garbage.
constexpr std::uint32_t kMaxTracks = 16;

// Properties belong to one thread at a time, as they have no lock.
template <typename Change>
void ChangeProperties(const gsdk_properties* properties, const Change& change) noexcept {
  Quietly([&] {
    if (const auto found = Properties().Find(properties)) change(*found);
  });
}

}  // namespace
}  // namespace open_gsdk

using namespace open_gsdk;  // NOLINT(google-build-using-namespace): the interface has no namespace

extern "C" {

gsdk_properties* gsdk_session_properties_create() {
  gsdk_properties* handle = nullptr;
  Quietly([&] { handle = Properties().Add(std::make_shared<SessionProperties>()); });
  return handle;
}

void gsdk_session_properties_destroy(gsdk_properties* properties) {
  Quietly([&] { Properties().Remove(properties); });
}

void gsdk_session_properties_audio_set_bitrate(gsdk_properties* properties, std::uint32_t bitrate) {
  ChangeProperties(properties, [&](SessionProperties& values) { values.audio_bit_rate = bitrate; });
}

void gsdk_session_properties_audio_set_samplerate(gsdk_properties* properties,
                                                  std::uint32_t samplerate) {
  ChangeProperties(properties,
                   [&](SessionProperties& values) { values.audio_sample_rate = samplerate; });
}

void gsdk_session_properties_video_set_ratecontrol(gsdk_properties* properties,
                                                   std::uint32_t mode) {
  ChangeProperties(properties, [&](SessionProperties& values) { values.rate_control = mode; });
}

void gsdk_session_properties_video_set_min_quality(gsdk_properties* properties, std::uint32_t /*i*/,
                                                   std::uint32_t p, std::uint32_t /*b*/) {
  ChangeProperties(properties, [&](SessionProperties& values) { values.min_quality = p; });
}

void gsdk_session_properties_video_set_max_quality(gsdk_properties* properties, std::uint32_t /*i*/,
                                                   std::uint32_t p, std::uint32_t /*b*/) {
  ChangeProperties(properties, [&](SessionProperties& values) { values.max_quality = p; });
}

void gsdk_session_properties_video_set_framerate(gsdk_properties* properties, std::uint32_t fps) {
  ChangeProperties(properties, [&](SessionProperties& values) { values.frame_rate = fps; });
}

void gsdk_session_properties_video_set_max_height(gsdk_properties* properties,
                                                  std::uint32_t pixels) {
  ChangeProperties(properties, [&](SessionProperties& values) { values.max_height = pixels; });
}

void gsdk_session_properties_video_set_max_width(gsdk_properties* properties,
                                                 std::uint32_t pixels) {
  ChangeProperties(properties, [&](SessionProperties& values) { values.max_width = pixels; });
}

void gsdk_session_properties_connection_set_type(gsdk_properties* properties, std::uint32_t type) {
  ChangeProperties(properties, [&](SessionProperties& values) { values.connection_type = type; });
}

void gsdk_session_properties_set_error_callback(gsdk_properties* properties, void* user_data,
                                                gsdk_error_callback callback) {
  ChangeProperties(properties, [&](SessionProperties& values) {
    values.on_error = nullptr;
    if (callback == nullptr) return;
    values.on_error = [user_data, callback](ErrorCode code, const std::string& message) {
      callback(user_data, NewError(code, message));
    };
  });
}

void gsdk_session_properties_connection_callback_set_callback(gsdk_properties* properties,
                                                              void* user_data,
                                                              gsdk_packet_callback callback) {
  ChangeProperties(properties, [&](SessionProperties& values) {
    values.on_packet = nullptr;
    if (callback == nullptr) return;
    values.on_packet = [user_data, callback](SharedPacket packet) {
      callback(user_data, Packets().Add(std::move(packet)));
    };
  });
}

void gsdk_session_properties_audio_set_tracks_ids(gsdk_properties* properties, std::uint32_t count,
                                                  const char* const* names) {
  ChangeProperties(properties, [&](SessionProperties& values) {
    std::vector<std::string> tracks;
    if (names != nullptr && count <= kMaxTracks) {
      for (std::uint32_t index = 0; index < count; ++index) {
        tracks.emplace_back(names[index] == nullptr ? "" : names[index]);
      }
    }
    values.tracks = std::move(tracks);
  });
}

}  // extern "C"
