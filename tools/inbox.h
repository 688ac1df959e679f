// What happens while the console waits, in one queue, so that a command is a plain loop.
#pragma once

#include <string>

#include "capture_host/answers.h"
#include "platform/blocking_queue.h"

namespace host_tools {

struct Event {
  enum class Kind {
    kMessage,      // the service sent `answer`
    kClosed,       // the service has ended
    kLine,         // the user typed `text`
    kEndOfInput,   // the user will type no more
    kInterrupted,  // Ctrl+C, or the console is closing
  };
  Kind kind;
  std::string text = {};
  capture_host::Answer answer = {};
};

// Any thread may push; one thread takes.
using Inbox = platform::BlockingQueue<Event>;

}  // namespace host_tools
