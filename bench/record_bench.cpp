// Records a window with the open capture library for some seconds and leaves a clip of all of it.
//   record_bench TITLE FRAMES_A_SECOND QUALITY SECONDS CLIP
#include <windows.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "gsdk/gsdk_api.h"
#include "platform/deadline.h"
#include "platform/text_encoding.h"
#include "platform/window_handle.h"

namespace {

struct Recording {
  std::string title;
  std::uint32_t frame_rate = 0;
  std::uint32_t quality = 0;
  int seconds = 0;
  std::string clip;
};

// A call of the library on an error slot of its own.
template <typename Call>
void Expect(const char* what, const Call& call) {
  gsdk_error* error = nullptr;
  if (call(&error)) return;
  const std::string message = std::string(what) + ": " + gsdk_err_message(error);
  gsdk_err_free(error);
  throw std::runtime_error(message);
}

void OnPacket(void* recorder, gsdk_encoded_packet* packet) {
  gsdk_recorder_push_packet(static_cast<gsdk_recorder*>(recorder), packet);
  gsdk_encoded_packet_release(packet);
}

void OnError(void* /*user_data*/, gsdk_error* error) {
  std::fprintf(stderr, "record_bench: %s\n", gsdk_err_message(error));
  gsdk_err_free(error);
}

gsdk_properties* MakeProperties(const Recording& recording) {
  gsdk_properties* const properties = gsdk_session_properties_create();
  const std::uint32_t quality = recording.quality;
  gsdk_session_properties_video_set_ratecontrol(properties, kGsdkRateControl);
  gsdk_session_properties_video_set_min_quality(properties, quality, quality, quality);
  gsdk_session_properties_video_set_max_quality(properties, quality, quality, quality);
  gsdk_session_properties_video_set_framerate(properties, recording.frame_rate);
  gsdk_session_properties_connection_set_type(properties, kGsdkConnectionType);
  gsdk_session_properties_set_error_callback(properties, nullptr, OnError);
  return properties;
}

void Record(const Recording& recording) {
  const HWND window = FindWindowW(nullptr, platform::WideFromUtf8(recording.title).c_str());
  if (window == nullptr) throw std::runtime_error("there is no window " + recording.title);
  const std::string source = R"({"cursor": false, "window": {"hwnd": )" +
                             std::to_string(platform::WindowNumber(window)) + "}}";

  gsdk_properties* const properties = MakeProperties(recording);
  gsdk_recorder* const recorder = gsdk_recorder_create(properties);
  gsdk_recorder_set_duration(recorder, static_cast<std::uint32_t>(recording.seconds + 5) * 1000);
  gsdk_session_properties_connection_callback_set_callback(properties, recorder, OnPacket);
  gsdk_session* session = nullptr;
  Expect("session", [&](auto error) { return gsdk_session_create(&session, nullptr, error); });
  Expect("input",
         [&](auto error) { return gsdk_session_set_video_input(session, "window", error); });
  Expect("window", [&](auto error) {
    return gsdk_session_update_video_input(session, source.c_str(), error);
  });
  Expect("start", [&](auto error) { return gsdk_session_start(session, properties, error); });
  platform::SleepUntil(std::chrono::steady_clock::now() + std::chrono::seconds(recording.seconds));
  gsdk_session_destroy(session);
  const gsdk_dump_result result = gsdk_recorder_dump(recorder, recording.clip.c_str());
  gsdk_recorder_destroy(recorder);
  gsdk_session_properties_destroy(properties);
  if (result.status != kGsdkDumpSuccess) {
    throw std::runtime_error("no clip, status " + std::to_string(result.status));
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 6) {
    std::fputs("usage: record_bench TITLE FRAMES_A_SECOND QUALITY SECONDS CLIP\n", stderr);
    return 2;
  }
  gsdk_logging_set_callback(
      [](std::int32_t /*level*/, const char* text) { std::fprintf(stderr, "%s\n", text); });
  gsdk_logging_set_global_level(2);
  try {
    Record({arguments[1], static_cast<std::uint32_t>(std::stoul(arguments[2])),
            static_cast<std::uint32_t>(std::stoul(arguments[3])), std::stoi(arguments[4]),
            arguments[5]});
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "record_bench: %s\n", failure.what());
    return 1;
  }
  return 0;
}
