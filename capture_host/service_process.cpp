#include "capture_host/service_process.h"

#include "capture_host/command_line.h"
#include "capture_host/windows_error.h"
#include "platform/text_encoding.h"

namespace capture_host {
namespace {

using platform::OwnedHandle;
using platform::Utf8FromWide;

constexpr UINT kKilled = 1;

struct EnvironmentStringsFreer {
  void operator()(wchar_t* block) const { FreeEnvironmentStringsW(block); }
};

// The block that CreateProcessW takes: "NAME=value" texts, each with its zero, and one more zero.
std::wstring EnvironmentBlock(const std::map<std::wstring, std::wstring>& variables) {
  std::map<std::wstring, std::wstring> all;
  const std::unique_ptr<wchar_t, EnvironmentStringsFreer> own(GetEnvironmentStringsW());
  for (const wchar_t* entry = own.get(); entry != nullptr && *entry != L'\0';) {
    const std::wstring text = entry;
    // Names that begin with '=' hold the working directories of the drives.
    const std::size_t separator = text.find(L'=', 1);
    if (separator != std::wstring::npos) {
      all[text.substr(0, separator)] = text.substr(separator + 1);
    }
    entry += text.size() + 1;
  }
  for (const auto& [name, value] : variables) all[name] = value;

  std::wstring block;
  for (const auto& [name, value] : all) {
    block.append(name).append(L"=").append(value).push_back(L'\0');
  }
  block.push_back(L'\0');
  return block;
}

OwnedHandle MakeKillingJob() {
  OwnedHandle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  if (job && !SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits,
                                      sizeof(limits))) {
    job.reset();
  }
  return job;
}

std::string AdviceFor(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return "Look whether the program is where the path says.";
    case ERROR_BAD_EXE_FORMAT:
      return "Put the program for 64-bit Windows there.";
    case ERROR_ACCESS_DENIED:
      return "Look whether a virus scanner holds the program back.";
    default:
      return "Try again; if it fails again, restart the machine.";
  }
}

}  // namespace

std::unique_ptr<ServiceProcess> ServiceProcess::Start(const ProcessStart& start, Error& error) {
  std::unique_ptr<ServiceProcess> started(new ServiceProcess);
  const auto fail = [&](const std::string& call) -> std::unique_ptr<ServiceProcess> {
    const DWORD code = GetLastError();
    error = WindowsError(code, "Cannot start " + Utf8FromWide(start.program.wstring()), call,
                         AdviceFor(code));
    return nullptr;
  };
  started->job_ = MakeKillingJob();
  if (!started->job_) return fail("CreateJobObjectW");

  std::wstring command_line = QuotedArgument(start.program.wstring());
  for (const std::wstring& argument : start.arguments) {
    command_line += L" " + QuotedArgument(argument);
  }
  std::wstring environment = EnvironmentBlock(start.variables);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  // Suspended, so that it cannot run outside the job even for a moment.
  if (!CreateProcessW(start.program.c_str(), command_line.data(), nullptr, nullptr,
                      /*bInheritHandles=*/FALSE, CREATE_SUSPENDED | CREATE_UNICODE_ENVIRONMENT,
                      environment.data(), start.folder.empty() ? nullptr : start.folder.c_str(),
                      &startup, &process)) {
    return fail("CreateProcessW");
  }
  started->process_.reset(process.hProcess);
  started->id_ = process.dwProcessId;
  const OwnedHandle thread(process.hThread);
  if (!AssignProcessToJobObject(started->job_.get(), started->process_.get())) {
    auto failed = fail("AssignProcessToJobObject");
    TerminateProcess(started->process_.get(), kKilled);
    return failed;
  }
  ResumeThread(thread.get());
  return started;
}

std::optional<std::uint32_t> ServiceProcess::WaitForExit(std::chrono::milliseconds limit) const {
  if (WaitForSingleObject(process_.get(), static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0) {
    return std::nullopt;
  }
  DWORD status = 0;
  GetExitCodeProcess(process_.get(), &status);
  return status;
}

void ServiceProcess::Kill() { TerminateJobObject(job_.get(), kKilled); }

}  // namespace capture_host
