// What threads may still do while the process ends, when its static objects are gone already.
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <thread>

#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Has Wine overwrite what is freed, so that its use is noticed. Windows knows nothing of this.
const std::map<std::wstring, std::wstring> kCheckedHeap = {{L"WINEDEBUG", L"-all,warn+heap"}};

class Unloading : public ServiceTest, public ::testing::WithParamInterface<int> {};

TEST_P(Unloading, ErrorsMeanwhileDoNotChangeTheExitStatus) {
  // Given a library that reports an error every 5 ms, with a line before it, while it is unloaded
  Json::array steps;
  for (int i = 0; i < 12; ++i) {
    steps.push_back(Json::object{{"log", "being unloaded"}});
    steps.push_back(Json::object{{"error", GetParam()}, {"message", "late"}});
    steps.push_back(Json::object{{"sleep_ms", 5}});
  }
  ServiceRun& run = StartRecordingService(
      {.script = Json::object{{"unload", steps}}, .variables = kCheckedHeap}, Settings());
  ExpectCleanDie(run, 57);
  EXPECT_EQ(run.Calls().Made("error"), 12);
}

INSTANTIATE_TEST_SUITE_P(Codes, Unloading, ::testing::Values(8, 28, 31, 30),
                         ::testing::PrintToStringParamName());

// A service that gives its session up with 201 and is then held in its end for more than a second,
// because a thread of the library keeps the system's loader busy.
class HeldInTheHardEnd : public ServiceTest {
 protected:
  static constexpr milliseconds kJoinTimeout{10'000};
  static constexpr milliseconds kMargin{500};

  // Starts the service and returns when it is held. `script` are further members of the script,
  // `steps` those of one more thread of the library; `before` is called once the session runs.
  ServiceRun& StartHeld(
      Json::object script, const Json::array& steps = {},
      const std::function<void(ServiceRun&)>& before = [](ServiceRun&) {}) {
    script["calls"] =
        Json::object{{"gsdk_session_destroy", Json::array{Json::object{{"hang", true}}}}};
    const Json::array holding = {Json::object{{"wait_file", "hold"}},
                                 Json::object{{"loader_lock_ms", 2500}}};
    script["sessions"] = Json::array{Json::object{
        {"threads", Json::array{Json::object{{"survives_destroy", true}, {"steps", holding}},
                                Json::object{{"survives_destroy", true}, {"steps", steps}}}}}};
    ServiceRun& run =
        StartRecordingService({.script = script, .variables = kCheckedHeap}, Settings());
    before(run);
    run.Send(Restart());
    EXPECT_TRUE(run.WaitForCall("gsdk_session_destroy"));
    const auto end = steady_clock::now() + kJoinTimeout;
    std::this_thread::sleep_until(end - kMargin);
    run.Touch("hold");
    std::this_thread::sleep_until(end + kMargin);
    EXPECT_TRUE(run.Process().IsRunning());
    return run;
  }
};

TEST_F(HeldInTheHardEnd, MessagesOfTheHostDoNotChangeTheExitStatus) {
  ServiceRun& run = StartHeld({});
  for (int i = 0; i < 50; ++i) {
    run.Send(ChangeAudio());
    run.SendOdd("not JSON");
  }
  EXPECT_EQ(run.WaitForExit(), 201U);
}

TEST_F(HeldInTheHardEnd, AnswersToClipRequestsDoNotChangeTheExitStatus) {
  // Given a dump that comes back while the process ends, and requests that wait behind it
  ServiceRun& run = StartHeld({{"dumps", Json::array{Json::object{{"wait_file", "go"}}}}}, {},
                              [](ServiceRun& service) {
                                for (int i = 0; i < 50; ++i) {
                                  service.Send(Clip("a", std::to_string(i)));
                                }
                                EXPECT_TRUE(service.WaitForCall("gsdk_recorder_dump"));
                              });
  run.Touch("go");
  EXPECT_TRUE(run.WaitForText(ClipFailure("49", "recorder not initialized")));
  EXPECT_EQ(run.WaitForExit(), 201U);
}

TEST_F(HeldInTheHardEnd, ErrorsOfTheConnectionDoNotChangeTheExitStatus) {
  ServiceRun& run =
      StartHeld({}, {Json::object{{"wait_file", "go"}}, Json::object{{"error", 8}, {"count", 50}}});
  run.Touch("go");
  EXPECT_TRUE(run.WaitForCall("gsdk_err_free", 50));
  EXPECT_EQ(run.WaitForExit(), 201U);
}

}  // namespace
}  // namespace e2e
