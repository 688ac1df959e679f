#include "protocol/error_codes.h"

#include <map>
#include <string>

#include "diagnostics/fatal_failure.h"
#include "protocol/service_requests.h"
#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

using ErrorCodesTest = CoreTest;

// The contract with the host; changing a line here breaks it.
const std::map<std::string, std::int32_t>& Contract() {
  static const std::map<std::string, std::int32_t> contract = {
      {"GSDKBadAudioInput", 3},
      {"CannotParseAudioDeviceData", 4},
      {"NoRecordingPacketsSinceStartup", 5},
      {"NoRecordingPacketsWithinTimeout", 6},
      {"BadRecorderSettings", 7},
      {"MissingGamePid", 8},
      {"GSDKSessionCreateFailed", 9},
      {"UnknownRecordingMode", 10},
      {"GSDKSetVideoInputFailed", 11},
      {"GSDKReadMonitorPropertiesFailed", 12},
      {"CannotParseMonitorData", 13},
      {"GSDKReadWindowPropertiesFailed", 14},
      {"CannotParseWindowData", 15},
      {"FailedToSetVideoInput", 16},
      {"GSDKSessionStartFailed", 17},
      {"GSDKHookInjectRetry", 18},
      {"BadRecordingMode", 19},
      {"CannotFindWindow", 20},
      {"GSDKMonitorCaptureFailed", 21},
      {"GSDKEncoderNotFound", 22},
      {"GSDKGenericExitError", 200},
      {"JoinThreadError", 201},
  };
  return contract;
}

TEST_F(ErrorCodesTest, TableHoldsExactlyTheContractsNamesAndNumbers) {
  std::map<std::string, std::int32_t> table;
  for (const ErrorCodeEntry& entry : ErrorCodeTable) {
    table.emplace(entry.name, ErrorNumber(entry.code));
  }
  EXPECT_EQ(table, Contract());
  EXPECT_EQ(ErrorCodeTable.size(), Contract().size());
}

TEST_F(ErrorCodesTest, LookupIsExactAndFindsNothingElse) {
  for (const auto& [name, number] : Contract()) {
    EXPECT_EQ(FindErrorCode(name), static_cast<ErrorCode>(number)) << name;
    EXPECT_EQ(ErrorName(static_cast<ErrorCode>(number)), name);
  }
  for (const char* name : {"", "RecorderSettings", "Audio Input", "gsdkbadaudioinput",
                           "GSDKBadAudioInput ", "GSDKBadAudio", "3"}) {
    EXPECT_EQ(FindErrorCode(name), std::nullopt) << name;
  }
}

TEST_F(ErrorCodesTest, EveryFailureRaisedLogsItsMessageThenPostsItsNumber) {
  for (const auto& [name, number] : Contract()) {
    RaiseFailure(FindErrorCode(name).value(), "message of " + name, ReportAs::kInfo);
    EXPECT_EQ(TakeRecorded(), (Lines{FailureToHost("message of " + name), DieRequest(number)}));
  }
}

// A failure can only be raised by an enumerator: a misspelt one does not compile.
template <typename Failure>
concept CanBeRaised = requires(Failure failure, const std::string& text, LibraryError& error) {
  RaiseFailure(failure, text, ReportAs::kErrorEvent);
  RaiseFailure(failure, text, error, ReportAs::kErrorEvent);
};
template <typename Failure>
concept CanBePosted = requires(Failure failure) {
  PostDieEvent(failure);
};

static_assert(CanBeRaised<ErrorCode> && CanBePosted<ErrorCode>);
static_assert(!CanBeRaised<const char*> && !CanBePosted<const char*>);
static_assert(!CanBeRaised<std::string> && !CanBePosted<std::string>);
static_assert(!CanBeRaised<std::string_view> && !CanBePosted<std::string_view>);
static_assert(!CanBeRaised<std::int32_t>);

TEST_F(ErrorCodesTest, LibraryErrorIsReadThenFreedOnceBeforeTheDieRequest) {
  LibraryError error(Fake().NewError(5, "no device"));
  RaiseFailure(ErrorCode::GSDKBadAudioInput, "getting x failed: ", error, ReportAs::kErrorEvent);
  EXPECT_EQ(TakeRecorded(),
            (Lines{"gsdk_err_message(error1)", FailureToHost("getting x failed: no device"),
                   "gsdk_err_free(error1)", DieRequest(3)}));
}

}  // namespace
}  // namespace core_test
