// What kind of machine the service runs on, for the tags of error reports.
#pragma once

#include <map>
#include <string>

namespace capture_service {

// Tag name to value (UTF-8), in ascending order of the names' bytes. A value may end in the zero
// character that the registry stores with a text; hand it on as zero-terminated text.
using MachineProfile = std::map<std::string, std::string>;

// Asks WMI, the registry and the system. Takes as long as WMI takes. A source that fails leaves its
// tags out or empty; only COM that cannot be started, on a thread of another apartment kind for
// example, is thrown as WindowsFailure. COM is started and ended within the call.
MachineProfile CollectMachineProfile();

// "On" if hardware-accelerated GPU scheduling is enabled, else "Off".
std::string QueryGpuScheduling();

}  // namespace capture_service
