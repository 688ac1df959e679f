// Runs of host_console.
#pragma once

#include <string>
#include <vector>

namespace e2e {

struct ConsoleRun {
  int status = 0;
  std::string output = {};  // the standard output, UTF-8
};

// Runs the built host_console to its end. The arguments have no quotation marks.
ConsoleRun RunConsole(const std::vector<std::wstring>& arguments);

}  // namespace e2e
