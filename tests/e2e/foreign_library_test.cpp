// The service with a capture library that was written without the project's interface header
// (tests/doubles/foreign_gsdk.c).
#include <algorithm>

#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

class ForeignLibrary : public ServiceTest {
 protected:
  // A run that has recorded a packet.
  ServiceRun& StartRecordingWithSound() {
    ServiceRun& run = Start({.library = LibraryFile::kForeign});
    StartRecording(run, Settings({{"audio_game", "Speakers"},
                                  {"audio_chat", "Headset"},
                                  {"audio_input", "Microphone"}}));
    EXPECT_TRUE(run.WaitForCall("gsdk_encoded_packet_release"));
    return run;
  }
};

Texts StartCalls() {
  return {"gsdk_logging_set_callback()",
          "gsdk_logging_set_global_level(0)",
          "gsdk_session_create(null, null)",
          "gsdk_session_set_video_input(session, game)",
          "gsdk_session_update_video_input(session, " + GameCaptureSettings() + ")",
          "gsdk_session_add_audio_input(session, audio_output)",
          "gsdk_session_add_audio_input(session, audio_output)",
          "gsdk_session_add_audio_input(session, audio_input)",
          "gsdk_err_message(error)",
          "gsdk_err_free(error)",
          "gsdk_input_properties(audio_output)",
          "gsdk_input_properties_free(list)",
          "gsdk_input_properties(audio_input)",
          "gsdk_input_properties_free(list)",
          R"(gsdk_session_update_audio_input_handle(session, first input, )"
          R"({"device_id": "Speakers", "use_device_timing": false}))",
          "gsdk_session_properties_create()",
          "gsdk_session_properties_audio_set_bitrate(properties, 160000)",
          "gsdk_session_properties_audio_set_samplerate(properties, 48000)",
          "gsdk_session_properties_video_set_ratecontrol(properties, 3)",
          "gsdk_session_properties_video_set_min_quality(properties, 23, 23, 23)",
          "gsdk_session_properties_video_set_max_quality(properties, 23, 23, 23)",
          "gsdk_session_properties_video_set_framerate(properties, 60)",
          "gsdk_session_properties_video_set_max_height(properties, 1080)",
          "gsdk_session_properties_video_set_max_width(properties, 1920)",
          "gsdk_session_properties_audio_set_tracks_ids(properties, 2, Game, Chat)",
          "gsdk_session_properties_connection_set_type(properties, 4)",
          "gsdk_session_properties_set_error_callback(properties, null)",
          "gsdk_recorder_create(properties)",
          "gsdk_recorder_set_duration(recorder, 30000)",
          "gsdk_session_properties_connection_callback_set_callback(properties, recorder)",
          "gsdk_session_start(session, properties)",
          "gsdk_session_properties_destroy(properties)",
          "gsdk_recorder_push_packet(recorder, packet)",
          "gsdk_encoded_packet_release(packet)"};
}

const Texts kDestroyCalls = {"gsdk_session_destroy(session)", "gsdk_recorder_destroy(recorder)"};
const Texts kStartTexts = {GameCaptureLine(),
                           Failure("Add audio input failed: out of \xC3\xA4ther"),
                           Line("a line of a foreign library")};

TEST_F(ForeignLibrary, IsDrivenThroughASessionAndItsClips) {
  ServiceRun& run = StartRecordingWithSound();
  run.Send(Clip("hdr.mp4", "1"));
  run.Send(Clip("plain.mp4", "2"));
  EXPECT_TRUE(run.WaitForTextCount(5));
  run.Send(Die(5));
  EXPECT_EQ(run.WaitForExit(), 5U);
  EXPECT_EQ(run.Texts(),
            Join({kStartTexts,
                  {R"({"clip": {"audio_drop": 1, "captured_from_hdr": true, "duration": 30001, )"
                   R"("id": "1", "last_ts": "-5", "succeeded": true, "video_drop": 3}})",
                   R"({"clip": {"audio_drop": 1, "captured_from_hdr": false, "duration": 30001, )"
                   R"("id": "2", "last_ts": "-5", "succeeded": true, "video_drop": 3}})"}}));
  EXPECT_EQ(
      run.Calls().Calls(),
      Join({StartCalls(),
            {"gsdk_recorder_dump(recorder, hdr.mp4)", "gsdk_recorder_dump(recorder, plain.mp4)"},
            kDestroyCalls}));
  EXPECT_EQ(run.Calls().Detach(), "free_library");
}

TEST_F(ForeignLibrary, EndsTheServiceWithAnErrorOfItsConnection) {
  ServiceRun& run = StartRecordingWithSound();
  run.Touch("go");
  EXPECT_EQ(run.WaitForExit(), 21U);
  EXPECT_EQ(run.Texts(), Join({kStartTexts,
                               {Failure("Error occurred that terminated the connection: "
                                        "out of \xC3\xA4ther")}}));
  EXPECT_EQ(run.Calls().Calls(),
            Join({StartCalls(),
                  {"gsdk_err_code(error)", "gsdk_err_message(error)", "gsdk_err_free(error)"},
                  kDestroyCalls}));
  EXPECT_EQ(run.Calls().Detach(), "free_library");
}

}  // namespace
}  // namespace e2e
