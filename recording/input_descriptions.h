// The JSON texts in which the capture library lists the inputs that it can capture and takes the
// chosen one back, and the sources of sound that a session records.
#pragma once

#include <array>
#include <cstdint>
#include <json11.hpp>
#include <optional>
#include <string>

#include "gsdk/capture_library.h"
#include "protocol/recorder_settings.h"
#include "recording/game_state.h"
#include "recording/session_state.h"

namespace capture_service {

// A list text of the library, given back to it once.
struct ListTextFreer {
  void operator()(char* text) const { Library().gsdk_input_properties_free(text); }
};
using ListText = std::unique_ptr<char, ListTextFreer>;

// Asks the library for the list of this kind; null with `error` filled on failure. The text itself
// may be null on success too.
bool ReadInputList(const char* kind, ListText& text, LibraryError& error);

// Parses a list text. A null text is an error, "null input". JSON null comes back on any error,
// and for a text that says null (then without an error text).
json11::Json ParseInputList(const char* text, std::string& parse_error);

// The value of the first monitor in the list with this rectangle. When there is none, says so in
// the log and takes the list's default.
json11::Json PickMonitor(const json11::Json& list, const ScreenRectangle& rectangle);

// The value of the first window in the list with this handle; none when it is not there.
std::optional<json11::Json> PickWindow(const json11::Json& list, std::int32_t window);

// One source of sound as a session start adds it.
struct AudioSource {
  const char* track_name;
  const char* kind;  // the library's word for the direction
  std::string RecorderSettings::*device;
  AudioInput slot;
};

inline constexpr std::array<AudioSource, kAudioInputs> kAudioSources = {{
    {"Game", "audio_output", &RecorderSettings::audio_game, kGameAudio},
    {"Chat", "audio_output", &RecorderSettings::audio_chat, kChatAudio},
    {"Mic", "audio_input", &RecorderSettings::audio_input, kMicAudio},
}};

}  // namespace capture_service
