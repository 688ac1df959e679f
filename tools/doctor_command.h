// The `doctor` command: looks over an installation of the service and says what is wrong with it.
#pragma once

#include <vector>

#include "capture_host/service.h"
#include "tools/finding.h"
#include "tools/transcript.h"

namespace host_tools {

// Looks for the service's files, loads and binds the capture library in this process, lists what it
// can record, and has the service record the primary monitor for a moment. A library that cannot be
// used is not recorded with. Shows progress; takes some seconds.
std::vector<Finding> ExamineInstallation(const capture_host::ServiceLaunch& launch,
                                         Transcript& transcript);

}  // namespace host_tools
