// The named pipe between the host and the service: framed texts in both directions, with overlapped
// I/O that a stop of the service abandons. A frame is the text's length in bytes, 32 bits
// little-endian, and the text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace capture_service {

// A pipe handle that was opened for overlapped I/O; not owned here.
using PipeHandle = void*;

// Creates the event that abandons pipe operations. Main thread, before any of them.
void CreateStopEvent();

// Writes exactly one buffer. Returns false when the write failed or was abandoned; the number of
// bytes transferred is not looked at. Main thread only.
bool PipeWrite(PipeHandle pipe, const void* bytes, std::size_t count);

// Writes one frame, as two writes; false as above.
bool WriteFrame(PipeHandle pipe, std::string_view text);

// The body of the thread that reads frames and pushes their texts as inbound messages, until the
// service stops. A failed read or a frame of more than kMaxMessageBytes stops the service.
void PipeReader(PipeHandle pipe);

}  // namespace capture_service
