#include "tools/report_command.h"

#include <array>
#include <ctime>
#include <fstream>
#include <optional>
#include <sstream>
#include <utility>

#include "diagnostics/report_folder.h"
#include "platform/files.h"
#include "platform/text_encoding.h"
#include "tools/host_session.h"
#include "tools/zip_file.h"

namespace host_tools {
namespace {

using platform::Utf8FromWide;

std::optional<std::string> ReadFile(const std::filesystem::path& path) {
  const std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

std::optional<std::string> ReadLocalReports() {
  const auto folder = platform::CommonAppDataFolder();
  if (!folder) return std::nullopt;
  return ReadFile(std::filesystem::path(*folder) / capture_service::kReportFolder /
                  L"journal.jsonl");
}

[[noreturn]] void FailForJournal(const std::filesystem::path& journal) {
  throw CommandFailure("Cannot read the journal " + Utf8FromWide(journal.wstring()) +
                       ". Look at its path.");
}

std::string TimeText() {
  const std::time_t now = std::time(nullptr);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", std::gmtime(&now));
  return text.data();
}

std::string About(bool has_journal, bool has_reports) {
  return "A report for support, made by host_console " PROJECT_VERSION " on " + TimeText() +
         ".\n\n"
         "doctor.txt             what host_console doctor says about the installation\n"
         "doctor.json            the same for programs\n" +
         (has_journal
              ? "journal.jsonl          every message between host and service, with its time\n"
              : "There is no journal: it is packed when it is named with --journal.\n") +
         (has_reports ? "reports/journal.jsonl  what the local sentry.dll wrote down\n"
                      : "The local sentry.dll has written nothing down on this machine.\n") +
         "\n" + kSupportReportAdvice + "\n";
}

}  // namespace

void CheckSupportReport(const SupportReport& report) {
  const std::string zip = Utf8FromWide(report.zip.wstring());
  if (std::filesystem::exists(report.zip)) {
    throw CommandFailure("There is a " + zip + " already. Name a new file.");
  }
  if (!std::filesystem::is_directory(report.zip.parent_path())) {
    throw CommandFailure("There is no folder for " + zip + ". Create it first, or name another.");
  }
  if (!report.journal.empty() && !std::filesystem::is_regular_file(report.journal)) {
    FailForJournal(report.journal);
  }
}

std::vector<std::string> WriteSupportReport(const SupportReport& report) {
  std::optional<std::string> journal;
  if (!report.journal.empty()) {
    journal = ReadFile(report.journal);
    if (!journal) FailForJournal(report.journal);
  }
  std::optional<std::string> reports = ReadLocalReports();

  std::vector<ZipMember> members;
  members.push_back({"about.txt", About(journal.has_value(), reports.has_value())});
  members.push_back({"doctor.txt", DescribeFindings(report.findings, false) + "\n"});
  members.push_back({"doctor.json", FindingsJson(report.findings) + "\n"});
  if (journal) members.push_back({"journal.jsonl", std::move(*journal)});
  if (reports) members.push_back({"reports/journal.jsonl", std::move(*reports)});
  WriteZip(report.zip, members);

  std::vector<std::string> names;
  names.reserve(members.size());
  for (const ZipMember& member : members) names.push_back(member.name);
  return names;
}

}  // namespace host_tools
