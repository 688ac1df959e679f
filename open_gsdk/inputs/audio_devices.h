// The sound devices of the machine.
#pragma once

#include <string>
#include <vector>

#include "open_gsdk/inputs/audio_direction.h"

namespace open_gsdk {

struct AudioDevice {
  std::string id;    // UTF-8, the system's endpoint identifier
  std::string name;  // UTF-8, for people
  bool is_default;
};

// The devices that are switched on and plugged in. Empty when there are none or there is no sound
// system. Callable from any thread, whether or not it uses COM.
std::vector<AudioDevice> ListAudioDevices(AudioDirection direction);

}  // namespace open_gsdk
