// Exceptions that come up in a callback of the capture library: they end the process there, and
// never reach the library's own code, which is no C++ of ours.
#include <cstdlib>
#include <exception>
#include <functional>
#include <stdexcept>

#include "diagnostics/logging.h"
#include "recording/connection_errors.h"
#include "recording/packet_watchdog.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

class CallbackExceptionDeathTest : public CoreTest {};

static_assert(noexcept(OnCaptureLibraryLog(0, nullptr)));

// Calls back like the library does, with `call` throwing inside; the exit status says where the
// exception came to.
[[noreturn]] void CallBack(const std::string& call, const std::function<void()>& callback) {
  std::set_terminate([] { std::_Exit(1); });
  Fake().OnCall(call, 1, [] { throw std::runtime_error("not caught"); });
  try {
    callback();
  } catch (...) {
    std::_Exit(2);
  }
  std::_Exit(0);
}

TEST_F(CallbackExceptionDeathTest, OneInThePacketCallbackEndsTheProcessThere) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(CallBack("gsdk_encoded_packet_release",
                       [] { OnEncodedPacket(nullptr, FakeLibrary::NewPacket()); }),
              ::testing::ExitedWithCode(1), "");
}

TEST_F(CallbackExceptionDeathTest, OneInTheErrorCallbackEndsTheProcessThere) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(CallBack("gsdk_err_code", [] { OnConnectionError(nullptr, Fake().NewError(8, "")); }),
              ::testing::ExitedWithCode(1), "");
}

}  // namespace
}  // namespace core_test
