// What the service's exit statuses mean, for hosts and for the people in front of them.
#pragma once

#include <cstdint>
#include <string>

namespace capture_host {

struct ExitMeaning {
  std::string name = {};       // of the failure in the table of failures; empty for other statuses
  std::string what = {};       // what happened, one sentence
  std::string advice = {};     // what to do, one sentence; empty when there is nothing to do
  bool worth_restart = false;  // whether the same start can go better in a while
};

// Every number has a meaning, if only that it has none of its own. Any thread.
ExitMeaning ExplainExitStatus(std::uint32_t status);

// The status with what happened and what to do, as sentences for people.
std::string DescribeExit(std::uint32_t status);

}  // namespace capture_host
