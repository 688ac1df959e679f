// Reads numbers of JSON texts in the way that the host and the capture library are used to.
#pragma once

#include <cstdint>

namespace json11 {
class Json;
}

namespace capture_service {

// A JSON number as a 32-bit integer, fractions cut off; 0 for anything else. A number out of range
// gives the lowest integer, as the processor's conversion does. Any thread.
std::int32_t ReadInt32(const json11::Json& value);

}  // namespace capture_service
