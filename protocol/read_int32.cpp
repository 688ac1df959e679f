#include "protocol/read_int32.h"

#include <json11.hpp>
#include <limits>

namespace capture_service {

std::int32_t ReadInt32(const json11::Json& value) {
  // Every value above -2^31 - 1 and below 2^31 fits once its fraction is cut off.
  constexpr double kLowest = std::numeric_limits<std::int32_t>::min();
  const double number = value.number_value();
  if (number > kLowest - 1 && number < -kLowest) return value.int_value();
  return std::numeric_limits<std::int32_t>::min();
}

}  // namespace capture_service
