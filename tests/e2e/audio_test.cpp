// The audio inputs of a session and the devices that they are bound to.
#include "tests/e2e/reports.h"
#include "tests/e2e/service_test.h"
#include "tests/e2e/session_calls.h"

namespace e2e {
namespace {

using Devices = std::vector<std::string>;

std::string DeviceList(const Devices& devices) {
  Json::array values;
  for (const std::string& device : devices) values.push_back(Json::object{{"value", device}});
  return Json(Json::object{{"device_id", Json::object{{"values", values}}}}).dump();
}

// The answers to the first, second, ... question for each kind; the last answers all later ones.
Json::object Lists(const std::vector<Devices>& outputs, const std::vector<Devices>& inputs) {
  Json::array output_texts;
  Json::array input_texts;
  for (const Devices& devices : outputs) output_texts.push_back(DeviceList(devices));
  for (const Devices& devices : inputs) input_texts.push_back(DeviceList(devices));
  return {{"lists", Json::object{{"audio_output", output_texts}, {"audio_input", input_texts}}}};
}

std::string Binding(const std::string& input, const std::string& device, bool result = true,
                    const std::string& error = "") {
  return "gsdk_session_update_audio_input_handle(session1, " + input + ", {\"device_id\": \"" +
         device + "\", \"use_device_timing\": false}) = " + (result ? "true" : "false " + error);
}

const Json::object kThreeDevices = {
    {"audio_game", "Speakers"}, {"audio_chat", "Headset"}, {"audio_input", "Microphone"}};

class Audio : public ServiceTest {
 protected:
  static Texts Bindings(const ServiceRun& run) {
    return run.Calls().CallsThatStart("gsdk_session_update_audio_input_handle");
  }
  static Texts Tracks(const ServiceRun& run) {
    return run.Calls().CallsThatStart("gsdk_session_properties_audio_set_tracks_ids");
  }

  // Sends settings and an audio change, and returns once the change has been carried out, which a
  // second change to the same settings shows by its questions for the lists.
  static void Change(ServiceRun& run, const Json& settings) {
    const std::size_t questions =
        run.Calls().CallsThatStart("gsdk_input_properties(audio_in").size();
    run.Send(RecorderSettings(settings));
    run.Send(ChangeAudio());
    run.Send(ChangeAudio());
    EXPECT_TRUE(run.WaitForCall("gsdk_input_properties(audio_in", questions + 2));
  }
};

TEST_F(Audio, AddsAndBindsThreeSources) {
  ServiceRun& run =
      StartRecordingService({.script = Lists({{"Headset", "Other", "Speakers"}}, {{"Microphone"}})},
                            Settings(kThreeDevices));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts(), Texts{GameCaptureLine()});
  const SessionCalls calls;
  EXPECT_EQ(run.Calls().Calls(),
            Join({calls.Create(),
                  calls.SetVideoInput(),
                  calls.UpdateVideoInput(),
                  {"gsdk_session_add_audio_input(session1, audio_output, null) = true audio_input1",
                   "gsdk_session_add_audio_input(session1, audio_output, null) = true audio_input2",
                   "gsdk_session_add_audio_input(session1, audio_input, null) = true audio_input3"},
                  calls.ReadAudioLists(),
                  {Binding("audio_input1", "Speakers"), Binding("audio_input2", "Headset"),
                   Binding("audio_input3", "Microphone")},
                  calls.Configure({"Game", "Chat", "Mic"}),
                  calls.StartAndDestroyProperties(),
                  calls.Destroy()}));
}

TEST_F(Audio, LeavesOutWhatIsNone) {
  ServiceRun& run = StartRecordingService({.script = Lists({{"Headset"}}, {{"Microphone"}})},
                                          Settings({{"audio_chat", "Headset"}}));
  ExpectCleanDie(run);
  EXPECT_EQ(
      run.Calls().CallsThatStart("gsdk_session_add_audio_input"),
      Texts{"gsdk_session_add_audio_input(session1, audio_output, null) = true audio_input1"});
  EXPECT_EQ(Bindings(run), Texts{Binding("audio_input1", "Headset")});
  EXPECT_EQ(Tracks(run),
            Texts{"gsdk_session_properties_audio_set_tracks_ids(properties1, 1, [\"Chat\"])"});
}

TEST_F(Audio, OnlyTheExactWordIsNone) {
  ServiceRun& run = StartRecordingService(
      {}, Settings({{"audio_game", "None"}, {"audio_chat", "none "}, {"audio_input", nullptr}}));
  ExpectCleanDie(run);
  EXPECT_EQ(Tracks(run), Texts{"gsdk_session_properties_audio_set_tracks_ids(properties1, 3, "
                               "[\"Game\", \"Chat\", \"Mic\"])"});
  EXPECT_EQ(Bindings(run), Texts{});
}

TEST_F(Audio, ADeviceCalledNoneIsBoundWithoutAnInput) {
  ServiceRun& run = StartRecordingService({.script = Lists({{"none"}}, {{}})}, Settings());
  ExpectCleanDie(run);
  // Game and chat name the same device, and Game keeps it.
  EXPECT_EQ(Bindings(run), Texts{Binding("null", "none")});
}

TEST_F(Audio, AFailedInputIsLoggedAndLeftOut) {
  Json::object script = Lists({{"Speakers", "Headset"}}, {{"Microphone"}});
  script["calls"] = FailingCall("gsdk_session_add_audio_input", 15, "no input", 2)["calls"];
  ServiceRun& run = StartRecordingService({.script = script}, Settings(kThreeDevices));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts(), (Texts{GameCaptureLine(), Failure("Add audio input failed: no input")}));
  EXPECT_EQ(Tracks(run), Texts{"gsdk_session_properties_audio_set_tracks_ids(properties1, 2, "
                               "[\"Game\", \"Mic\"])"});
  EXPECT_EQ(Bindings(run), (Texts{Binding("audio_input1", "Speakers"), Binding("null", "Headset"),
                                  Binding("audio_input2", "Microphone")}));
}

TEST_F(Audio, WithoutAnyInputTheTrackIsSilence) {
  Json::object script = Lists({{}}, {{}});
  script["calls"] = Json::object{{"gsdk_session_add_audio_input",
                                  Json::array{Json::object{{"code", 1}, {"message", "never"}}}}};
  ServiceRun& run = StartRecordingService({.script = script}, Settings(kThreeDevices));
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts().size(), 4U);
  EXPECT_EQ(Tracks(run), Texts{"gsdk_session_properties_audio_set_tracks_ids(properties1, 1, "
                               "[\"Silence\"])"});
}

TEST_F(Audio, ASharedDeviceIsBoundToTheGame) {
  ServiceRun& run = StartRecordingService(
      {.script = Lists({{"Shared"}}, {{"Shared"}})},
      Settings({{"audio_game", "Shared"}, {"audio_chat", "Shared"}, {"audio_input", "Shared"}}));
  ExpectCleanDie(run);
  EXPECT_EQ(Bindings(run),
            (Texts{Binding("audio_input1", "Shared"), Binding("audio_input3", "Shared")}));
}

TEST_F(Audio, ADeviceThatIsNotListedIsNotBound) {
  ServiceRun& run = StartRecordingService(
      {.script = Lists({{"speakers", "Headset "}}, {{"Speakers", "Headset"}})},
      Settings(kThreeDevices));
  ExpectCleanDie(run);
  EXPECT_EQ(Bindings(run), Texts{});
}

TEST_F(Audio, ReadsOddListsLeniently) {
  const std::string list = R"({"device_id": {"values": [{"value": 7}, 3, {"value": "Speakers"},
      {"value": "Speakers"}, {"name": "Headset"}]}, "other": 1})";
  ServiceRun& run = StartRecordingService(
      {.script = Json::object{{"lists", Json::object{{"audio_output", Json::array{list}},
                                                     {"audio_input", Json::array{"[]"}}}}}},
      Settings(kThreeDevices));
  ExpectCleanDie(run);
  EXPECT_EQ(Bindings(run), Texts{Binding("audio_input1", "Speakers")});
}

TEST_F(Audio, AnUnchangedUpdateSendsNothing) {
  ServiceRun& run = StartRecordingService(
      {.script = Lists({{"Speakers", "Headset"}}, {{"Microphone"}})}, Settings(kThreeDevices));
  Change(run, Json::object{});
  ExpectCleanDie(run);
  EXPECT_EQ(Bindings(run).size(), 3U);
}

TEST_F(Audio, AChangedChatDeviceSendsOneUpdate) {
  ServiceRun& run = StartRecordingService(
      {.script = Lists({{"Speakers", "Headset", "Kopfh\xC3\xB6rer"}}, {{"Microphone"}})},
      Settings(kThreeDevices));
  Change(run, Json::object{{"audio_chat", "Kopfh\xC3\xB6rer"}});
  ExpectCleanDie(run);
  const Texts bindings = Bindings(run);
  ASSERT_EQ(bindings.size(), 4U);
  EXPECT_EQ(bindings[3], Binding("audio_input2", "Kopfh\xC3\xB6rer"));
}

TEST_F(Audio, AChatThatComesToShareTheGamesDeviceLosesItsOwn) {
  ServiceRun& run = StartRecordingService(
      {.script = Lists({{"Speakers", "Headset"}}, {{"Microphone"}})}, Settings(kThreeDevices));
  Change(run, Json::object{{"audio_chat", "Speakers"}});
  ExpectCleanDie(run);
  const Texts bindings = Bindings(run);
  ASSERT_EQ(bindings.size(), 4U);
  EXPECT_EQ(bindings[3], Binding("audio_input2", ""));
}

TEST_F(Audio, ADeviceThatDisappearsAndComesBackIsUnboundAndBound) {
  // The lists: at the start, after the unplugging (twice), then plugged in again
  const Devices all = {"Speakers", "Headset"};
  ServiceRun& run = StartRecordingService(
      {.script = Lists({all, {"Headset"}, {"Headset"}, all}, {{"Microphone"}})},
      Settings(kThreeDevices));
  Change(run, Json::object{});
  Change(run, Json::object{});
  ExpectCleanDie(run);
  const Texts bindings = Bindings(run);
  ASSERT_EQ(bindings.size(), 5U);
  EXPECT_EQ(bindings[3], Binding("audio_input1", ""));
  EXPECT_EQ(bindings[4], Binding("audio_input1", "Speakers"));
}

TEST_F(Audio, AFailedBindingIsLoggedKeptAndDoesNotStopTheOthers) {
  Json::object script = Lists({{"Speakers", "Headset"}}, {{"Microphone"}});
  script["calls"] =
      FailingCall("gsdk_session_update_audio_input_handle", 15, "unplugged", 1)["calls"];
  ServiceRun& run = StartRecordingService({.script = script}, Settings(kThreeDevices));
  Change(run, Json::object{});
  ExpectCleanDie(run);
  EXPECT_EQ(run.Texts(),
            (Texts{GameCaptureLine(), Failure("Update audio settings failed: unplugged")}));
  EXPECT_EQ(Bindings(run),
            (Texts{Binding("audio_input1", "Speakers", false, "error1"),
                   Binding("audio_input2", "Headset"), Binding("audio_input3", "Microphone")}));
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_err_"),
            (Texts{"gsdk_err_message(error1)", "gsdk_err_free(error1)"}));
}

TEST_F(Audio, ARestartBindsEverySourceAgain) {
  ServiceRun& run = StartRecordingService({.script = Lists({{"Speakers"}}, {{}})},
                                          Settings({{"audio_game", "Speakers"}}));
  run.Send(Restart());
  EXPECT_TRUE(run.WaitForCall("gsdk_session_properties_destroy", 2));
  ExpectCleanDie(run);
  EXPECT_EQ(Bindings(run).size(), 2U);
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_session_add_audio_input"),
            (Texts{"gsdk_session_add_audio_input(session1, audio_output, null) = true audio_input1",
                   "gsdk_session_add_audio_input(session2, audio_output, null) = true "
                   "audio_input2"}));
}

// An audio list that can't be had or read.
struct BadAudioList {
  const char* name;
  const char* kind;
  std::optional<Json> answer;  // nothing: the call fails
  std::string message;
  std::uint32_t exit_code;
};

void PrintTo(const BadAudioList& bad, std::ostream* out) { *out << bad.name; }

class AudioListFailure : public Audio, public ::testing::WithParamInterface<BadAudioList> {
 protected:
  // A script whose `n`-th answer for the kind is the bad one, after good ones.
  static Json Script(int n) {
    const BadAudioList& bad = GetParam();
    if (!bad.answer) {
      // The lists are asked for in turn, outputs first.
      const int call = 2 * n - (std::string(bad.kind) == "audio_output" ? 1 : 0);
      return FailingCall("gsdk_input_properties", 2, "no sound", call);
    }
    Json::array answers(static_cast<std::size_t>(n - 1), "{}");
    answers.push_back(*bad.answer);
    return Json::object{{"lists", Json::object{{bad.kind, answers}}}};
  }

  // Which texts the library is not given back.
  static Texts LostTexts(int made) {
    const BadAudioList& bad = GetParam();
    if (!bad.answer || bad.answer->is_null()) return {};
    return {"text: " + std::to_string(made) + " made, " + std::to_string(made - 1) + " given back"};
  }
};

TEST_P(AudioListFailure, AtAnUpdateEndsTheService) {
  const BadAudioList& bad = GetParam();
  const bool is_output = std::string(bad.kind) == "audio_output";
  ServiceRun& run = StartRecordingService({.script = Script(2)}, Settings());
  run.Send(ChangeAudio());
  EXPECT_EQ(run.WaitForExit(), bad.exit_code);
  EXPECT_EQ(Last(run.Texts()), Failure(bad.message));
  // The inputs are not asked for after a failure of the outputs.
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_input_properties(").size(), is_output ? 3U : 4U);
  EXPECT_EQ(run.Calls().Imbalances(), LostTexts(is_output ? 3 : 4));
}

TEST_P(AudioListFailure, AtASessionStartEndsTheServiceAfterTheStart) {
  const BadAudioList& bad = GetParam();
  ServiceRun& run = Start({.script = Script(1)});
  run.Send(ReportingSettings());
  StartRecording(run, Settings());
  EXPECT_EQ(run.WaitForExit(), bad.exit_code);
  EXPECT_EQ(run.Texts(), (Texts{GameCaptureLine(), Failure(bad.message)}));
  const std::string kind =
      bad.exit_code == 3 ? "3 GSDKBadAudioInput" : "4 CannotParseAudioDeviceData";
  EXPECT_EQ(Incidents(run), ExpectedIncidents(run.Texts(), kind, Reported::kAsEvent));
  EXPECT_EQ(run.Calls().Imbalances(), LostTexts(std::string(bad.kind) == "audio_output" ? 1 : 2));
  const Texts calls = run.Calls().Calls();
  ASSERT_GE(calls.size(), 4U);
  EXPECT_EQ(Texts(calls.end() - 4, calls.end()),
            Join({SessionCalls().StartAndDestroyProperties(), SessionCalls().Destroy()}));
}

INSTANTIATE_TEST_SUITE_P(
    Table, AudioListFailure,
    ::testing::Values(
        BadAudioList{"Outputs", "audio_output", {}, "getting audio_output failed: no sound", 3},
        BadAudioList{"Inputs", "audio_input", {}, "getting audio_input failed: no sound", 3},
        BadAudioList{"OutputsNull", "audio_output", Json(),
                     "error parsing gsdk_input_properties json: null input", 4},
        BadAudioList{"InputsNull", "audio_input", Json(),
                     "error parsing gsdk_input_properties json: null input", 4},
        BadAudioList{"OutputsJsonNull", "audio_output", "null",
                     "error parsing gsdk_input_properties json: ", 4},
        BadAudioList{"InputsCutOff", "audio_input", "{", ParseError("{"), 4}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace e2e
