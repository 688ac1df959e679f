// One run of the built service, in a folder of its own with the libraries that the test chooses.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <json11.hpp>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/e2e/call_log.h"
#include "tests/e2e/child_process.h"
#include "tests/e2e/environment.h"
#include "tests/e2e/host_pipe.h"

namespace e2e {

using json11::Json;

// What stands as gsdk.dll beside the service's program.
enum class LibraryFile {
  kDouble,         // the scripted library
  kOpen,           // the open library, which really records
  kForeign,        // one in C, written without the project's interface header
  kNoVersion,      // the scripted one without a version resource
  kMissingExport,  // the same without the entry point that is bound last
  kNotALibrary,    // a text file
  kNone,
};

struct RunOptions {
  Json script = {};  // for the scripted library, see tests/doubles/gsdk_double_script.h
  LibraryFile library = LibraryFile::kDouble;
  bool hurried =
      false;  // true: the service with shorter waits (tests/doubles/hurried_deadline.cpp)
  std::filesystem::path other_library =
      {};  // where under the service's folder the double also stands
  PipeMode pipe_mode = PipeMode::kByte;
  DWORD pipe_buffer_bytes = 65536;
  bool read_pipe = true;  // false: a host that never reads
  // Argument 1; without it the path of the run's own pipe. Nothing is waited for then.
  std::optional<std::vector<std::wstring>> arguments = {};
  std::vector<std::wstring> more_arguments = {};  // after the pipe's path
  std::map<std::wstring, std::wstring> variables = {};
  std::filesystem::path working_folder = {};  // empty: the test's own
};

// Puts the service's program and the libraries that the options name into `folder`, and the script.
// Returns the variables that the libraries want, whose logs are to lie in the folder.
std::map<std::wstring, std::wstring> PlaceService(const RunOptions& options,
                                                  const std::filesystem::path& folder);

class ServiceRun {
 public:
  // Puts the files in place, creates the pipe and starts the service; with a pipe path of its own
  // choosing also waits until the service has opened the pipe.
  explicit ServiceRun(RunOptions options = {});
  ~ServiceRun();
  ServiceRun(const ServiceRun&) = delete;
  ServiceRun& operator=(const ServiceRun&) = delete;

  HostPipe& Pipe() { return *pipe_; }
  const std::filesystem::path& Folder() const { return folder_.Path(); }
  const ChildProcess& Process() const { return *process_; }

  // Sends a message.
  void Send(const Json& message) { pipe_->SendFrame(message.dump()); }
  // Sends a text that no proper host would send.
  void SendOdd(std::string_view text) { pipe_->SendFrame(text, /*odd=*/true); }

  // Makes a file that the library's script waits for.
  void Touch(const std::string& file) const;

  // Wait until what is asked for has come; false when it didn't within the limit, or can't any
  // more because the service has ended.
  bool WaitForText(std::string_view text);
  bool WaitForTextCount(std::size_t count);
  // A call whose text begins with `start`, `count` times.
  bool WaitForCall(std::string_view start, std::size_t count = 1);
  bool WaitUntil(const std::function<bool()>& condition);

  // Waits until the service has ended and all it sent has come; its exit code, or none when it
  // didn't end.
  std::optional<std::uint32_t> WaitForExit();

  // What the service sent so far.
  std::vector<std::string> Texts() const { return pipe_->Received(); }
  CallLog Calls() const { return CallLog(call_log_path_); }
  // The log of the recording error-reporting library.
  std::vector<Json> Reports() const { return ReadJsonLines(report_log_path_); }

  // The whole story, for a failing test.
  std::string Report() const;

 private:
  RunOptions options_;
  TemporaryFolder folder_;
  std::filesystem::path call_log_path_;
  std::filesystem::path report_log_path_;
  std::unique_ptr<HostPipe> pipe_;
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace e2e
