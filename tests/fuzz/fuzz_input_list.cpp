// Any text that a capture library may give as a list of inputs: it is read without a fault, and
// what is picked from it goes back as JSON that can be read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <json11.hpp>
#include <optional>
#include <string>

#include "recording/input_descriptions.h"
#include "tests/fakes/transcript.h"

namespace {

using namespace capture_service;
using json11::Json;

void Require(bool condition) {
  if (!condition) std::abort();
}

// One writing may change a number that JSON has no text for, or the sign of a zero, but no more.
void RequireStable(const Json& value) {
  std::string error;
  const std::string written = Json::parse(value.dump(), error).dump();
  Require(error.empty());
  Require(Json::parse(written, error).dump() == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  std::string error;
  const Json list = ParseInputList(text.c_str(), error);
  Require(error.empty() || list.is_null());

  const ScreenRectangle rectangle = {.top = 0, .bottom = 1080, .left = 0, .right = 1920};
  RequireStable(PickMonitor(list, rectangle));
  for (const std::int32_t window : {0, 1, 132456}) {
    if (const std::optional<Json> picked = PickWindow(list, window)) {
      Require(list["window"]["values"].is_array());
      RequireStable(*picked);
    }
  }
  core_test::TakeRecorded();
  return 0;
}
