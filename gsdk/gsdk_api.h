// The C interface of the capture library, `gsdk.dll`: what the service calls, and what a drop-in
// library or a test double has to export. Windows x64, C linkage.
//
// Every handle is opaque to the service. A call with an `error` parameter returns false on failure
// and leaves an error object there; the caller reads its code and message and frees it once.
//
// What is said here holds for every capture library, but for what follows the words "Open
// library:": that is a promise of the project's own library only, and the service does not rely on
// it.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

struct gsdk_session;
struct gsdk_properties;
struct gsdk_recorder;
struct gsdk_error;
struct gsdk_encoded_packet;
struct gsdk_audio_input;

// How a dump ended. Any other number is a failure too.
enum gsdk_dump_status : std::int32_t {
  kGsdkDumpSuccess = 0,
  kGsdkDumpEmpty = 2,           // the buffer held nothing to write
  kGsdkDumpCannotOpen = 3,      // the file can't be created
  kGsdkDumpBadAudioStream = 4,  // the file's format doesn't take the sound
  kGsdkDumpBadVideoStream = 5,  // the file's format doesn't take the picture
  kGsdkDumpCannotWrite = 6,     // the file couldn't be written to its end
  kGsdkDumpCannotRename = 7,    // the finished file couldn't be given its name
};

// The codes of error objects on which the service acts in a way of its own; there are more.
enum gsdk_error_code : std::int32_t {
  kGsdkErrorRestartable = 8,       // ended the connection: a new session may work
  kGsdkErrorNoEncoder = 15,        // session create or start: no valid encoder
  kGsdkErrorHopelessInput = 24,    // video input: trying again will not help
  kGsdkErrorHookInjectRetry = 28,  // ended the connection: the game could not be hooked this time
  kGsdkErrorAlsoRestartable = 29,  // ended the connection: as kGsdkErrorRestartable
  kGsdkErrorMonitorCapture = 31,   // ended the connection: the monitor can't be captured
};

// The one number that the service passes as rate-control mode, and the one as connection type.
// Open library: constant quality, and a callback that takes the packets.
inline constexpr std::uint32_t kGsdkRateControl = 3;
inline constexpr std::uint32_t kGsdkConnectionType = 4;

// What a dump of the replay buffer came to. The times have one unit, which the service divides by
// 1,000,000 for the host. Open library: they are nanoseconds.
struct gsdk_dump_result {
  std::int32_t status;  // a gsdk_dump_status
  std::int32_t reserved_4;
  std::int64_t duration;
  std::int64_t last_timestamp;  // of the last packet written
  std::int64_t reserved_24;
  std::int64_t audio_drop;
  std::int64_t video_drop;
  std::uint8_t captured_from_hdr;
  std::uint8_t reserved_49[7];
};

// May be called on any thread; `text` is valid during the call only. Open library: it is UTF-8.
using gsdk_log_callback = void (*)(std::int32_t level, const char* text);
// Called on a library thread when an error ends the connection. The callee frees `error`.
using gsdk_error_callback = void (*)(void* user_data, gsdk_error* error);
// Called on a library thread for every encoded packet. The callee releases `packet`.
using gsdk_packet_callback = void (*)(void* user_data, gsdk_encoded_packet* packet);

bool gsdk_session_start(gsdk_session* session, gsdk_properties* properties, gsdk_error** error);
bool gsdk_session_create(gsdk_session** session, void* reserved, gsdk_error** error);
void gsdk_session_destroy(gsdk_session* session);
// `type` is "monitor", "game" or "window".
bool gsdk_session_set_video_input(gsdk_session* session, const char* type, gsdk_error** error);
// `settings` is a JSON text that names the monitor, window or game.
// Open library: docs/open-gsdk.md has its members.
bool gsdk_session_update_video_input(gsdk_session* session, const char* settings,
                                     gsdk_error** error);
// `kind` is "audio_output" or "audio_input".
bool gsdk_session_add_audio_input(gsdk_session* session, const char* kind, gsdk_audio_input** input,
                                  gsdk_error** error);
gsdk_properties* gsdk_session_properties_create();
void gsdk_session_properties_audio_set_bitrate(gsdk_properties* properties, std::uint32_t bitrate);
void gsdk_session_properties_audio_set_samplerate(gsdk_properties* properties,
                                                  std::uint32_t samplerate);
void gsdk_session_properties_video_set_ratecontrol(gsdk_properties* properties, std::uint32_t mode);
// The service passes one number as all three qualities.
// Open library: those of I, P and B frames, in this order.
void gsdk_session_properties_video_set_min_quality(gsdk_properties* properties, std::uint32_t i,
                                                   std::uint32_t p, std::uint32_t b);
void gsdk_session_properties_video_set_max_quality(gsdk_properties* properties, std::uint32_t i,
                                                   std::uint32_t p, std::uint32_t b);
void gsdk_session_properties_video_set_framerate(gsdk_properties* properties, std::uint32_t fps);
void gsdk_session_properties_video_set_max_height(gsdk_properties* properties,
                                                  std::uint32_t pixels);
void gsdk_session_properties_video_set_max_width(gsdk_properties* properties, std::uint32_t pixels);
void gsdk_session_properties_connection_set_type(gsdk_properties* properties, std::uint32_t type);
void gsdk_session_properties_set_error_callback(gsdk_properties* properties, void* user_data,
                                                gsdk_error_callback callback);
void gsdk_session_properties_connection_callback_set_callback(gsdk_properties* properties,
                                                              void* user_data,
                                                              gsdk_packet_callback callback);
void gsdk_session_properties_destroy(gsdk_properties* properties);
// `settings` is a JSON text with "device_id" and "use_device_timing".
bool gsdk_session_update_audio_input_handle(gsdk_session* session, gsdk_audio_input* input,
                                            const char* settings, gsdk_error** error);
void gsdk_session_properties_audio_set_tracks_ids(gsdk_properties* properties, std::uint32_t count,
                                                  const char* const* names);
void gsdk_logging_set_callback(gsdk_log_callback callback);
void gsdk_logging_set_global_level(std::int32_t level);
void gsdk_recorder_set_duration(gsdk_recorder* recorder, std::uint32_t milliseconds);
gsdk_recorder* gsdk_recorder_create(gsdk_properties* properties);
void gsdk_recorder_destroy(gsdk_recorder* recorder);
// May run while packets are pushed into the same recorder. Open library: `path` is UTF-8.
gsdk_dump_result gsdk_recorder_dump(gsdk_recorder* recorder, const char* path);
void gsdk_recorder_push_packet(gsdk_recorder* recorder, gsdk_encoded_packet* packet);
// `kind` is "monitor", "window", "audio_output" or "audio_input"; `text` receives a JSON text that
// the caller gives back with gsdk_input_properties_free.
bool gsdk_input_properties(const char* kind, char** text, gsdk_error** error);
void gsdk_input_properties_free(char* text);
void gsdk_err_free(gsdk_error* error);
// Valid until the error object is freed.
const char* gsdk_err_message(gsdk_error* error);
std::int32_t gsdk_err_code(gsdk_error* error);
void gsdk_encoded_packet_release(gsdk_encoded_packet* packet);

}  // extern "C"

static_assert(sizeof(gsdk_dump_result) == 56);
static_assert(offsetof(gsdk_dump_result, duration) == 8);
static_assert(offsetof(gsdk_dump_result, last_timestamp) == 16);
static_assert(offsetof(gsdk_dump_result, audio_drop) == 32);
static_assert(offsetof(gsdk_dump_result, video_drop) == 40);
static_assert(offsetof(gsdk_dump_result, captured_from_hdr) == 48);

// All entry points, in the order in which they are bound.
#define GSDK_ENTRY_POINTS(X)                                  \
  X(gsdk_session_start)                                       \
  X(gsdk_session_create)                                      \
  X(gsdk_session_destroy)                                     \
  X(gsdk_session_set_video_input)                             \
  X(gsdk_session_update_video_input)                          \
  X(gsdk_session_add_audio_input)                             \
  X(gsdk_session_properties_create)                           \
  X(gsdk_session_properties_audio_set_bitrate)                \
  X(gsdk_session_properties_audio_set_samplerate)             \
  X(gsdk_session_properties_video_set_ratecontrol)            \
  X(gsdk_session_properties_video_set_min_quality)            \
  X(gsdk_session_properties_video_set_max_quality)            \
  X(gsdk_session_properties_video_set_framerate)              \
  X(gsdk_session_properties_video_set_max_height)             \
  X(gsdk_session_properties_video_set_max_width)              \
  X(gsdk_session_properties_connection_set_type)              \
  X(gsdk_session_properties_set_error_callback)               \
  X(gsdk_session_properties_connection_callback_set_callback) \
  X(gsdk_session_properties_destroy)                          \
  X(gsdk_session_update_audio_input_handle)                   \
  X(gsdk_session_properties_audio_set_tracks_ids)             \
  X(gsdk_logging_set_callback)                                \
  X(gsdk_logging_set_global_level)                            \
  X(gsdk_recorder_set_duration)                               \
  X(gsdk_recorder_create)                                     \
  X(gsdk_recorder_destroy)                                    \
  X(gsdk_recorder_dump)                                       \
  X(gsdk_recorder_push_packet)                                \
  X(gsdk_input_properties)                                    \
  X(gsdk_input_properties_free)                               \
  X(gsdk_err_free)                                            \
  X(gsdk_err_message)                                         \
  X(gsdk_err_code)                                            \
  X(gsdk_encoded_packet_release)
