// Any text that a capture library may log or give as the message of an error that ends the
// connection, through the real main loop: the host gets it whole, and the service ends only when
// the error says so.
//
// An input is the error's code in its first byte, 0 for a log line, then the text.
#include <cstddef>
#include <cstdint>
#include <json11.hpp>
#include <string>
#include <vector>

#include "diagnostics/logging.h"
#include "protocol/message_queue.h"
#include "recording/connection_errors.h"
#include "tests/fakes/fake_library.h"
#include "tests/fakes/fake_windows.h"
#include "tests/fuzz/fuzz_service.h"

namespace {

using namespace capture_service;
using fuzz::Require;
using json11::Json;

std::string ErrorText(const std::string& line) {
  return Json(Json::object{{"error", line}}).dump();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return -1;
  const int code = data[0];
  const std::string text = std::string(data + 1, data + size).c_str();
  // The codes that ask for a restart have no text.
  if (code == 8 || code == 29 || code == 28) return -1;
  const std::string sent = code == 0 ? ErrorText(text)
                                     : ErrorText(
                                           "[Glimra error]: Error occurred that terminated "
                                           "the connection: " +
                                           text);
  // A text that does not fit a message ends the service by contract.
  if (sent.size() > kMaxMessageBytes) return -1;

  fuzz::ResetService();
  std::uint32_t expected = 0;
  if (code == 0) {
    OnCaptureLibraryLog(1, text.c_str());
    core_test::Windows().frames_before_failure = 0;
  } else {
    OnConnectionError(nullptr, core_test::Fake().NewError(code, text));
    expected = code == 31 ? 21 : 200;
  }
  Require(fuzz::RunMainLoopOn({}) == expected);
  Require(fuzz::TextsToHost(fuzz::TakeStory()) == std::vector<std::string>{sent});
  std::string error;
  const std::string read = Json::parse(sent, error)["error"].string_value();
  Require(error.empty() && read.ends_with(text));
  fuzz::RequireNothingLeft();
  return 0;
}
