// The command line of host_console.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

#include "capture_host/messages.h"
#include "tools/window_lookup.h"

namespace host_tools {

struct ConsoleOptions {
  std::string service;
  std::string library;
  std::string journal;
  std::string progress = "auto";

  capture_host::RecorderSettings settings = capture_host::DefaultSettings();
  WindowQuery window;
  int window_limit_s = 10;
  bool hide_cursor = false;

  std::string out;
  int watch_seconds = 0;  // 0: until the service ends
  std::uint32_t expected_status = 0;
  std::string clip_folder = ".";
  std::string replayed;
  std::string report;
  bool json = false;
};

// Adds the commands and what each of them takes; parsing fills `options`, which has to live as long
// as `app`.
void AddCommands(CLI::App& app, ConsoleOptions& options);

}  // namespace host_tools
