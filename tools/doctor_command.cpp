#include "tools/doctor_command.h"

#include <windows.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <json11.hpp>
#include <optional>
#include <string>
#include <utility>

#include "capture_host/windows_error.h"
#include "diagnostics/file_version.h"
#include "gsdk/capture_library.h"
#include "gsdk/capture_library_loader.h"
#include "platform/text_encoding.h"
#include "tools/wait_line.h"

namespace host_tools {
namespace {

using capture_host::ServiceLaunch;
using capture_service::Library;
using json11::Json;
using platform::Utf8FromWide;
using Kind = Finding::Kind;
using Findings = std::vector<Finding>;

// A restart waits 3 s; the library may take its time over the first pictures.
constexpr std::chrono::seconds kStartLimit{30};
// The library opens its encoder after the recording was announced.
constexpr std::chrono::seconds kTrialLength{2};
constexpr std::chrono::seconds kEndLimit{30};

// Only the project's own sentry.dll exports it.
constexpr char kLocalSentryMark[] = "local_sentry_sends_nothing";

std::string NameWithVersion(const std::filesystem::path& file) {
  const std::string version = capture_service::GetFileVersionString(file.wstring());
  return Utf8FromWide(file.wstring()) + ", " +
         (version.empty() ? "without a version" : "version " + version);
}

bool ExamineService(const std::filesystem::path& program, Findings& findings) {
  if (!std::filesystem::exists(program)) {
    findings.push_back({Kind::kProblem, "CaptureService.exe",
                        "There is no " + Utf8FromWide(program.wstring()) + ".",
                        "Install it there, or name it with --service."});
    return false;
  }
  findings.push_back({Kind::kOk, "CaptureService.exe", NameWithVersion(program) + ".", ""});
  return true;
}

// The rest of a sentence that begins with a library's name.
std::string CannotBeLoaded(DWORD error) {
  if (error == ERROR_BAD_EXE_FORMAT) return " is no library for 64-bit Windows.";
  return " cannot be loaded: " + capture_host::WindowsErrorText(error) + ".";
}

bool ExamineReporting(const std::filesystem::path& folder, Findings& findings) {
  const std::filesystem::path sentry = folder / L"sentry.dll";
  if (!std::filesystem::exists(sentry)) {
    findings.push_back({Kind::kProblem, "sentry.dll",
                        "It is not beside the service, which ends with 0xC0000135 without it.",
                        "Put the SDK's, or the project's own, beside CaptureService.exe."});
    return false;
  }
  HMODULE const module = LoadLibraryW(sentry.c_str());
  if (module == nullptr) {
    const DWORD error = GetLastError();
    findings.push_back({Kind::kProblem, "sentry.dll", "It" + CannotBeLoaded(error),
                        "Put one for 64-bit Windows there."});
    return false;
  }
  const bool local = GetProcAddress(module, kLocalSentryMark) != nullptr;
  FreeLibrary(module);
  findings.push_back({Kind::kOk, "sentry.dll",
                      local ? "The project's own: reports go to a folder and nowhere else."
                            : "The error-reporting SDK's.",
                      ""});
  const std::string handler = "crashpad_handler.exe";
  if (std::filesystem::exists(folder / handler)) {
    findings.push_back({Kind::kOk, handler, "It is beside the service.", ""});
  } else if (local) {
    findings.push_back({Kind::kNote, handler, "It is not there; this sentry.dll needs none.", ""});
  } else {
    findings.push_back({Kind::kProblem, handler,
                        "It is not beside the service, and the SDK reports nothing without it.",
                        "Put the SDK's beside CaptureService.exe."});
  }
  return true;
}

std::vector<std::string> MissingEntryPoints(HMODULE module) {
  std::vector<std::string> missing;
#define HOST_TOOLS_LOOK_UP(name) \
  if (GetProcAddress(module, #name) == nullptr) missing.emplace_back(#name);
  GSDK_ENTRY_POINTS(HOST_TOOLS_LOOK_UP)
#undef HOST_TOOLS_LOOK_UP
  return missing;
}

std::string AdviceForLibrary(DWORD error) {
  if (error == ERROR_BAD_EXE_FORMAT) return "Put one for 64-bit Windows there.";
  if (error == ERROR_MOD_NOT_FOUND) return "Put it and all libraries that it needs there.";
  return "Put the one that belongs to the service there.";
}

bool ExamineLibrary(const std::filesystem::path& file, Findings& findings) {
  const std::string subject = "gsdk.dll";
  const std::string name = Utf8FromWide(file.wstring());
  if (!std::filesystem::exists(file)) {
    findings.push_back({Kind::kProblem, subject, "There is no " + name + ".",
                        "Put a capture library for 64-bit Windows there; the package has one."});
    return false;
  }
  auto module = capture_service::LoadCaptureLibraryModule(file.wstring());
  if (!module) {
    const DWORD error = GetLastError();
    findings.push_back(
        {Kind::kProblem, subject, name + CannotBeLoaded(error), AdviceForLibrary(error)});
    return false;
  }
  const auto missing = MissingEntryPoints(static_cast<HMODULE>(module.get()));
  if (!missing.empty()) {
    std::string text = name + " lacks";
    for (const std::string& entry_point : missing) text += " " + entry_point;
    findings.push_back(
        {Kind::kProblem, subject, text + ".", "Put the one that belongs to the service there."});
    return false;
  }
  capture_service::InstallCaptureLibrary(capture_service::BindCaptureLibrary(std::move(module)));
  std::size_t count = 0;
#define HOST_TOOLS_COUNT(name) ++count;
  GSDK_ENTRY_POINTS(HOST_TOOLS_COUNT)
#undef HOST_TOOLS_COUNT
  findings.push_back({Kind::kOk, subject,
                      NameWithVersion(file) + ", all " + std::to_string(count) + " entry points.",
                      ""});
  return true;
}

// Lists what the library can record of one kind: a problem when it cannot say, or has none of what
// nobody can do without.
void ExamineInputs(const char* kind, const std::string& subject, bool needed, Findings& findings) {
  capture_service::LibraryError error;
  char* text = nullptr;
  if (!Library().gsdk_input_properties(kind, &text, error.Out())) {
    findings.push_back({Kind::kProblem, subject, "The library cannot list them: " + error.Message(),
                        "Look whether Windows shows any."});
    return;
  }
  const std::string list = text == nullptr ? "" : text;
  Library().gsdk_input_properties_free(text);
  std::string parse_error;
  const Json json = Json::parse(list, parse_error);
  if (!json.is_object() || json.object_items().empty()) {
    findings.push_back({Kind::kProblem, subject, "The library's list cannot be read: " + list,
                        "Put the gsdk.dll that belongs to the service beside it."});
    return;
  }
  const Json& values = json.object_items().begin()->second["values"];
  std::string names;
  for (const Json& entry : values.array_items()) names += "\n           " + entry.dump();
  const std::size_t count = values.array_items().size();
  const bool lacks = needed && count == 0;
  findings.push_back({lacks ? Kind::kProblem : Kind::kOk, subject,
                      std::to_string(count) + "." + names,
                      lacks ? "Attach one, or log on to a desktop." : ""});
}

// The lines of the trial that name the encoder, the source of the pictures, or a failure.
bool IsTelling(const capture_host::LogLine& line) {
  return line.text.find("encoder") != std::string::npos || line.text.starts_with("pictures by ") ||
         IsFailure(line);
}

// Takes what the service says until `limit`, keeping the telling lines. True as soon as a recording
// is announced, false at the service's end or at the limit.
bool Listen(capture_host::Service& service, std::chrono::milliseconds limit, Transcript& transcript,
            std::string& lines, bool until_announced) {
  WaitLine line_of_wait(transcript, "Trying a recording");
  const auto begin = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() - begin < limit) {
    line_of_wait.Show();
    const auto event = service.NextEvent(kProgressInterval);
    if (!event) continue;
    if (event->end) return false;
    const auto* const line = std::get_if<capture_host::LogLine>(&event->answer);
    if (line == nullptr) continue;
    if (IsTelling(*line)) lines += "\n           " + line->text;
    if (until_announced && AnnouncesRecording(*line)) return true;
  }
  return false;
}

Finding TryRecording(const ServiceLaunch& launch, Transcript& transcript) {
  const std::string subject = "trial recording";
  capture_host::Error error;
  transcript.Progress("Starting the service", false);
  const auto service = capture_host::Service::Start(launch, {}, error);
  transcript.EndProgress();
  if (!service) return {Kind::kProblem, subject, error.what, error.advice};
  capture_host::RecorderSettings settings = capture_host::DefaultSettings();
  settings.recording_mode = static_cast<std::int32_t>(capture_host::RecordingMode::kMonitor);
  settings.record_length = 1;
  std::string lines;
  std::optional<capture_host::Error> failure = service->Configure(settings);
  if (!failure) failure = service->RestartRecording();
  const bool announced = !failure && Listen(*service, kStartLimit, transcript, lines, true);
  if (announced) Listen(*service, kTrialLength, transcript, lines, false);
  if (!failure) failure = service->RequestEnd();
  const auto end = AwaitServiceEnd(*service, kEndLimit, transcript);
  if (!end) return {Kind::kProblem, subject, "The service does not end." + lines, "Report it."};
  if (end->exit_status != 0 || failure) {
    return {Kind::kProblem, subject, capture_host::DescribeExit(end->exit_status) + lines, ""};
  }
  if (!announced) {
    return {Kind::kProblem, subject, "The recording did not start." + lines,
            "Read the lines above."};
  }
  return {Kind::kOk, subject,
          "The service took the pipe, recorded the monitor and ended in good order." + lines, ""};
}

}  // namespace

std::vector<Finding> ExamineInstallation(const ServiceLaunch& launch, Transcript& transcript) {
  Findings findings;
  transcript.Progress("Looking at the files and the capture library", false);
  const std::filesystem::path folder = launch.program.parent_path();
  bool usable = ExamineService(launch.program, findings);
  usable = ExamineReporting(folder, findings) && usable;
  const bool bound =
      ExamineLibrary(launch.library.empty() ? folder / L"gsdk.dll" : launch.library, findings);
  if (bound) {
    ExamineInputs("monitor", "monitors", true, findings);
    ExamineInputs("window", "windows", false, findings);
    ExamineInputs("audio_output", "sound outputs", false, findings);
    ExamineInputs("audio_input", "microphones", false, findings);
  }
  transcript.EndProgress();
  if (usable && bound) {
    findings.push_back(TryRecording(launch, transcript));
  } else {
    findings.push_back(
        {Kind::kNote, "trial recording", "Left out; mend the problems above first.", ""});
  }
  return findings;
}

}  // namespace host_tools
