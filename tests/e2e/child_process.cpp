#include "tests/e2e/child_process.h"

#include <memory>
#include <stdexcept>

namespace e2e {
namespace {

using platform::OwnedHandle;

std::wstring Quoted(const std::wstring& argument) {
  const bool plain = !argument.empty() && argument.find(L' ') == std::wstring::npos;
  return plain ? argument : L"\"" + argument + L"\"";
}

std::wstring CommandLine(const ProgramStart& start) {
  std::wstring line = Quoted(start.program.wstring());
  for (const std::wstring& argument : start.arguments) line += L" " + Quoted(argument);
  return line;
}

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
    if (separator != std::wstring::npos)
      all[text.substr(0, separator)] = text.substr(separator + 1);
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

OwnedHandle NewJob() {
  OwnedHandle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits));
  return job;
}

}  // namespace

ChildProcess::ChildProcess(const ProgramStart& start) : job_(NewJob()) {
  std::wstring command = CommandLine(start);
  std::wstring environment = EnvironmentBlock(start.variables);
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION information = {};
  if (!CreateProcessW(start.program.c_str(), command.data(), nullptr, nullptr,
                      /*bInheritHandles=*/FALSE, CREATE_SUSPENDED | CREATE_UNICODE_ENVIRONMENT,
                      environment.data(), start.folder.empty() ? nullptr : start.folder.c_str(),
                      &startup, &information)) {
    throw std::runtime_error("CreateProcessW of " + start.program.string() + " failed with error " +
                             std::to_string(GetLastError()));
  }
  process_.reset(information.hProcess);
  id_ = information.dwProcessId;
  const OwnedHandle thread(information.hThread);
  AssignProcessToJobObject(job_.get(), process_.get());
  ResumeThread(thread.get());
}

std::optional<std::uint32_t> ChildProcess::WaitForExit(std::chrono::milliseconds limit) const {
  if (WaitForSingleObject(process_.get(), static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0) {
    return std::nullopt;
  }
  DWORD code = 0;
  GetExitCodeProcess(process_.get(), &code);
  return code;
}

}  // namespace e2e
