// Plays the host application at a console: starts the service, talks to it over its pipe and shows
// every message. See --help.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "platform/text_encoding.h"
#include "tools/console_commands.h"
#include "tools/console_options.h"
#include "tools/transcript.h"

namespace host_tools {
namespace {

constexpr int kMisused = 2;

bool IsTerminal(DWORD standard_handle) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(standard_handle), &mode) != 0;
}

TranscriptStyle StyleOf(const ConsoleOptions& options) {
  if (options.json) return TranscriptStyle::kJson;
  return options.progress == "line" ? TranscriptStyle::kTerminal : TranscriptStyle::kPlain;
}

int Main(const std::vector<std::string>& arguments) {
  CLI::App app{
      "Plays the host application: starts CaptureService, sends it messages over its pipe and\n"
      "shows every message with the seconds since the start. Exit status 0 means success,\n"
      "1 that something failed, 2 that the command line is wrong."};
  app.name("host_console");
  app.set_version_flag("--version", "host_console " PROJECT_VERSION);
  app.require_subcommand(1);
  app.fallthrough();
  ConsoleOptions options;
  AddCommands(app, options);

  try {
    // CLI11 takes the words in reverse order.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    if (options.progress == "auto") {
      options.progress = IsTerminal(STD_OUTPUT_HANDLE) ? "line" : "plain";
    }
    Transcript transcript(StyleOf(options));
    return RunCommand(app.get_subcommands().front()->get_name(), options, transcript);
  } catch (const CLI::ParseError& mistake) {
    return app.exit(mistake) == 0 ? 0 : kMisused;
  } catch (const std::exception& failure) {
    std::cerr << "host_console: " << failure.what() << std::endl;
  }
  return kCommandFailed;
}

}  // namespace
}  // namespace host_tools

int wmain(int argc, wchar_t** argv) {
  SetConsoleOutputCP(CP_UTF8);
  SetConsoleCP(CP_UTF8);
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(platform::Utf8FromWide(argv[i]));
  return host_tools::Main(arguments);
}
