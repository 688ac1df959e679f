// The fixture of all tests of the core: process-wide state as at process start, a fake library
// installed, and, at the end, every thread joined and nothing of the library or the
// error-reporting SDK left over.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "protocol/recorder_settings.h"
#include "tests/fakes/fake_library.h"
#include "tests/fakes/fake_sentry_sdk.h"
#include "tests/fakes/fake_windows.h"
#include "tests/fakes/transcript.h"

namespace core_test {

class CoreTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Objects that the library keeps on purpose at the end of this test.
  std::vector<std::string> expected_live_objects;
};

// Settings with which a session starts in window mode, all devices named.
capture_service::RecorderSettings CompleteSettings();

// The command queue's content so far, taken off it; each as its type's number.
std::vector<int> TakeCommandTypes();

// Creates a recorder of the fake library and makes it the running session's, without a session.
void GiveSessionARecorder();

}  // namespace core_test
