// Ends the process at once when going on would be worse: no clean-up, no exit handlers.
#pragma once

namespace platform {

// On Windows the exit status is 0xC0000409, the one of the runtime's own fail-fast for an invalid
// argument. Callable from any thread.
[[noreturn]] void FailFast() noexcept;

}  // namespace platform
