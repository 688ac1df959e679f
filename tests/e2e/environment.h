// What the tests know about the machine that they run on: variables, folders, time limits.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>

namespace e2e {

// How long anything may take that has no length of its own. Far above what a loaded machine needs:
// a test that reaches it has failed.
inline constexpr std::chrono::seconds kLimit{60};

// The value of an environment variable; empty when it is not set.
std::wstring EnvironmentVariable(const wchar_t* name);

// The folder of the test program, where the service's program also is.
std::filesystem::path ProgramFolder();

// UTF-8 to UTF-16 and back.
std::filesystem::path PathFromUtf8(std::string_view text);
std::string Utf8FromPath(const std::filesystem::path& path);

// A folder of its own under the temporary folder, removed with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace e2e
