#include "tests/fakes/transcript.h"

#include <algorithm>
#include <condition_variable>
#include <json11.hpp>
#include <memory>
#include <mutex>
#include <utility>

#include "protocol/message_queue.h"

namespace core_test {
namespace {

using capture_service::Direction;
using capture_service::PipeMessage;

constexpr auto kEndOfDrain = static_cast<Direction>(0xE0DU);

struct Transcript {
  std::mutex mutex;
  std::condition_variable changed;
  Lines lines;
  bool collect_messages = true;

  // Takes what is queued; the lock keeps two drains apart.
  void DrainMessages() {
    if (!collect_messages) return;
    auto end = std::make_unique<PipeMessage>();
    end->direction = kEndOfDrain;
    capture_service::PushMessage(std::move(end));
    for (;;) {
      const std::unique_ptr<PipeMessage> message = capture_service::PopMessage();
      if (message->direction == kEndOfDrain) return;
      const bool inbound = message->direction == Direction::kInbound;
      lines.push_back((inbound ? "to self: " : "to host: ") + std::string(message->text.data()));
    }
  }
};

// Never destroyed: a process under test may still record while it ends.
Transcript& TheTranscript() {
  static auto& transcript = *new Transcript;
  return transcript;
}

}  // namespace

void Record(std::string line) {
  Transcript& transcript = TheTranscript();
  const std::lock_guard lock(transcript.mutex);
  transcript.DrainMessages();
  transcript.lines.push_back(std::move(line));
  transcript.changed.notify_all();
}

Lines Recorded() {
  Transcript& transcript = TheTranscript();
  const std::lock_guard lock(transcript.mutex);
  transcript.DrainMessages();
  return transcript.lines;
}

Lines TakeRecorded() {
  Transcript& transcript = TheTranscript();
  const std::lock_guard lock(transcript.mutex);
  transcript.DrainMessages();
  return std::exchange(transcript.lines, {});
}

void WaitForLine(const std::string& line) {
  Transcript& transcript = TheTranscript();
  std::unique_lock lock(transcript.mutex);
  transcript.changed.wait(lock, [&] { return std::ranges::count(transcript.lines, line) > 0; });
}

void CollectMessages(bool collect) {
  Transcript& transcript = TheTranscript();
  const std::lock_guard lock(transcript.mutex);
  transcript.collect_messages = collect;
}

std::string Quoted(const std::string& text) { return json11::Json(text).dump(); }

std::string TextToHost(const std::string& text) { return "to host: " + text; }

std::string ToHost(const std::string& line) {
  return TextToHost("{\"error\": " + Quoted(line) + "}");
}

std::string FailureToHost(const std::string& message) {
  return ToHost("[Glimra error]: " + message);
}

std::string DieRequest(int code) {
  return "to self: {\"event\": {\"die\": " + std::to_string(code) + "}}";
}

std::string RestartRequest() { return "to self: {\"event\": {\"restart\": true}}"; }

Lines Concat(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

}  // namespace core_test
