#include "service/stop.h"

#include <memory>

#include "protocol/command_queue.h"
#include "protocol/message_queue.h"
#include "service/stop_event.h"

namespace capture_service {

std::atomic<bool> StopFlag = false;

void RequestStop() {
  StopFlag.exchange(true);
  SignalStopEvent();
  PushMessage(MakePipeMessage(Direction::kInbound, "{}"));
  PushCommand(std::make_unique<Command>());
}

}  // namespace capture_service
