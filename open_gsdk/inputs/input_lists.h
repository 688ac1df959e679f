// The lists of inputs that gsdk_input_properties gives, as JSON texts. Their shapes are described
// in docs/open-gsdk.md.
#pragma once

#include <string>

namespace open_gsdk {

// `kind` is "monitor", "window", "audio_output" or "audio_input"; throws Failure with
// kInvalidArgument for any other.
std::string InputListText(const std::string& kind);

}  // namespace open_gsdk
