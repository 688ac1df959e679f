#include "tools/finding.h"

#include <algorithm>
#include <json11.hpp>

namespace host_tools {
namespace {

const char* Name(Finding::Kind kind) {
  switch (kind) {
    case Finding::Kind::kOk:
      return "ok";
    case Finding::Kind::kNote:
      return "note";
    case Finding::Kind::kProblem:
      break;
  }
  return "problem";
}

std::ptrdiff_t CountProblems(const std::vector<Finding>& findings) {
  return std::count_if(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.kind == Finding::Kind::kProblem;
  });
}

}  // namespace

std::string DescribeFindings(const std::vector<Finding>& findings, bool colored) {
  std::string text;
  for (const Finding& finding : findings) {
    const bool red = colored && finding.kind == Finding::Kind::kProblem;
    std::string name = Name(finding.kind);
    name.resize(9, ' ');
    text += (red ? "\x1B[31m" : "") + name + finding.subject + ": " + finding.text;
    if (!finding.advice.empty()) text += " " + finding.advice;
    text += red ? "\x1B[0m\n" : "\n";
  }
  const std::ptrdiff_t problems = CountProblems(findings);
  if (problems == 0) return text + "All is well.";
  return text + std::to_string(problems) + (problems == 1 ? " problem." : " problems.");
}

std::string FindingsJson(const std::vector<Finding>& findings) {
  json11::Json::array list;
  for (const Finding& finding : findings) {
    list.push_back(json11::Json::object{{"kind", Name(finding.kind)},
                                        {"subject", finding.subject},
                                        {"text", finding.text},
                                        {"advice", finding.advice}});
  }
  return json11::Json(json11::Json::object{{"well", AllWell(findings)}, {"findings", list}}).dump();
}

bool AllWell(const std::vector<Finding>& findings) { return CountProblems(findings) == 0; }

}  // namespace host_tools
