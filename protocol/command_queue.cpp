#include "protocol/command_queue.h"

#include <utility>

#include "platform/blocking_queue.h"

namespace capture_service {
namespace {

using CommandQueue = platform::BlockingQueue<std::unique_ptr<Command>>;

// Never destroyed: the worker may still wait here while the process ends.
CommandQueue& Queue() {
  static auto& queue = *new CommandQueue;
  return queue;
}

}  // namespace

void PushCommand(std::unique_ptr<Command> command) { Queue().Push(std::move(command)); }

std::unique_ptr<Command> PopCommand() { return Queue().Pop(); }

}  // namespace capture_service
