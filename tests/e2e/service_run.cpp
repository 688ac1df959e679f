#include "tests/e2e/service_run.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace e2e {
namespace {

constexpr std::chrono::milliseconds kPollInterval{5};

// A copy, not a link: a file can't be removed while another run's program is the same file.
void Place(const std::filesystem::path& file, const std::filesystem::path& destination) {
  std::filesystem::copy_file(file, destination);
}

void WriteText(const std::filesystem::path& path, std::string_view text) {
  std::ofstream(path, std::ios::binary) << text;
}

void PlaceLibrary(LibraryFile library, const std::filesystem::path& folder) {
  const std::filesystem::path doubles = ProgramFolder() / "doubles";
  const std::filesystem::path destination = folder / "gsdk.dll";
  switch (library) {
    case LibraryFile::kDouble:
      return Place(doubles / "gsdk.dll", destination);
    case LibraryFile::kOpen:
      return Place(ProgramFolder() / "gsdk.dll", destination);
    case LibraryFile::kForeign:
      return Place(doubles / "foreign" / "gsdk.dll", destination);
    case LibraryFile::kNoVersion:
      return Place(doubles / "no_version" / "gsdk.dll", destination);
    case LibraryFile::kMissingExport:
      return Place(doubles / "missing_export" / "gsdk.dll", destination);
    case LibraryFile::kNotALibrary:
      return WriteText(destination, "This is no library.");
    case LibraryFile::kNone:
      return;
  }
}

}  // namespace

std::map<std::wstring, std::wstring> PlaceService(const RunOptions& options,
                                                  const std::filesystem::path& folder) {
  Place(ProgramFolder() / (options.hurried ? "doubles/hurried" : "") / "CaptureService.exe",
        folder / "CaptureService.exe");
  Place(ProgramFolder() / "doubles" / "sentry.dll", folder / "sentry.dll");
  PlaceLibrary(options.library, folder);
  if (!options.other_library.empty()) {
    const std::filesystem::path other = folder / options.other_library;
    std::filesystem::create_directories(other.parent_path());
    Place(ProgramFolder() / "doubles" / "gsdk.dll", other);
  }
  WriteText(folder / "script.json", options.script.dump());
  return {{L"GSDK_DOUBLE_SCRIPT", (folder / "script.json").wstring()},
          {L"GSDK_DOUBLE_LOG", (folder / "calls.jsonl").wstring()},
          {L"RECORDING_SENTRY_LOG", (folder / "reports.jsonl").wstring()}};
}

ServiceRun::ServiceRun(RunOptions options)
    : options_(std::move(options)),
      call_log_path_(folder_.Path() / "calls.jsonl"),
      report_log_path_(folder_.Path() / "reports.jsonl") {
  std::map<std::wstring, std::wstring> variables = PlaceService(options_, folder_.Path());
  pipe_ = std::make_unique<HostPipe>(options_.pipe_mode, options_.pipe_buffer_bytes);
  ProcessStart start = {
      .program = folder_.Path() / "CaptureService.exe",
      .arguments = options_.arguments.value_or(std::vector<std::wstring>{pipe_->Path()}),
      .folder = options_.working_folder,
      .variables = options_.variables};
  start.arguments.insert(start.arguments.end(), options_.more_arguments.begin(),
                         options_.more_arguments.end());
  start.variables.merge(variables);
  process_ = std::make_unique<ChildProcess>(start);
  if (options_.arguments) return;
  if (!pipe_->WaitForConnection(kLimit)) {
    throw std::runtime_error("the service didn't open the pipe\n" + Report());
  }
  if (options_.read_pipe) pipe_->StartReading();
}

ServiceRun::~ServiceRun() {
  pipe_->Close();
  // The folder can only be removed when the program has let it go.
  TerminateProcess(process_->Handle(), 0);
  process_->WaitForExit(kLimit);
}

void ServiceRun::Touch(const std::string& file) const { WriteText(folder_.Path() / file, ""); }

bool ServiceRun::WaitForText(std::string_view text) {
  return pipe_->WaitFor(
      [&](const std::vector<std::string>& texts) {
        return std::find(texts.begin(), texts.end(), text) != texts.end();
      },
      kLimit);
}

bool ServiceRun::WaitForTextCount(std::size_t count) {
  return pipe_->WaitFor(
      [&](const std::vector<std::string>& texts) { return texts.size() >= count; }, kLimit);
}

bool ServiceRun::WaitForCall(std::string_view start, std::size_t count) {
  return WaitUntil([&] { return Calls().CallsThatStart(start).size() >= count; });
}

bool ServiceRun::WaitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kLimit;
  while (std::chrono::steady_clock::now() < deadline) {
    const bool running = process_->IsRunning();
    if (condition()) return true;
    if (!running) return false;
    std::this_thread::sleep_for(kPollInterval);
  }
  return false;
}

std::optional<std::uint32_t> ServiceRun::WaitForExit() {
  const std::optional<std::uint32_t> code = process_->WaitForExit(kLimit);
  if (code && options_.read_pipe && !options_.arguments) pipe_->WaitForEnd(kLimit);
  return code;
}

std::string ServiceRun::Report() const {
  std::string report = "---- pipe ----\n" + pipe_->Transcript() + "---- capture library ----\n" +
                       Calls().Text() + "---- error reporting ----\n";
  for (const Json& line : Reports()) report += line.dump() + "\n";
  const std::optional<std::uint32_t> code =
      process_ ? process_->WaitForExit(std::chrono::milliseconds(0)) : std::nullopt;
  return report + (code ? "---- exit code " + std::to_string(*code) : "---- still running") +
         " ----\n";
}

}  // namespace e2e
