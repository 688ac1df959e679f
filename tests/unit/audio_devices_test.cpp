#include "recording/audio_devices.h"

#include <string>

#include "diagnostics/error_reporting.h"
#include "gsdk/capture_library.h"
#include "recording/session_state.h"
#include "tests/unit/core_fixture.h"
#include "tests/unit/session_transcript.h"

namespace core_test {
namespace {

using namespace capture_service;

// A session with three inputs, input1 to input3, that are bound to nothing.
class AudioDevicesTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    SetUpGame();
    SessionState& session = Session();
    gsdk_error* error = nullptr;
    ASSERT_TRUE(Library().gsdk_session_create(&session.session, nullptr, &error));
    for (AudioInputSlot& slot : session.audio_inputs) {
      ASSERT_TRUE(
          Library().gsdk_session_add_audio_input(session.session, "x", &slot.handle, &error));
    }
    TakeRecorded();
  }

  void TearDown() override {
    Library().gsdk_session_destroy(Session().session);
    CoreTest::TearDown();
  }

  // The lines of one update; the text names start at the n-th update's, if both lists are read.
  Lines Bind() {
    const std::lock_guard lock(Session().mutex);
    BindAudioDevices(Session(), CurrentRecorderSettings());
    return TakeRecorded();
  }

  // The lines of the n-th update that reads both lists and then sends these.
  static Lines Update(int n, const Lines& sent) {
    return Concat({ListLines("audio_output", "text" + std::to_string(2 * n - 1)),
                   ListLines("audio_input", "text" + std::to_string(2 * n)), sent});
  }

  static std::string Device(AudioInput input) {
    return Session().audio_inputs.at(input).current_device;
  }
};

std::string Game(const std::string& device) { return BindingLine("session1", "input1", device); }
std::string Chat(const std::string& device) { return BindingLine("session1", "input2", device); }
std::string Mic(const std::string& device) { return BindingLine("session1", "input3", device); }

void SetOutputs(const std::string& values) {
  Fake().SetList("audio_output", R"({"device_id": {"values": [)" + values + "]}}");
}

TEST_F(AudioDevicesTest, EveryListedDeviceIsSentToItsSource) {
  EXPECT_EQ(Bind(), Update(1, {Game("Speakers"), Chat("Headset"), Mic("Microphone")}));
}

TEST_F(AudioDevicesTest, NothingIsSentAgainWhileNothingChanges) {
  Bind();
  EXPECT_EQ(Bind(), Update(2, {}));
}

TEST_F(AudioDevicesTest, OnlyTheSourceThatChangedIsSent) {
  Bind();
  SetOutputs(R"({"value": "Speakers"}, {"value": "USB"}, {"value": "Headset"})");
  CurrentRecorderSettings().audio_chat = "USB";
  EXPECT_EQ(Bind(), Update(2, {Chat("USB")}));
}

TEST_F(AudioDevicesTest, DeviceThatBothOutputsWantGoesToTheGame) {
  CurrentRecorderSettings().audio_chat = "Speakers";
  EXPECT_EQ(Bind(), Update(1, {Game("Speakers"), Mic("Microphone")}));
}

TEST_F(AudioDevicesTest, ChatLosesItsDeviceWhenTheGameWantsItToo) {
  Bind();
  CurrentRecorderSettings().audio_game = "Headset";
  EXPECT_EQ(Bind(), Update(2, {Game("Headset"), Chat("")}));
}

TEST_F(AudioDevicesTest, OutputAndInputOfTheSameNameAreDifferentDevices) {
  CurrentRecorderSettings().audio_input = "Speakers";
  EXPECT_EQ(Bind(), Update(1, {Game("Speakers"), Chat("Headset")}));
  Fake().SetList("audio_input", R"({"device_id": {"values": [{"value": "Speakers"}]}})");
  EXPECT_EQ(Bind(), Update(2, {Mic("Speakers")}));
}

TEST_F(AudioDevicesTest, DeviceThatIsNotListedCountsAsNone) {
  CurrentRecorderSettings().audio_game = "speakers";
  EXPECT_EQ(Bind(), Update(1, {Chat("Headset"), Mic("Microphone")}));
  EXPECT_EQ(Device(kGameAudio), "");
}

TEST_F(AudioDevicesTest, DeviceThatDisappearsIsTakenAwayOnce) {
  Bind();
  SetOutputs(R"({"value": "Headset"})");
  EXPECT_EQ(Bind(), Update(2, {Game("")}));
  EXPECT_EQ(Bind(), Update(3, {}));
  SetOutputs(R"({"value": "Headset"}, {"value": "Speakers"})");
  EXPECT_EQ(Bind(), Update(4, {Game("Speakers")}));
}

TEST_F(AudioDevicesTest, NoneIsBoundOnlyWhenTheLibraryListsIt) {
  CurrentRecorderSettings().audio_game = "none";
  EXPECT_EQ(Bind(), Update(1, {Chat("Headset"), Mic("Microphone")}));
  SetOutputs(R"({"value": "Headset"}, {"value": "none"})");
  EXPECT_EQ(Bind(), Update(2, {Game("none")}));
}

TEST_F(AudioDevicesTest, SourceWithoutAHandleIsSentAllTheSame) {
  Session().audio_inputs.at(kChatAudio).handle = nullptr;
  EXPECT_EQ(Bind(), Update(1, {Game("Speakers"), BindingLine("session1", "null", "Headset"),
                               Mic("Microphone")}));
}

TEST_F(AudioDevicesTest, StrangeEntriesMatchNothing) {
  SetOutputs(R"(5, {"value": 7}, {"value": ["Speakers"]}, {"Value": "Speakers"}, "Headset")");
  EXPECT_EQ(Bind(), Update(1, {Mic("Microphone")}));
  Fake().SetList("audio_output", R"({"device_id": []})");
  EXPECT_EQ(Bind(), Update(2, {}));
}

TEST_F(AudioDevicesTest, EntryWithoutATextMatchesAnEmptySettingAndChangesNothing) {
  CurrentRecorderSettings().audio_game = "";
  SetOutputs(R"({"value": 7}, {"value": "Headset"})");
  EXPECT_EQ(Bind(), Update(1, {Chat("Headset"), Mic("Microphone")}));
}

TEST_F(AudioDevicesTest, NamesAreCarriedUnchanged) {
  const std::string name = "Laut\xC3\xA4 \"1\" \\ /";
  CurrentRecorderSettings().audio_game = name;
  SetOutputs("{\"value\": " + Quoted(name) + "}");
  EXPECT_EQ(Bind(), Update(1, {Game(name), Mic("Microphone")}));
}

TEST_F(AudioDevicesTest, RefusedOutputListEndsTheUpdateBeforeTheInputs) {
  Fake().Fail("gsdk_input_properties", 1, 1, "sorry");
  EXPECT_EQ(Bind(),
            (Lines{"gsdk_input_properties(\"audio_output\") = error1", "gsdk_err_message(error1)",
                   FailureToHost("getting audio_output failed: sorry"), "gsdk_err_free(error1)",
                   DieRequest(3)}));
  EXPECT_EQ(Device(kGameAudio), "");
}

TEST_F(AudioDevicesTest, RefusedInputListLeavesTheOutputsUnsentToo) {
  Fake().Fail("gsdk_input_properties", 2, 1, "sorry");
  EXPECT_EQ(Bind(),
            Concat({ListLines("audio_output", "text1"),
                    {"gsdk_input_properties(\"audio_input\") = error1", "gsdk_err_message(error1)",
                     FailureToHost("getting audio_input failed: sorry"), "gsdk_err_free(error1)",
                     DieRequest(3)}}));
  EXPECT_EQ(Device(kGameAudio), "");
}

TEST_F(AudioDevicesTest, FailedListIsAnEvent) {
  ErrorReportingEnabled = true;
  Fake().Fail("gsdk_input_properties", 1, 1, "sorry");
  EXPECT_THAT(Bind(), ::testing::Contains(EventLine("Error 3 GSDKBadAudioInput",
                                                    "getting audio_output failed: sorry")));
}

TEST_F(AudioDevicesTest, NullListFailsAsNullInput) {
  Fake().SetList("audio_output", std::nullopt);
  EXPECT_EQ(Bind(), (Lines{"gsdk_input_properties(\"audio_output\") = null",
                           FailureToHost("error parsing gsdk_input_properties json: null input"),
                           DieRequest(4)}));
}

// The library keeps such a text, so the test gives it back itself.
TEST_F(AudioDevicesTest, ListThatDoesNotParseIsNotGivenBack) {
  char* kept = nullptr;
  const auto original = Library().gsdk_input_properties;
  static char** kept_slot = nullptr;
  static decltype(&::gsdk_input_properties) real = nullptr;
  kept_slot = &kept;
  real = original;
  auto table = FakeLibrary::MakeTable();
  table->gsdk_input_properties = [](const char* kind, char** text, gsdk_error** error) {
    const bool done = real(kind, text, error);
    *kept_slot = *text;
    return done;
  };
  InstallCaptureLibrary(std::move(table));

  for (const auto& [list, error] :
       {std::pair{"{", "unexpected end of input in object"}, {"null", ""}}) {
    Fake().SetList("audio_output", list);
    const Lines lines = Bind();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_THAT(lines.at(0), ::testing::StartsWith("gsdk_input_properties(\"audio_output\") = "));
    EXPECT_THAT(lines.at(1),
                ::testing::StartsWith(TextToHost("{\"error\": \"[Glimra error]: error parsing "
                                                 "gsdk_input_properties json: ")));
    EXPECT_EQ(lines.at(2), DieRequest(4));
    ASSERT_NE(kept, nullptr);
    EXPECT_STREQ(kept, list) << "still readable";
    Library().gsdk_input_properties_free(kept);
    TakeRecorded();
  }
}

TEST_F(AudioDevicesTest, FailedUpdateOfOneSourceKeepsItsNewDeviceAndTheOthersGoOn) {
  ErrorReportingEnabled = true;
  Fake().Fail("gsdk_session_update_audio_input_handle", 1, 9, "busy");
  const std::string message = "Update audio settings failed: busy";
  std::string refused = Game("Speakers");
  refused.replace(refused.size() - std::string("true").size(), std::string::npos, "error1");
  EXPECT_EQ(Bind(), Update(1, {refused, "gsdk_err_message(error1)", FailureToHost(message),
                               StacktraceLine("Error Update audio settings", message),
                               EventLine("Error Update audio settings", message),
                               BreadcrumbLine("error", message), "gsdk_err_free(error1)",
                               Chat("Headset"), Mic("Microphone")}));
  EXPECT_EQ(Device(kGameAudio), "Speakers");
  EXPECT_EQ(Bind(), Update(2, {}));
}

}  // namespace
}  // namespace core_test
