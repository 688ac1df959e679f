// Stack traces in the shape that the error-reporting project expects in an event.
#pragma once

#include <cstddef>
#include <json11.hpp>
#include <string>

namespace local_sentry {

// {"frames": [...]}, the outermost caller first, each with "instruction_addr" and, where the
// address is in a loaded module, the module's "package" (its path) and "image_addr". `addresses`,
// innermost first, are null for the calling thread's own stack from the caller of this function on.
json11::Json StackTrace(void* const* addresses, std::size_t count);

// "0x" and the number's hexadecimal digits.
std::string HexText(std::size_t number);

}  // namespace local_sentry
