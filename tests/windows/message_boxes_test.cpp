#include "platform/message_boxes.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>

namespace {

TEST(ShowNoMessageBoxes, AddsToWhatWasSet) {
  const UINT system = SetErrorMode(SEM_NOGPFAULTERRORBOX);
  const int runtime = _set_error_mode(_REPORT_ERRMODE);
  platform::ShowNoMessageBoxes();
  EXPECT_EQ(GetErrorMode(), UINT{SEM_NOGPFAULTERRORBOX | SEM_FAILCRITICALERRORS});
  EXPECT_EQ(_set_error_mode(runtime), _OUT_TO_STDERR);
  SetErrorMode(system);
}

}  // namespace
