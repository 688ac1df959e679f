// Clips that a test asks for and waits for, one after the other.
#pragma once

#include <filesystem>
#include <string>

#include "tests/e2e/service_run.h"

namespace e2e {

// Asks for a clip; returns the service's answer, null when none comes in time.
Json SaveClip(ServiceRun& run, const std::filesystem::path& file, const std::string& id);

// Asks until there is something to save: a session that has just begun may have no packet yet.
Json SaveFirstClip(ServiceRun& run, const std::filesystem::path& file, const std::string& id);

}  // namespace e2e
