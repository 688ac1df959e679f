// A capture library that records nothing: it logs every call and does what a script says. See
// gsdk_double_script.h for the script and gsdk_double_log.h for the log.
#include <windows.h>

#include <fstream>
#include <utility>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "tests/doubles/gsdk_double_log.h"
#include "tests/doubles/gsdk_double_objects.h"
#include "tests/doubles/gsdk_double_script.h"
#include "tests/doubles/gsdk_double_session.h"

using namespace gsdk_double;

namespace {

json11::Json TextOrNull(const char* text) {
  return text == nullptr ? json11::Json() : json11::Json(text);
}

json11::Json Number(std::uint32_t number) { return static_cast<double>(number); }

void LogCall(const char* name, json11::Json::array arguments, json11::Json::object more = {}) {
  more["call"] = name;
  more["args"] = std::move(arguments);
  WriteLine(std::move(more));
}

// A call without a result that can fail.
void PlainCall(const char* name, json11::Json::array arguments) {
  LogCall(name, std::move(arguments));
  const CallRule rule = NextRule(name);
  Delay(rule.json);
}

// A call that reports failure through `error`. On success `make` gives the name of what the call
// hands out, or an empty text.
template <typename Make>
bool FallibleCall(const char* name, json11::Json::array arguments, gsdk_error** error, Make make) {
  const CallRule rule = NextRule(name);
  const bool fails = rule.Fails();
  json11::Json::object more = {{"result", !fails}};
  if (!fails) {
    const std::string out = make();
    if (!out.empty()) more["out"] = out;
  } else {
    gsdk_error* made = nullptr;
    if (!rule.json["error_object"].is_bool() || rule.json["error_object"].bool_value()) {
      const json11::Json& message = rule.json["message"];
      made = NewError(rule.json["code"].int_value(),
                      message.is_string() ? std::optional(message.string_value()) : std::nullopt);
    }
    if (error != nullptr) *error = made;
    more["error"] = NameOf(made);
  }
  LogCall(name, std::move(arguments), std::move(more));
  Delay(rule.json);
  return !fails;
}

bool FallibleCall(const char* name, json11::Json::array arguments, gsdk_error** error) {
  return FallibleCall(name, std::move(arguments), error, [] { return std::string(); });
}

}  // namespace

bool gsdk_session_create(gsdk_session** session, void* reserved, gsdk_error** error) {
  return FallibleCall(__func__, {NameOf(*session), NameOf(reserved)}, error, [&] {
    *session = NewSession();
    return NameOf(*session);
  });
}

bool gsdk_session_start(gsdk_session* session, gsdk_properties* properties, gsdk_error** error) {
  const json11::Json::array arguments = {NameOf(session), NameOf(properties)};
  Live(session, __func__);
  Live(properties, __func__);
  const bool started = FallibleCall(__func__, arguments, error);
  if (started && session != nullptr && properties != nullptr) {
    session->threads = new SessionThreads(NextSession(), *properties);
  }
  return started;
}

void gsdk_session_destroy(gsdk_session* session) {
  PlainCall(__func__, {NameOf(session)});
  if (!GiveBack(session, __func__)) return;
  delete static_cast<SessionThreads*>(session->threads);
  session->threads = nullptr;
}

bool gsdk_session_set_video_input(gsdk_session* session, const char* type, gsdk_error** error) {
  Live(session, __func__);
  return FallibleCall(__func__, {NameOf(session), TextOrNull(type)}, error);
}

bool gsdk_session_update_video_input(gsdk_session* session, const char* settings,
                                     gsdk_error** error) {
  Live(session, __func__);
  return FallibleCall(__func__, {NameOf(session), TextOrNull(settings)}, error);
}

bool gsdk_session_add_audio_input(gsdk_session* session, const char* kind, gsdk_audio_input** input,
                                  gsdk_error** error) {
  Live(session, __func__);
  return FallibleCall(__func__, {NameOf(session), TextOrNull(kind), NameOf(*input)}, error, [&] {
    *input = NewAudioInput();
    return NameOf(*input);
  });
}

bool gsdk_session_update_audio_input_handle(gsdk_session* session, gsdk_audio_input* input,
                                            const char* settings, gsdk_error** error) {
  Live(session, __func__);
  Live(input, __func__);
  return FallibleCall(__func__, {NameOf(session), NameOf(input), TextOrNull(settings)}, error);
}

gsdk_properties* gsdk_session_properties_create() {
  gsdk_properties* properties = NewProperties();
  LogCall(__func__, {}, {{"out", NameOf(properties)}});
  return properties;
}

void gsdk_session_properties_audio_set_bitrate(gsdk_properties* properties, std::uint32_t bitrate) {
  Live(properties, __func__);
  PlainCall(__func__, {NameOf(properties), Number(bitrate)});
}

void gsdk_session_properties_audio_set_samplerate(gsdk_properties* properties,
                                                  std::uint32_t samplerate) {
  Live(properties, __func__);
  PlainCall(__func__, {NameOf(properties), Number(samplerate)});
}

void gsdk_session_properties_video_set_ratecontrol(gsdk_properties* properties,
                                                   std::uint32_t mode) {
  Live(properties, __func__);
  PlainCall(__func__, {NameOf(properties), Number(mode)});
}

void gsdk_session_properties_video_set_min_quality(gsdk_properties* properties, std::uint32_t i,
                                                   std::uint32_t p, std::uint32_t b) {
  Live(properties, __func__);
  PlainCall(__func__, {NameOf(properties), Number(i), Number(p), Number(b)});
}

void gsdk_session_properties_video_set_max_quality(gsdk_properties* properties, std::uint32_t i,
                                                   std::uint32_t p, std::uint32_t b) {
  Live(properties, __func__);
  PlainCall(__func__, {NameOf(properties), Number(i), Number(p), Number(b)});
}

void gsdk_session_properties_video_set_framerate(gsdk_properties* properties, std::uint32_t fps) {
  Live(properties, __func__);
  PlainCall(__func__, {NameOf(properties), Number(fps)});
}

void gsdk_session_properties_video_set_max_height(gsdk_properties* properties,
                                                  std::uint32_t pixels) {
  Live(properties, __func__);
  PlainCall(__func__, {NameOf(properties), Number(pixels)});
}

void gsdk_session_properties_video_set_max_width(gsdk_properties* properties,
                                                 std::uint32_t pixels) {
  Live(properties, __func__);
  PlainCall(__func__, {NameOf(properties), Number(pixels)});
}

void gsdk_session_properties_connection_set_type(gsdk_properties* properties, std::uint32_t type) {
  Live(properties, __func__);
  PlainCall(__func__, {NameOf(properties), Number(type)});
}

void gsdk_session_properties_set_error_callback(gsdk_properties* properties, void* user_data,
                                                gsdk_error_callback callback) {
  PlainCall(__func__,
            {NameOf(properties), NameOf(user_data), callback != nullptr ? "callback" : "null"});
  if (Live(properties, __func__) == nullptr) return;
  properties->error_callback = callback;
  properties->error_user_data = user_data;
}

void gsdk_session_properties_connection_callback_set_callback(gsdk_properties* properties,
                                                              void* user_data,
                                                              gsdk_packet_callback callback) {
  PlainCall(__func__,
            {NameOf(properties), NameOf(user_data), callback != nullptr ? "callback" : "null"});
  if (Live(properties, __func__) == nullptr) return;
  properties->packet_callback = callback;
  properties->packet_user_data = user_data;
}

void gsdk_session_properties_destroy(gsdk_properties* properties) {
  PlainCall(__func__, {NameOf(properties)});
  GiveBack(properties, __func__);
}

void gsdk_session_properties_audio_set_tracks_ids(gsdk_properties* properties, std::uint32_t count,
                                                  const char* const* names) {
  Live(properties, __func__);
  json11::Json::array tracks;
  for (std::uint32_t i = 0; i < count; ++i) tracks.push_back(TextOrNull(names[i]));
  PlainCall(__func__, {NameOf(properties), Number(count), tracks});
}

void gsdk_logging_set_callback(gsdk_log_callback callback) {
  SetLogCallback(callback);
  PlainCall(__func__, {callback != nullptr ? "callback" : "null"});
}

void gsdk_logging_set_global_level(std::int32_t level) { PlainCall(__func__, {level}); }

void gsdk_recorder_set_duration(gsdk_recorder* recorder, std::uint32_t milliseconds) {
  Live(recorder, __func__);
  PlainCall(__func__, {NameOf(recorder), Number(milliseconds)});
}

gsdk_recorder* gsdk_recorder_create(gsdk_properties* properties) {
  const json11::Json::array arguments = {NameOf(properties)};
  Live(properties, __func__);
  gsdk_recorder* recorder = NewRecorder();
  LogCall(__func__, arguments, {{"out", NameOf(recorder)}});
  return recorder;
}

void gsdk_recorder_destroy(gsdk_recorder* recorder) {
  PlainCall(__func__, {NameOf(recorder)});
  GiveBack(recorder, __func__);
}

gsdk_dump_result gsdk_recorder_dump(gsdk_recorder* recorder, const char* path) {
  const json11::Json dump = NextDump();
  LogCall(__func__, {NameOf(recorder), TextOrNull(path)});
  Live(recorder, __func__);
  Delay(dump);
  if (dump["write"].is_string() && path != nullptr) {
    const std::string_view name = path;
    std::ofstream file(std::filesystem::path(std::u8string(name.begin(), name.end())),
                       std::ios::binary);
    file << dump["write"].string_value();
  }
  gsdk_dump_result result = {};
  result.status = dump["status"].int_value();
  result.reserved_4 = -1;
  result.duration = ReadInt64(dump["duration"]);
  result.last_timestamp = ReadInt64(dump["last_timestamp"]);
  result.reserved_24 = -1;
  result.audio_drop = ReadInt64(dump["audio_drop"]);
  result.video_drop = ReadInt64(dump["video_drop"]);
  result.captured_from_hdr = static_cast<std::uint8_t>(dump["hdr"].int_value());
  for (std::uint8_t& unread : result.reserved_49) unread = 0xFF;
  WriteLine({{"return", __func__}});
  return result;
}

void gsdk_recorder_push_packet(gsdk_recorder* recorder, gsdk_encoded_packet* packet) {
  if (packet != nullptr && packet->logged) LogCall(__func__, {NameOf(recorder), NameOf(packet)});
  if (recorder == nullptr || !recorder->alive) LogMisuse(__func__, NameOf(recorder));
  if (packet == nullptr || !packet->alive) LogMisuse(__func__, NameOf(packet));
  if (recorder != nullptr) ++recorder->packets;
}

void gsdk_encoded_packet_release(gsdk_encoded_packet* packet) {
  if (packet != nullptr && packet->logged) LogCall(__func__, {NameOf(packet)});
  GiveBackPacket(packet);
}

bool gsdk_input_properties(const char* kind, char** text, gsdk_error** error) {
  return FallibleCall(__func__, {TextOrNull(kind)}, error, [&] {
    const std::optional<std::string> list = NextList(kind == nullptr ? "" : kind);
    *text = list ? NewText(*list) : nullptr;
    return NameOf(*text);
  });
}

void gsdk_input_properties_free(char* text) {
  LogCall(__func__, {NameOf(text)});
  GiveBackText(text, __func__);
}

void gsdk_err_free(gsdk_error* error) {
  LogCall(__func__, {NameOf(error)});
  GiveBack(error, __func__);
}

const char* gsdk_err_message(gsdk_error* error) {
  LogCall(__func__, {NameOf(error)});
  if (Live(error, __func__) == nullptr || !error->message) return nullptr;
  return error->message->c_str();
}

std::int32_t gsdk_err_code(gsdk_error* error) {
  LogCall(__func__, {NameOf(error)});
  return Live(error, __func__) == nullptr ? 0 : error->code;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* reserved) {
  if (reason == DLL_PROCESS_ATTACH) {
    OpenLog();
    WriteLine({{"attach", true}});
  } else if (reason == DLL_PROCESS_DETACH) {
    if (reserved == nullptr) RunUnloadSteps();
    WriteAccountAndDetach(reserved == nullptr ? "free_library" : "process_end");
    CloseLog();
  }
  return TRUE;
}
