// The functions of the fake library.
#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "diagnostics/logging.h"
#include "recording/connection_errors.h"
#include "recording/packet_watchdog.h"
#include "recording/session_state.h"
#include "tests/fakes/fake_library.h"
#include "tests/fakes/fake_library_objects.h"
#include "tests/fakes/transcript.h"

namespace core_test {
namespace {

std::string SlotName(gsdk_audio_input** slot) {
  constexpr std::array kNames = {"game slot", "chat slot", "mic slot"};
  auto& slots = capture_service::Session().audio_inputs;
  for (std::size_t i = 0; i < slots.size(); ++i) {
    if (slot == &slots.at(i).handle) return kNames.at(i);
  }
  return "unknown slot";
}

template <typename Function>
std::string CallbackName(Function given, std::type_identity_t<Function> expected,
                         const char* name) {
  return given == expected ? name : "unknown callback";
}

template <typename... Texts>
std::string Join(const std::string& first, const Texts&... more) {
  std::string joined = first;
  ((joined += ", " + std::string(more)), ...);
  return joined;
}

}  // namespace

// Reaches into the fake; its members are the library's functions.
struct FakeLibraryTable {
  static std::string NameOf(const void* object) { return Fake().NameOf(object); }

  // A call that tells of failure through `error`.
  static bool Try(const std::string& function, const std::string& arguments, gsdk_error** error,
                  const std::string& result = "true") {
    gsdk_error* const failure = Fake().Call(function, arguments, result);
    if (failure == nullptr) return true;
    *error = failure;
    return false;
  }

  template <typename... Texts>
  static void Set(const char* function, gsdk_properties* properties, const Texts&... values) {
    Fake().Call(function, Join(NameOf(properties), std::to_string(values)...));
  }

  template <typename Object>
  static void Destroy(const char* function, Object* object) {
    Fake().Call(function, NameOf(object));
    Fake().Remove(object);
    delete object;
  }

  template <typename Object>
  static Object* Make(const char* function, const std::string& arguments, const char* kind) {
    Fake().Call(function, arguments, Fake().NextName(kind));
    auto* const object = new Object;
    Fake().Add(object, kind);
    return object;
  }

  static void FillSession(capture_service::CaptureLibrary& table);
  static void FillProperties(capture_service::CaptureLibrary& table);
  static void FillRecorder(capture_service::CaptureLibrary& table);
  static void FillRest(capture_service::CaptureLibrary& table);
};

void FakeLibraryTable::FillSession(capture_service::CaptureLibrary& table) {
  table.gsdk_session_create = [](gsdk_session** session, void* reserved, gsdk_error** error) {
    if (!Try("gsdk_session_create", NameOf(reserved), error, Fake().NextName("session"))) {
      return false;
    }
    *session = new gsdk_session;
    Fake().Add(*session, "session");
    return true;
  };
  table.gsdk_session_start = [](gsdk_session* session, gsdk_properties* properties,
                                gsdk_error** error) {
    return Try("gsdk_session_start", Join(NameOf(session), NameOf(properties)), error);
  };
  table.gsdk_session_destroy = [](gsdk_session* session) {
    Destroy("gsdk_session_destroy", session);
  };
  table.gsdk_session_set_video_input = [](gsdk_session* session, const char* type,
                                          gsdk_error** error) {
    return Try("gsdk_session_set_video_input", Join(NameOf(session), Quoted(type)), error);
  };
  table.gsdk_session_update_video_input = [](gsdk_session* session, const char* settings,
                                             gsdk_error** error) {
    return Try("gsdk_session_update_video_input", Join(NameOf(session), Quoted(settings)), error);
  };
  table.gsdk_session_add_audio_input = [](gsdk_session* session, const char* kind,
                                          gsdk_audio_input** input, gsdk_error** error) {
    // Audio inputs belong to their session; they are destroyed with the process.
    static gsdk_audio_input inputs[64];
    const std::string name = Fake().NextName("input");
    const std::string arguments = Join(NameOf(session), Quoted(kind), SlotName(input));
    if (!Try("gsdk_session_add_audio_input", arguments, error, name)) return false;
    *input = &inputs[std::stoul(name.substr(std::strlen("input")))];
    Fake().Add(*input, "input");
    return true;
  };
  table.gsdk_session_update_audio_input_handle = [](gsdk_session* session, gsdk_audio_input* input,
                                                    const char* settings, gsdk_error** error) {
    return Try("gsdk_session_update_audio_input_handle",
               Join(NameOf(session), NameOf(input), Quoted(settings)), error);
  };
}

void FakeLibraryTable::FillProperties(capture_service::CaptureLibrary& table) {
  using Number = std::uint32_t;
  table.gsdk_session_properties_create = [] {
    return Make<gsdk_properties>("gsdk_session_properties_create", "", "properties");
  };
  table.gsdk_session_properties_destroy = [](gsdk_properties* properties) {
    Destroy("gsdk_session_properties_destroy", properties);
  };
  table.gsdk_session_properties_audio_set_bitrate = [](gsdk_properties* properties, Number value) {
    Set("gsdk_session_properties_audio_set_bitrate", properties, value);
  };
  table.gsdk_session_properties_audio_set_samplerate = [](gsdk_properties* properties,
                                                          Number value) {
    Set("gsdk_session_properties_audio_set_samplerate", properties, value);
  };
  table.gsdk_session_properties_video_set_ratecontrol = [](gsdk_properties* properties,
                                                           Number value) {
    Set("gsdk_session_properties_video_set_ratecontrol", properties, value);
  };
  table.gsdk_session_properties_video_set_min_quality = [](gsdk_properties* properties, Number i,
                                                           Number p, Number b) {
    Set("gsdk_session_properties_video_set_min_quality", properties, i, p, b);
  };
  table.gsdk_session_properties_video_set_max_quality = [](gsdk_properties* properties, Number i,
                                                           Number p, Number b) {
    Set("gsdk_session_properties_video_set_max_quality", properties, i, p, b);
  };
  table.gsdk_session_properties_video_set_framerate = [](gsdk_properties* properties,
                                                         Number value) {
    Set("gsdk_session_properties_video_set_framerate", properties, value);
  };
  table.gsdk_session_properties_video_set_max_height = [](gsdk_properties* properties,
                                                          Number value) {
    Set("gsdk_session_properties_video_set_max_height", properties, value);
  };
  table.gsdk_session_properties_video_set_max_width = [](gsdk_properties* properties,
                                                         Number value) {
    Set("gsdk_session_properties_video_set_max_width", properties, value);
  };
  table.gsdk_session_properties_connection_set_type = [](gsdk_properties* properties,
                                                         Number value) {
    Set("gsdk_session_properties_connection_set_type", properties, value);
  };
  table.gsdk_session_properties_audio_set_tracks_ids = [](gsdk_properties* properties, Number count,
                                                          const char* const* names) {
    std::string arguments = Join(NameOf(properties), std::to_string(count));
    for (Number i = 0; i < count; ++i) arguments += ", " + Quoted(names[i]);
    Fake().Call("gsdk_session_properties_audio_set_tracks_ids", arguments);
  };
  table.gsdk_session_properties_set_error_callback =
      [](gsdk_properties* properties, void* user_data, gsdk_error_callback callback) {
        Fake().Call(
            "gsdk_session_properties_set_error_callback",
            Join(NameOf(properties), NameOf(user_data),
                 CallbackName(callback, &capture_service::OnConnectionError, "OnConnectionError")));
        const std::lock_guard lock(Fake().mutex_);
        Fake().callbacks_.error = callback;
      };
  table.gsdk_session_properties_connection_callback_set_callback =
      [](gsdk_properties* properties, void* user_data, gsdk_packet_callback callback) {
        Fake().Call(
            "gsdk_session_properties_connection_callback_set_callback",
            Join(NameOf(properties), NameOf(user_data),
                 CallbackName(callback, &capture_service::OnEncodedPacket, "OnEncodedPacket")));
        const std::lock_guard lock(Fake().mutex_);
        Fake().callbacks_.packet = callback;
        Fake().callbacks_.packet_user_data = user_data;
      };
}

void FakeLibraryTable::FillRecorder(capture_service::CaptureLibrary& table) {
  table.gsdk_recorder_create = [](gsdk_properties* properties) {
    return Make<gsdk_recorder>("gsdk_recorder_create", NameOf(properties), "recorder");
  };
  table.gsdk_recorder_destroy = [](gsdk_recorder* recorder) {
    Destroy("gsdk_recorder_destroy", recorder);
  };
  table.gsdk_recorder_set_duration = [](gsdk_recorder* recorder, std::uint32_t milliseconds) {
    Fake().Call("gsdk_recorder_set_duration", Join(NameOf(recorder), std::to_string(milliseconds)));
  };
  table.gsdk_recorder_dump = [](gsdk_recorder* recorder, const char* path) {
    Fake().Call("gsdk_recorder_dump", Join(NameOf(recorder), Quoted(path)));
    const std::lock_guard lock(Fake().mutex_);
    return Fake().dump_result_;
  };
  table.gsdk_recorder_push_packet = [](gsdk_recorder* recorder, gsdk_encoded_packet* /*packet*/) {
    ++Fake().pushed_packets_;
    if (Fake().record_packets_) {
      Fake().Call("gsdk_recorder_push_packet", Join(NameOf(recorder), "packet"));
    }
  };
  table.gsdk_encoded_packet_release = [](gsdk_encoded_packet* packet) {
    if (Fake().record_packets_) Fake().Call("gsdk_encoded_packet_release", "packet");
    --Fake().live_packets_;
    delete packet;
  };
}

void FakeLibraryTable::FillRest(capture_service::CaptureLibrary& table) {
  table.gsdk_logging_set_callback = [](gsdk_log_callback callback) {
    Fake().Call(
        "gsdk_logging_set_callback",
        CallbackName(callback, &capture_service::OnCaptureLibraryLog, "OnCaptureLibraryLog"));
  };
  table.gsdk_logging_set_global_level = [](std::int32_t level) {
    Fake().Call("gsdk_logging_set_global_level", std::to_string(level));
  };
  table.gsdk_input_properties = [](const char* kind, char** text, gsdk_error** error) {
    const std::optional<std::string> list = Fake().List(kind);
    const std::string name = list ? Fake().NextName("text") : "null";
    if (!Try("gsdk_input_properties", Quoted(kind), error, name)) return false;
    *text = nullptr;
    if (list) {
      *text = new char[list->size() + 1];
      std::memcpy(*text, list->c_str(), list->size() + 1);
      Fake().Add(*text, "text");
    }
    return true;
  };
  table.gsdk_input_properties_free = [](char* text) {
    Fake().Call("gsdk_input_properties_free", NameOf(text));
    Fake().Remove(text);
    delete[] text;
  };
  table.gsdk_err_free = [](gsdk_error* error) { Destroy("gsdk_err_free", error); };
  table.gsdk_err_message = [](gsdk_error* error) {
    Fake().Call("gsdk_err_message", NameOf(error));
    return error->message.c_str();
  };
  table.gsdk_err_code = [](gsdk_error* error) {
    Fake().Call("gsdk_err_code", NameOf(error));
    return error->code;
  };
}

std::unique_ptr<capture_service::CaptureLibrary> FakeLibrary::MakeTable(
    std::shared_ptr<void> module) {
  auto table = std::make_unique<capture_service::CaptureLibrary>();
  table->module = std::move(module);
  FakeLibraryTable::FillSession(*table);
  FakeLibraryTable::FillProperties(*table);
  FakeLibraryTable::FillRecorder(*table);
  FakeLibraryTable::FillRest(*table);
  return table;
}

}  // namespace core_test
