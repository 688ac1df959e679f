// The tags in which error reports describe a machine.
#pragma once

#include <map>
#include <string>

namespace capture_service {

// Tag name to value (UTF-8), in ascending order of the names' bytes. A value may end in the zero
// character that the registry stores with a text; hand it on as zero-terminated text.
using MachineProfile = std::map<std::string, std::string>;

}  // namespace capture_service
