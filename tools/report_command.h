// The `report` command: one ZIP with what support needs to look into a problem.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/finding.h"

namespace host_tools {

struct SupportReport {
  std::filesystem::path zip;           // must not exist yet
  std::filesystem::path journal = {};  // that --journal wrote; empty: none
  std::vector<Finding> findings = {};  // the doctor's
};

// For whoever has made a report.
inline constexpr char kSupportReportAdvice[] =
    "Look through it before you pass it on: it names windows, devices, folders and people.";

// Throws CommandFailure when the ZIP exists already, has no folder, or the journal is not there: to
// be asked before the findings are made, which takes its time.
void CheckSupportReport(const SupportReport& report);

// Writes the ZIP and returns the names of its members, in their order:
//   about.txt              what made it, when, and what the members are
//   doctor.txt, .json      the findings, for people and for programs
//   journal.jsonl          the journal, when one is named
//   reports/journal.jsonl  what the project's own sentry.dll wrote on this machine, if it has; what
//                          the SDK's keeps is left out, since that holds parts of a process's
//                          memory
// Throws std::runtime_error with a sentence for people when the journal cannot be read or the ZIP
// not be written.
std::vector<std::string> WriteSupportReport(const SupportReport& report);

}  // namespace host_tools
