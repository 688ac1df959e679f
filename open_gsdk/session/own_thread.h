// The threads that the library starts for its sessions, told apart from those of its user.
#pragma once

#include <functional>
#include <thread>

namespace open_gsdk {

// A thread that runs `body`, which must not throw.
std::thread StartOwnThread(std::function<void()> body);

// Whether the calling thread was started by StartOwnThread: such a one runs callbacks, and must not
// wait for the end of its session's threads.
bool IsOwnThread();

}  // namespace open_gsdk
