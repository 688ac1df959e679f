// The log of the scripted capture library: JSON lines, appended to the file that the environment
// variable GSDK_DOUBLE_LOG names and written through at once, so that they outlive the process
// however it ends. Without the variable nothing is logged.
//
//   {"attach": true}                                      the library was loaded
//   {"args": [...], "call": name, "result": ..., "out": handle, "error": handle}
//   {"return": name}                                      a call that the script delayed came back
//   {"callback": "log"|"packet"|"error", "state": "enter"|"leave"}   not for packets beyond the
//                                                         logged ones
//   {"loader_lock": true}                                 a thread keeps the system's loader busy
//   {"misuse": text}                                      a freed or unknown handle was passed
//   {"account": {...}}                                    figures kept so far
//   {"detach": "free_library"|"process_end"}              the library was unloaded
//
// Each line but the last two also has "us" (microseconds on the system-wide monotonic clock) and
// "thread": "loader" (the thread that loaded the library), "library" (one of its own) or "caller1",
// "caller2" in order of appearance.
#pragma once

#include <filesystem>
#include <json11.hpp>
#include <string_view>

namespace gsdk_double {

// The path in an environment variable; empty when it is not set.
std::filesystem::path EnvironmentPath(const wchar_t* name);

// Opens the log. Called once, while the library is loaded.
void OpenLog();

// Closes the log for good. Called last, while the library is unloaded.
void CloseLog();

// Appends one line. Any thread, but not while the library is unloaded.
void WriteLine(json11::Json::object members);

// Appends `line`, which ends in a line feed, without a lock or an allocation: for the moment of
// unloading, when other threads may have been ended while they held either.
void WriteRawLine(std::string_view line);

// Gives the calling thread the name "library" as long as it lives.
class LibraryThreadName {
 public:
  LibraryThreadName();
  ~LibraryThreadName();
  LibraryThreadName(const LibraryThreadName&) = delete;
  LibraryThreadName& operator=(const LibraryThreadName&) = delete;
};

}  // namespace gsdk_double
