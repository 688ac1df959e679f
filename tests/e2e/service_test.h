// What the tests of the built service have in common: the fixture, the messages of the host and the
// texts of the service.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/e2e/service_run.h"

namespace e2e {

using Texts = std::vector<std::string>;

// Starts services; a test that fails prints what they did.
class ServiceTest : public ::testing::Test {
 protected:
  ServiceRun& Start(RunOptions options = {});

  // Sends `settings` and a restart event.
  static void StartRecording(ServiceRun& run, const Json& settings);

  // Starts a service, sends `settings` and a restart event, and returns when the session runs.
  ServiceRun& StartRecordingService(RunOptions options, const Json& settings);

  // Sends a die event and expects the service to end with its value, with every object given back
  // and the library unloaded.
  static void ExpectCleanDie(ServiceRun& run, std::int32_t code = 0);
  // Expects the service to end with `code`, with every object given back and the library unloaded.
  static void ExpectCleanExit(ServiceRun& run, std::uint32_t code);

  void TearDown() override;

 private:
  std::vector<std::unique_ptr<ServiceRun>> runs_;
};

// {"event": {"die": value}} and its like.
Json Die(const Json& value);
Json Restart();
Json ChangeAudio();
Json Clip(const std::string& filepath, const std::string& id);
// {"recorder_settings": settings}
Json RecorderSettings(const Json& settings);

// Settings with which a session starts: game mode, the test's own process as the game, no audio.
// `changes` replaces or adds members; a null takes one away.
Json Settings(const Json::object& changes = {});

// The text of the service for a log line, and for a failure's message.
std::string Line(const std::string& line);
std::string Failure(const std::string& message);
std::string ClipFailure(const std::string& id, const std::string& error);

// The service's message about a list text that does not parse.
std::string ParseError(const std::string& text);

// One list after the other.
Texts Join(const std::vector<Texts>& lists);

// The last text; empty when there is none.
std::string Last(const Texts& texts);

// A script in which the n-th call of `name` fails.
Json FailingCall(const std::string& name, std::int32_t code, const std::string& message, int n = 1);

// A window of the test's process, without a place on the screen.
class TestWindow {
 public:
  TestWindow();
  ~TestWindow();
  TestWindow(const TestWindow&) = delete;
  TestWindow& operator=(const TestWindow&) = delete;

  HWND Handle() const { return window_; }
  // The handle as the host sends it.
  int Number() const;
  void Destroy();

 private:
  HWND window_ = nullptr;
};

}  // namespace e2e
