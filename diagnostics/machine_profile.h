// What kind of machine the service runs on, for the tags of error reports.
#pragma once

#include <string>

#include "diagnostics/profile_tags.h"

namespace capture_service {

// Asks WMI, the registry and the system. Takes as long as WMI takes. A source that fails leaves its
// tags out or empty; only COM that cannot be started, on a thread of another apartment kind for
// example, is thrown as WindowsFailure. COM is started and ended within the call.
MachineProfile CollectMachineProfile();

// "On" if hardware-accelerated GPU scheduling is enabled, else "Off".
std::string QueryGpuScheduling();

}  // namespace capture_service
