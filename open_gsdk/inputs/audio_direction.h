// Which kind of sound device, and the name of the one that the system chooses.
#pragma once

namespace open_gsdk {

enum class AudioDirection {
  kOutput,  // plays; what it plays is recorded
  kInput,   // records
};

// Stands for whatever device the system uses by default, now and later.
inline constexpr char kDefaultDevice[] = "default";

}  // namespace open_gsdk
