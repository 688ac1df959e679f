#include "tests/fuzz/fuzz_service.h"

#include <chrono>
#include <cstdlib>
#include <json11.hpp>
#include <memory>
#include <mutex>
#include <thread>

#include "diagnostics/error_reporting.h"
#include "gsdk/capture_library.h"
#include "protocol/command_queue.h"
#include "protocol/message_queue.h"
#include "protocol/service_requests.h"
#include "recording/clip_dump.h"
#include "recording/packet_watchdog.h"
#include "recording/session_state.h"
#include "service/command_worker.h"
#include "service/main_loop.h"
#include "service/stop.h"
#include "tests/fakes/fake_library.h"
#include "tests/fakes/fake_sentry_sdk.h"
#include "tests/fakes/fake_windows.h"
#include "tests/fakes/transcript.h"

namespace fuzz {

using namespace capture_service;

void Require(bool condition) {
  if (!condition) std::abort();
}

void ResetService() {
  static const bool clip_thread_runs = [] {
    std::thread(RunClipThread).detach();
    return true;
  }();
  static_cast<void>(clip_thread_runs);
  core_test::CollectMessages(true);
  core_test::TakeRecorded();
  // From now on the main loop takes them.
  core_test::CollectMessages(false);
  core_test::Fake().Reset();
  core_test::ResetSentry();
  core_test::ResetWindows();
  InstallCaptureLibrary(core_test::FakeLibrary::MakeTable());
  CurrentRecorderSettings() = {};
  ErrorReportingEnabled = false;
  StopFlag = false;
  PacketWatch& watch = Watch();
  const std::lock_guard lock(watch.mutex);
  watch.restart_counter = 0;
}

std::uint32_t RunMainLoopOn(std::initializer_list<std::string> messages) {
  for (const std::string& message : messages) {
    PushMessage(MakePipeMessage(Direction::kInbound, message));
  }
  ServiceState state;
  RunMainLoop(nullptr, state);
  core_test::CollectMessages(true);
  return state.exit_code;
}

std::uint32_t RunServiceOn(std::initializer_list<std::string> messages) {
  std::thread worker(CommandWorker, std::chrono::nanoseconds::zero());
  const std::uint32_t exit_status = RunMainLoopOn(messages);
  worker.join();
  return exit_status;
}

void PostDie(std::uint32_t status) { PostDieEvent(status); }

void GiveRecorder() { Session().recorder = Library().gsdk_recorder_create(nullptr); }

int TakeCommands() {
  constexpr auto kEnd = static_cast<CommandType>(0xE0DU);
  PushCommand(std::make_unique<Command>(Command{.type = kEnd, .settings = {}}));
  int commands = 0;
  while (PopCommand()->type != kEnd) ++commands;
  return commands;
}

std::vector<std::string> TakeStory() { return core_test::TakeRecorded(); }

std::vector<std::string> TextsToHost(const std::vector<std::string>& story) {
  const std::string written = "WriteFrame 0 ";
  const std::string queued = core_test::TextToHost("");
  std::vector<std::string> texts;
  for (const std::string& line : story) {
    if (line.starts_with(queued)) texts.push_back(line.substr(queued.size()));
    if (!line.starts_with(written)) continue;
    std::string error;
    texts.push_back(json11::Json::parse(line.substr(written.size()), error).string_value());
    Require(error.empty());
  }
  return texts;
}

std::string AwaitTextToHost() {
  for (;;) {
    const std::unique_ptr<PipeMessage> message = PopMessage();
    if (message->direction == Direction::kOutbound) return message->text.data();
  }
}

void RequireNothingLeft(int texts) {
  if (gsdk_recorder* const recorder = Session().recorder.exchange(nullptr)) {
    Library().gsdk_recorder_destroy(recorder);
  }
  TakeCommands();
  core_test::TakeRecorded();
  for (const std::string& name : core_test::Fake().LiveObjects()) {
    if (name.starts_with("text")) --texts;
    // The library keeps its audio inputs until its session goes, which has no call of its own.
    Require(name.starts_with("input") || name.starts_with("text"));
  }
  Require(texts == 0);
  Require(core_test::LiveSentryValues() == 0);
}

}  // namespace fuzz
