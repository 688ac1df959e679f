#include "tests/e2e/console_run.h"

#include <fstream>
#include <sstream>

#include "tests/e2e/environment.h"

namespace e2e {

ConsoleRun RunConsole(const std::vector<std::wstring>& arguments) {
  const TemporaryFolder folder;
  const std::filesystem::path output = folder.Path() / "output";
  std::wstring command = L"\"" + (ProgramFolder() / "host_console.exe").wstring() + L"\"";
  for (const std::wstring& argument : arguments) command += L" \"" + argument + L"\"";
  command += L" > \"" + output.wstring() + L"\"";
  // The command processor takes away the outermost marks.
  ConsoleRun run{.status = _wsystem((L"\"" + command + L"\"").c_str())};
  std::ostringstream text;
  text << std::ifstream(output, std::ios::binary).rdbuf();
  run.output = text.str();
  return run;
}

}  // namespace e2e
