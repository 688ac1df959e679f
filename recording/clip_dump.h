// Saves the replay buffer as a clip file when the host asks for it, on a thread of its own, so that
// writing a large file holds up nothing else.
#pragma once

#include <cstdint>
#include <string>

#include "protocol/host_message.h"

namespace capture_service {

// Puts a request at the end of the ClipRequestQueue and wakes the clip thread. Any thread.
void EnqueueClipRequest(ClipRequest request);

// The body of the clip thread: serves the requests one by one, in order, for the life of the
// process. It is never joined.
void RunClipThread();

// Has the library write the replay buffer to the request's file and sends the answer. After a
// failed dump whatever stands at the file's path is removed. Clip thread only.
void ServeClipRequest(const ClipRequest& request);

// What the host is told for a dump status other than kGsdkDumpSuccess.
std::string DumpErrorText(std::int32_t status, const std::string& filepath);

}  // namespace capture_service
