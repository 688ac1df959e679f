// The part of the machine profile that comes from WMI.
#pragma once

#include "diagnostics/profile_tags.h"

namespace capture_service {

// The tags of the operating system, the processors and the video controllers. Empty when the
// process's COM security can't be set or WMI can't be reached; a query that fails leaves out its
// tags. Throws WindowsFailure when COM or the WMI locator can't be started, and _com_error with
// E_OUTOFMEMORY when there is no memory for a text. COM is started and ended within the call.
MachineProfile CollectWmiProfile();

}  // namespace capture_service
