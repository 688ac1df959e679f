#include "protocol/message_queue.h"

#include <algorithm>
#include <utility>

#include "platform/blocking_queue.h"
#include "platform/fail_fast.h"

namespace capture_service {
namespace {

using MessageQueue = platform::BlockingQueue<std::unique_ptr<PipeMessage>>;

// Never destroyed: library threads may still push while the process ends.
MessageQueue& Queue() {
  static auto& queue = *new MessageQueue;
  return queue;
}

}  // namespace

std::unique_ptr<PipeMessage> MakePipeMessage(Direction direction, std::string_view text) {
  // A shorter text is copied with what follows its first zero byte, which nobody looks at.
  if (text.size() > kMaxMessageBytes) text = text.substr(0, text.find('\0'));
  if (text.size() > kMaxMessageBytes) platform::FailFast();

  auto message = std::make_unique_for_overwrite<PipeMessage>();
  message->direction = direction;
  *std::copy(text.begin(), text.end(), message->text.begin()) = '\0';
  return message;
}

void PushMessage(std::unique_ptr<PipeMessage> message) { Queue().Push(std::move(message)); }

std::unique_ptr<PipeMessage> PopMessage() { return Queue().Pop(); }

}  // namespace capture_service
