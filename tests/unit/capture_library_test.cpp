#include "gsdk/capture_library.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/core_fixture.h"

namespace core_test {
namespace {

using namespace capture_service;

using CaptureLibraryTest = CoreTest;
using CaptureLibraryDeathTest = CoreTest;

TEST_F(CaptureLibraryTest, EntryPointsAreBoundInTheirFixedOrder) {
  std::vector<std::string> names;
#define ADD_NAME(name) names.emplace_back(#name);
  GSDK_ENTRY_POINTS(ADD_NAME)
#undef ADD_NAME
  EXPECT_EQ(names,
            (std::vector<std::string>{"gsdk_session_start",
                                      "gsdk_session_create",
                                      "gsdk_session_destroy",
                                      "gsdk_session_set_video_input",
                                      "gsdk_session_update_video_input",
                                      "gsdk_session_add_audio_input",
                                      "gsdk_session_properties_create",
                                      "gsdk_session_properties_audio_set_bitrate",
                                      "gsdk_session_properties_audio_set_samplerate",
                                      "gsdk_session_properties_video_set_ratecontrol",
                                      "gsdk_session_properties_video_set_min_quality",
                                      "gsdk_session_properties_video_set_max_quality",
                                      "gsdk_session_properties_video_set_framerate",
                                      "gsdk_session_properties_video_set_max_height",
                                      "gsdk_session_properties_video_set_max_width",
                                      "gsdk_session_properties_connection_set_type",
                                      "gsdk_session_properties_set_error_callback",
                                      "gsdk_session_properties_connection_callback_set_callback",
                                      "gsdk_session_properties_destroy",
                                      "gsdk_session_update_audio_input_handle",
                                      "gsdk_session_properties_audio_set_tracks_ids",
                                      "gsdk_logging_set_callback",
                                      "gsdk_logging_set_global_level",
                                      "gsdk_recorder_set_duration",
                                      "gsdk_recorder_create",
                                      "gsdk_recorder_destroy",
                                      "gsdk_recorder_dump",
                                      "gsdk_recorder_push_packet",
                                      "gsdk_input_properties",
                                      "gsdk_input_properties_free",
                                      "gsdk_err_free",
                                      "gsdk_err_message",
                                      "gsdk_err_code",
                                      "gsdk_encoded_packet_release"}));
}

TEST_F(CaptureLibraryTest, NamedNumbersAreTheLibrarys) {
  EXPECT_EQ((std::vector<std::int32_t>{kGsdkDumpSuccess, kGsdkDumpEmpty, kGsdkDumpCannotOpen,
                                       kGsdkDumpBadAudioStream, kGsdkDumpBadVideoStream,
                                       kGsdkDumpCannotWrite, kGsdkDumpCannotRename}),
            (std::vector<std::int32_t>{0, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ((std::vector<std::int32_t>{kGsdkErrorRestartable, kGsdkErrorNoEncoder,
                                       kGsdkErrorHopelessInput, kGsdkErrorHookInjectRetry,
                                       kGsdkErrorAlsoRestartable, kGsdkErrorMonitorCapture}),
            (std::vector<std::int32_t>{8, 15, 24, 28, 29, 31}));
  EXPECT_EQ(kGsdkRateControl, 3U);
  EXPECT_EQ(kGsdkConnectionType, 4U);
}

TEST_F(CaptureLibraryTest, InstallingATableLetsTheOneBeforeGo) {
  auto first = std::make_shared<int>(1);
  auto second = std::make_shared<int>(2);
  const std::weak_ptr<int> first_module = first;
  const std::weak_ptr<int> second_module = second;
  InstallCaptureLibrary(FakeLibrary::MakeTable(std::move(first)));
  EXPECT_FALSE(first_module.expired());
  InstallCaptureLibrary(FakeLibrary::MakeTable(std::move(second)));
  EXPECT_TRUE(first_module.expired());
  EXPECT_FALSE(second_module.expired());
}

TEST_F(CaptureLibraryTest, KeeperOutlivesTheTable) {
  auto module = std::make_shared<int>(1);
  const std::weak_ptr<int> watched = module;
  InstallCaptureLibrary(FakeLibrary::MakeTable(std::move(module)));
  std::shared_ptr<void> kept = KeepLibraryLoaded();
  EXPECT_NE(kept, nullptr);
  InstallCaptureLibrary(FakeLibrary::MakeTable());
  EXPECT_FALSE(watched.expired());
  kept.reset();
  EXPECT_TRUE(watched.expired());
}

TEST_F(CaptureLibraryTest, ErrorIsFreedOnceByItsOwner) {
  {
    const LibraryError error(Fake().NewError(24, "busy"));
    EXPECT_EQ(error.Code(), 24);
    EXPECT_EQ(error.Message(), "busy");
    EXPECT_EQ(error.Message(), "busy");
  }
  EXPECT_EQ(TakeRecorded(), (Lines{"gsdk_err_code(error1)", "gsdk_err_message(error1)",
                                   "gsdk_err_message(error1)", "gsdk_err_free(error1)"}));
}

TEST_F(CaptureLibraryTest, ErrorFreedByHandIsNotFreedAgain) {
  {
    LibraryError error(Fake().NewError(1, "x"));
    error.Free();
    error.Free();
    EXPECT_EQ(error.Code(), 0);
    EXPECT_EQ(error.Message(), "");
  }
  EXPECT_EQ(TakeRecorded(), (Lines{"gsdk_err_free(error1)"}));
}

TEST_F(CaptureLibraryTest, SlotIsEmptiedBeforeItIsFilledAgain) {
  {
    LibraryError error;
    EXPECT_EQ(error.Code(), 0);
    *error.Out() = Fake().NewError(1, "first");
    gsdk_error** const slot = error.Out();
    EXPECT_EQ(*slot, nullptr);
    EXPECT_EQ(TakeRecorded(), (Lines{"gsdk_err_free(error1)"}));
    *slot = Fake().NewError(2, "second");
  }
  EXPECT_EQ(TakeRecorded(), (Lines{"gsdk_err_free(error2)"}));
}

// A module that says when it is unloaded.
std::shared_ptr<void> TellingModule() {
  return {new int(1), [](const int* module) {
            delete module;
            std::fputs("unloaded\n", stderr);
          }};
}

TEST_F(CaptureLibraryDeathTest, ModuleIsUnloadedByTheProcessesNormalEnd) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        InstallCaptureLibrary(FakeLibrary::MakeTable(TellingModule()));
        std::exit(7);
      },
      ::testing::ExitedWithCode(7), "^unloaded\n$");
}

TEST_F(CaptureLibraryDeathTest, ModuleThatAThreadStillUsesStaysLoadedToTheEnd) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        InstallCaptureLibrary(FakeLibrary::MakeTable(TellingModule()));
        static auto& kept = *new std::shared_ptr<void>(KeepLibraryLoaded());
        std::atexit([] { std::fputs(kept != nullptr ? "in use\n" : "", stderr); });
        std::exit(7);
      },
      ::testing::ExitedWithCode(7), "^in use\n$");
}

}  // namespace
}  // namespace core_test
