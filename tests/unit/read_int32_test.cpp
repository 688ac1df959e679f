#include "protocol/read_int32.h"

#include <json11.hpp>
#include <limits>
#include <string>

#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;
using json11::Json;

using ReadInt32Test = CoreTest;

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

struct NumberCase {
  const char* json;
  std::int32_t value;
};

TEST_F(ReadInt32Test, NumbersAreCutToThirtyTwoBits) {
  for (const NumberCase& c : {NumberCase{"60.9", 60},
                              {"-60.9", -60},
                              {"0.99", 0},
                              {"-0.99", 0},
                              {"1e3", 1000},
                              {"2147483647", kHighest},
                              {"2147483647.9", kHighest},
                              {"-2147483648", kLowest},
                              {"-2147483648.9", kLowest},
                              // Out of range: the lowest, as the processor converts.
                              {"2147483648", kLowest},
                              {"4294967295", kLowest},
                              {"-2147483649", kLowest},
                              {"1e300", kLowest},
                              {"-1e300", kLowest},
                              {"1e999", kLowest},
                              {"\"5\"", 0},
                              {"true", 0},
                              {"null", 0},
                              {"[5]", 0},
                              {"{}", 0}}) {
    std::string error;
    EXPECT_EQ(ReadInt32(Json::parse(c.json, error)), c.value) << c.json;
    EXPECT_EQ(error, "") << c.json;
  }
}

}  // namespace
}  // namespace core_test
