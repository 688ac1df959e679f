// What an examination found, one line for each thing that was looked at.
#pragma once

#include <string>
#include <vector>

namespace host_tools {

struct Finding {
  enum class Kind { kOk, kNote, kProblem };
  Kind kind = Kind::kOk;
  std::string subject;  // what was looked at
  std::string text;     // what was seen
  std::string advice;   // what to do about a problem; a sentence
};

// The findings as lines for people, the verdict last. `colored` marks problems for terminals.
std::string DescribeFindings(const std::vector<Finding>& findings, bool colored);

// {"well": ..., "findings": [{"kind", "subject", "text", "advice"}, ...]}
std::string FindingsJson(const std::vector<Finding>& findings);

// Whether none of them is a problem.
bool AllWell(const std::vector<Finding>& findings);

}  // namespace host_tools
