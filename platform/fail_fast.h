// Ends the process at once when going on would be worse: no clean-up, no exit handlers.
#pragma once

namespace platform {

// On Windows the exit status is 0xC0000409, the one of the runtime's own fail-fast for an invalid
// argument. Callable from any thread.
[[noreturn]] void FailFast() noexcept;

// Lets FailFast end the process when an exception is caught by nobody or std::terminate is called
// for another reason, on whatever thread: the status is then the same with every toolchain, and no
// failure's number (abort's own is 3 in some). Called once, first of all. In a Visual Studio build
// it counts for the calling thread; the runtime ends other threads' exceptions in the same way.
void FailFastOnUncaughtExceptions() noexcept;

}  // namespace platform
