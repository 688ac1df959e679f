// The named pipe between the host and the service: framed texts in both directions, with overlapped
// I/O that a stop of the service abandons. A frame is the text's length in bytes, 32 bits
// little-endian, and the text.
#pragma once

#include <string_view>

namespace capture_service {

// A pipe handle that was opened for overlapped I/O; not owned here.
using PipeHandle = void*;

// Writes one frame, as two writes, length and text. Returns false when one of them failed or was
// abandoned, and for a text of more than kMaxMessageBytes, of which nothing is written. The number
// of bytes transferred is not looked at. Main thread only.
bool WriteFrame(PipeHandle pipe, std::string_view text);

// The body of the thread that reads frames and pushes their texts as inbound messages, until the
// service stops. A failed read or a frame of more than kMaxMessageBytes stops the service.
void PipeReader(PipeHandle pipe);

}  // namespace capture_service
