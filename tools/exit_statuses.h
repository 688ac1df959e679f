// What the service's exit statuses mean, in words for the person at the console.
#pragma once

#include <cstdint>
#include <string>

namespace host_tools {

// One or two sentences: what the service says with this status, and what to do about it where
// something can be done. Every number has an answer.
std::string ExplainExitStatus(std::uint32_t status);

}  // namespace host_tools
