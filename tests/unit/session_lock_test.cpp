// What the session's mutex is held through, asked in the middle of the library's calls.
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "recording/clip_dump.h"
#include "recording/session_start.h"
#include "recording/session_state.h"
#include "recording/worker_stop.h"
#include "tests/unit/core_fixture.h"
#include "tests/unit/session_transcript.h"

namespace core_test {
namespace {

using namespace capture_service;

// Whether another thread can have the session's mutex now.
bool SessionIsFree() {
  return std::async(std::launch::async,
                    [] {
                      const std::unique_lock lock(Session().mutex, std::try_to_lock);
                      return lock.owns_lock();
                    })
      .get();
}

class SessionLockTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    SetUpGame();
  }

  // Notes from now on, at each call of these functions, whether the session is held.
  void Watch(const std::vector<std::string>& functions) {
    for (const std::string& function : functions) {
      Fake().OnCall(function, kEveryTime, [this, function] {
        seen_.push_back(function + (SessionIsFree() ? " free" : " held"));
      });
    }
  }

  Lines seen_;
};

TEST_F(SessionLockTest, AudioUpdateHoldsTheSessionFromItsFirstCallToItsLast) {
  StartRecordingSession();
  Fake().SetList("audio_output", R"({"device_id": {"values": []}})");
  Fake().SetList("audio_input", R"({"device_id": {"values": []}})");
  Watch({"gsdk_input_properties", "gsdk_input_properties_free",
         "gsdk_session_update_audio_input_handle"});
  UpdateAudioDevices();
  EXPECT_EQ(seen_, (Lines{"gsdk_input_properties held", "gsdk_input_properties_free held",
                          "gsdk_input_properties held", "gsdk_input_properties_free held",
                          "gsdk_session_update_audio_input_handle held",
                          "gsdk_session_update_audio_input_handle held",
                          "gsdk_session_update_audio_input_handle held"}));
  EXPECT_TRUE(SessionIsFree());
}

TEST_F(SessionLockTest, StartHoldsTheSessionOnlyWhileItBindsTheDevices) {
  Watch({"gsdk_session_create", "gsdk_session_add_audio_input",
         "gsdk_session_update_audio_input_handle", "gsdk_session_start"});
  StartRecordingSession();
  EXPECT_EQ(seen_,
            (Lines{"gsdk_session_create free", "gsdk_session_add_audio_input free",
                   "gsdk_session_add_audio_input free", "gsdk_session_add_audio_input free",
                   "gsdk_session_update_audio_input_handle held",
                   "gsdk_session_update_audio_input_handle held",
                   "gsdk_session_update_audio_input_handle held", "gsdk_session_start free"}));
}

TEST_F(SessionLockTest, KeeperHoldsTheSessionWhileItDestroys) {
  StartRecordingSession();
  Watch({"gsdk_session_destroy", "gsdk_recorder_destroy"});
  StopWorkers();
  EXPECT_EQ(seen_, (Lines{"gsdk_session_destroy held", "gsdk_recorder_destroy held"}));
}

TEST_F(SessionLockTest, CleanUpOfAFailedStartHoldsTheSessionWhileItDestroys) {
  Fake().Fail("gsdk_session_start", 1, 1, "no");
  Watch({"gsdk_session_destroy", "gsdk_recorder_destroy"});
  StartRecordingSession();
  EXPECT_EQ(seen_, (Lines{"gsdk_session_destroy held", "gsdk_recorder_destroy held"}));
}

TEST_F(SessionLockTest, DumpDoesNotHoldTheSession) {
  StartRecordingSession();
  Watch({"gsdk_recorder_dump"});
  ServeClipRequest({.filepath = "a", .id = "1"});
  EXPECT_EQ(seen_, Lines{"gsdk_recorder_dump free"});
}

}  // namespace
}  // namespace core_test
