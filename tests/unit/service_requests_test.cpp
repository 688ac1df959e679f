#include "protocol/service_requests.h"

#include "protocol/host_message.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

using ServiceRequestsTest = CoreTest;

TEST_F(ServiceRequestsTest, RequestsOfTheServiceToItselfReadAsEvents) {
  PostRestartEvent();
  PostDieEvent(0U);
  PostDieEvent(0xFFFFFFFFU);
  PostDieEvent(ErrorCode::GSDKGenericExitError);
  EXPECT_EQ(
      TakeRecorded(),
      (Lines{"to self: {\"event\": {\"restart\": true}}", "to self: {\"event\": {\"die\": 0}}",
             "to self: {\"event\": {\"die\": -1}}", "to self: {\"event\": {\"die\": 200}}"}));
  EXPECT_EQ(ReadHostMessage(R"({"event": {"restart": true}})")->event->action,
            HostEvent::Action::kRestart);
  EXPECT_EQ(ReadHostMessage(R"({"event": {"die": -1}})")->event->exit_code, -1);
}

}  // namespace
}  // namespace core_test
