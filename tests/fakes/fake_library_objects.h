// What the opaque handles of the capture library's interface are in the fake library.
#pragma once

#include <cstdint>
#include <string>

#include "gsdk/gsdk_api.h"

struct gsdk_session {};
struct gsdk_properties {};
struct gsdk_recorder {};
struct gsdk_audio_input {};
struct gsdk_encoded_packet {};
struct gsdk_error {
  std::int32_t code;
  std::string message;
};
