// One record of everything that the core says to the outside, in order: calls of the capture
// library, of the error-reporting SDK and of Windows, and the messages that it queues.
#pragma once

#include <string>
#include <vector>

namespace core_test {

// What one test expects or has seen, one line for each call or message.
using Lines = std::vector<std::string>;

// Adds a line, after the messages that were queued before it. Any thread.
void Record(std::string line);

// Everything so far, up to the messages that are queued now. Any thread.
Lines Recorded();

// Everything so far, which is then forgotten.
Lines TakeRecorded();

// Blocks until this line has been recorded.
void WaitForLine(const std::string& line);

// Whether queued messages are taken off the queue and recorded. Off while something else consumes
// them.
void CollectMessages(bool collect);

// A text as a JSON string, quotes included.
std::string Quoted(const std::string& text);

// The lines of messages: {"error": line} for the host, the same for a failure, any text for the
// host, and the service's requests to itself.
std::string ToHost(const std::string& line);
std::string FailureToHost(const std::string& message);
std::string TextToHost(const std::string& text);
std::string DieRequest(int code);
std::string RestartRequest();

// All lines in one list.
Lines Concat(std::initializer_list<Lines> parts);

}  // namespace core_test
