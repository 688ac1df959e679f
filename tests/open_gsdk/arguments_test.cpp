// Every entry point with what it should never be given: the exact codes, and no crash.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "gsdk/gsdk_api.h"
#include "tests/open_gsdk/client.h"
#include "tests/open_gsdk/window.h"

namespace open_gsdk {
namespace {

constexpr int kInvalidArgument = 1;
constexpr int kInvalidHandle = 2;
constexpr int kMalformedJson = 3;
constexpr int kInputNotReady = 23;
constexpr int kInputGone = 24;

template <typename Handle>
Handle* MadeUp() {
  return reinterpret_cast<Handle*>(std::uintptr_t{0xDEADBEE0});
}

gsdk_session* DestroyedSession() {
  gsdk_session* session = nullptr;
  EXPECT_TRUE(gsdk_session_create(&session, nullptr, nullptr));
  gsdk_session_destroy(session);
  return session;
}

gsdk_properties* DestroyedProperties() {
  gsdk_properties* properties = gsdk_session_properties_create();
  gsdk_session_properties_destroy(properties);
  return properties;
}

TEST(Arguments, SessionCreateNeedsASlot) {
  EXPECT_EQ(CodeOf([](gsdk_error** e) { return gsdk_session_create(nullptr, nullptr, e); }),
            kInvalidArgument);
}

TEST(Arguments, SessionsThatAreNullDestroyedOrOfAnotherKindAreRefused) {
  gsdk_properties* properties = gsdk_session_properties_create();
  gsdk_session* const bad[] = {nullptr, DestroyedSession(), MadeUp<gsdk_session>(),
                               reinterpret_cast<gsdk_session*>(properties)};
  for (gsdk_session* session : bad) {
    gsdk_audio_input* input = nullptr;
    EXPECT_EQ(CodeOf([&](gsdk_error** e) { return gsdk_session_start(session, properties, e); }),
              kInvalidHandle);
    EXPECT_EQ(
        CodeOf([&](gsdk_error** e) { return gsdk_session_set_video_input(session, "game", e); }),
        kInvalidHandle);
    EXPECT_EQ(
        CodeOf([&](gsdk_error** e) { return gsdk_session_update_video_input(session, "{}", e); }),
        kInvalidHandle);
    EXPECT_EQ(CodeOf([&](gsdk_error** e) {
                return gsdk_session_add_audio_input(session, "audio_input", &input, e);
              }),
              kInvalidHandle);
    EXPECT_EQ(CodeOf([&](gsdk_error** e) {
                return gsdk_session_update_audio_input_handle(session, input, "{}", e);
              }),
              kInvalidHandle);
    gsdk_session_destroy(session);
  }
  // The properties handle was no session, and still lives.
  EXPECT_NE(gsdk_recorder_create(properties), nullptr);
  gsdk_session_properties_destroy(properties);
}

TEST(Arguments, NullTextsAreRefused) {
  const Client client;
  gsdk_session* session = client.session();
  gsdk_audio_input* input = nullptr;
  char* text = nullptr;
  EXPECT_EQ(
      CodeOf([&](gsdk_error** e) { return gsdk_session_set_video_input(session, nullptr, e); }),
      kInvalidArgument);
  EXPECT_EQ(
      CodeOf([&](gsdk_error** e) { return gsdk_session_update_video_input(session, nullptr, e); }),
      kInvalidArgument);
  EXPECT_EQ(CodeOf([&](gsdk_error** e) {
              return gsdk_session_add_audio_input(session, nullptr, &input, e);
            }),
            kInvalidArgument);
  EXPECT_EQ(CodeOf([&](gsdk_error** e) {
              return gsdk_session_add_audio_input(session, "audio_input", nullptr, e);
            }),
            kInvalidArgument);
  EXPECT_EQ(CodeOf([&](gsdk_error** e) {
              return gsdk_session_update_audio_input_handle(session, input, nullptr, e);
            }),
            kInvalidArgument);
  EXPECT_EQ(CodeOf([&](gsdk_error** e) { return gsdk_input_properties(nullptr, &text, e); }),
            kInvalidArgument);
  EXPECT_EQ(CodeOf([](gsdk_error** e) { return gsdk_input_properties("window", nullptr, e); }),
            kInvalidArgument);
}

TEST(Arguments, UnknownKindsAreRefused) {
  const Client client;
  gsdk_audio_input* input = nullptr;
  char* text = nullptr;
  EXPECT_EQ(CodeOf([&](gsdk_error** e) {
              return gsdk_session_set_video_input(client.session(), "Window", e);
            }),
            kInvalidArgument);
  EXPECT_EQ(CodeOf([&](gsdk_error** e) {
              return gsdk_session_add_audio_input(client.session(), "audio", &input, e);
            }),
            kInvalidArgument);
  EXPECT_EQ(CodeOf([&](gsdk_error** e) { return gsdk_input_properties("game", &text, e); }),
            kInvalidArgument);
  EXPECT_EQ(text, nullptr);
}

TEST(Arguments, CallsInTheWrongOrderAreRefused) {
  const TestWindow window(L"order", 64, 64, 0);
  Client client;
  EXPECT_EQ(client.Start(), kInvalidHandle);  // no video input
  EXPECT_EQ(CodeOf([&](gsdk_error** e) {
              return gsdk_session_update_video_input(client.session(), "{}", e);
            }),
            kInvalidHandle);  // no type
  client.RecordWindow(window.number());
  EXPECT_EQ(client.Start(), kInvalidHandle);  // a second time
  EXPECT_EQ(CodeOf([&](gsdk_error** e) {
              return gsdk_session_set_video_input(client.session(), "game", e);
            }),
            kInvalidHandle);
  EXPECT_EQ(CodeOf([&](gsdk_error** e) {
              return gsdk_session_start(client.session(), DestroyedProperties(), e);
            }),
            kInvalidHandle);
}

TEST(Arguments, VideoInputSettingsAreChecked) {
  struct Case {
    const char* type;
    const char* settings;
    int code;
  };
  const Case cases[] = {
      {"monitor", "", kMalformedJson},
      {"monitor", "{\"monitor\": ", kMalformedJson},
      {"monitor", "null", kInvalidArgument},
      {"monitor", "[]", kInvalidArgument},
      {"monitor", "{}", kInvalidArgument},
      {"monitor", "{\"monitor\": 1}", kInvalidArgument},
      {"monitor", "{\"cursor\": \"yes\", \"monitor\": \"x\"}", kInvalidArgument},
      {"monitor", "{\"monitor\": \"no such monitor\"}", kInputGone},
      {"window", "{\"window\": 5}", kInvalidArgument},
      {"window", "{\"window\": {\"hwnd\": 0}}", kInvalidArgument},
      {"window", "{\"window\": {\"hwnd\": 1e300}}", kInvalidArgument},
      {"window", "{\"window\": {\"hwnd\": \"5\"}}", kInvalidArgument},
      {"window", "{\"window\": {\"hwnd\": 4294967295}}", kInputGone},
      {"window", "{\"window\": {\"hwnd\": -2}}", kInputGone},
      {"game", "{\"game\": {}}", kInvalidArgument},
      {"game", "{\"anticheat\": 1, \"game\": {\"pid\": 5}}", kInvalidArgument},
      {"game", "{\"anticheat\": true, \"game\": {\"hwnd\": 4294967295}}", kInputGone},
      {"game", "{\"anticheat\": true, \"game\": {\"pid\": 4294967291}}", kInputGone},
  };
  for (const Case& row : cases) {
    const Client client;
    ASSERT_TRUE(gsdk_session_set_video_input(client.session(), row.type, nullptr));
    EXPECT_EQ(CodeOf([&](gsdk_error** e) {
                return gsdk_session_update_video_input(client.session(), row.settings, e);
              }),
              row.code)
        << row.type << " " << row.settings;
  }
}

TEST(Arguments, AGameWithoutAWindowIsWorthWaitingFor) {
  const Client client;
  const std::string settings =
      "{\"game\": {\"pid\": " + std::to_string(GetCurrentProcessId()) + "}}";
  ASSERT_TRUE(gsdk_session_set_video_input(client.session(), "game", nullptr));
  const auto update = [&](gsdk_error** e) {
    return gsdk_session_update_video_input(client.session(), settings.c_str(), e);
  };
  EXPECT_EQ(CodeOf(update), kInputNotReady);
  const TestWindow window(L"the game", 64, 64, 0);
  EXPECT_EQ(CodeOf(update), 0);
}

TEST(Arguments, AudioInputSettingsAreChecked) {
  const Client client;
  const Client other;
  gsdk_audio_input* input = nullptr;
  ASSERT_TRUE(gsdk_session_add_audio_input(client.session(), "audio_output", &input, nullptr));
  const auto update = [&](gsdk_session* session, gsdk_audio_input* handle, const char* settings) {
    return CodeOf([&](gsdk_error** e) {
      return gsdk_session_update_audio_input_handle(session, handle, settings, e);
    });
  };
  const char* const good = "{\"device_id\": \"\", \"use_device_timing\": false}";
  EXPECT_EQ(update(client.session(), input, good), 0);
  EXPECT_EQ(update(client.session(), nullptr, good), kInvalidHandle);
  EXPECT_EQ(update(client.session(), MadeUp<gsdk_audio_input>(), good), kInvalidHandle);
  EXPECT_EQ(update(other.session(), input, good), kInvalidHandle);
  EXPECT_EQ(update(client.session(), input, "{"), kMalformedJson);
  EXPECT_EQ(update(client.session(), input, "{}"), kInvalidArgument);
  EXPECT_EQ(update(client.session(), input, "{\"device_id\": 1}"), kInvalidArgument);
}

TEST(Arguments, AnAudioInputEndsWithItsSession) {
  Client client;
  gsdk_audio_input* input = nullptr;
  ASSERT_TRUE(gsdk_session_add_audio_input(client.session(), "audio_output", &input, nullptr));
  client.Destroy();
  const Client other;
  EXPECT_EQ(CodeOf([&](gsdk_error** e) {
              return gsdk_session_update_audio_input_handle(other.session(), input,
                                                            "{\"device_id\": \"\"}", e);
            }),
            kInvalidHandle);
}

TEST(Arguments, CallsWithoutAnErrorSlotFailQuietly) {
  char* text = nullptr;
  EXPECT_FALSE(gsdk_session_create(nullptr, nullptr, nullptr));
  EXPECT_FALSE(gsdk_session_start(nullptr, nullptr, nullptr));
  EXPECT_FALSE(gsdk_session_set_video_input(nullptr, nullptr, nullptr));
  EXPECT_FALSE(gsdk_session_update_video_input(nullptr, nullptr, nullptr));
  EXPECT_FALSE(gsdk_session_add_audio_input(nullptr, nullptr, nullptr, nullptr));
  EXPECT_FALSE(gsdk_session_update_audio_input_handle(nullptr, nullptr, nullptr, nullptr));
  EXPECT_FALSE(gsdk_input_properties("?", &text, nullptr));
}

TEST(Arguments, TheSettersTakeAnyHandle) {
  gsdk_properties* const bad[] = {nullptr, DestroyedProperties(), MadeUp<gsdk_properties>()};
  const char* const names[] = {"Game", nullptr};
  for (gsdk_properties* properties : bad) {
    gsdk_session_properties_audio_set_bitrate(properties, 1);
    gsdk_session_properties_audio_set_samplerate(properties, 1);
    gsdk_session_properties_video_set_ratecontrol(properties, 1);
    gsdk_session_properties_video_set_min_quality(properties, 1, 1, 1);
    gsdk_session_properties_video_set_max_quality(properties, 1, 1, 1);
    gsdk_session_properties_video_set_framerate(properties, 1);
    gsdk_session_properties_video_set_max_height(properties, 1);
    gsdk_session_properties_video_set_max_width(properties, 1);
    gsdk_session_properties_connection_set_type(properties, 1);
    gsdk_session_properties_set_error_callback(properties, nullptr, nullptr);
    gsdk_session_properties_connection_callback_set_callback(properties, nullptr, nullptr);
    gsdk_session_properties_audio_set_tracks_ids(properties, 2, names);
    gsdk_session_properties_destroy(properties);
    EXPECT_EQ(gsdk_recorder_create(properties), nullptr);
  }
  gsdk_properties* properties = gsdk_session_properties_create();
  gsdk_session_properties_audio_set_tracks_ids(properties, 3, nullptr);
  gsdk_session_properties_audio_set_tracks_ids(properties, 4'000'000'000, names);
  gsdk_session_properties_destroy(properties);
}

TEST(Arguments, RecordersAndPacketsTakeAnyHandle) {
  gsdk_properties* properties = gsdk_session_properties_create();
  gsdk_recorder* recorder = gsdk_recorder_create(properties);
  EXPECT_EQ(gsdk_recorder_dump(recorder, "x.mp4").status, 2);
  gsdk_recorder_push_packet(recorder, nullptr);
  gsdk_recorder_push_packet(recorder, MadeUp<gsdk_encoded_packet>());
  EXPECT_EQ(gsdk_recorder_dump(recorder, nullptr).status, 2);
  gsdk_recorder_destroy(recorder);
  gsdk_recorder* const bad[] = {nullptr, recorder, MadeUp<gsdk_recorder>()};
  for (gsdk_recorder* handle : bad) {
    gsdk_recorder_set_duration(handle, 1000);
    gsdk_recorder_push_packet(handle, nullptr);
    EXPECT_EQ(gsdk_recorder_dump(handle, "x.mp4").status, 1);
    gsdk_recorder_destroy(handle);
  }
  gsdk_encoded_packet_release(nullptr);
  gsdk_encoded_packet_release(MadeUp<gsdk_encoded_packet>());
  gsdk_input_properties_free(nullptr);
  gsdk_session_properties_destroy(properties);
}

TEST(Arguments, ErrorsTakeAnyHandle) {
  EXPECT_EQ(gsdk_err_code(nullptr), 0);
  EXPECT_STREQ(gsdk_err_message(nullptr), "");
  gsdk_err_free(nullptr);

  gsdk_error* error = nullptr;
  ASSERT_FALSE(gsdk_session_create(nullptr, nullptr, &error));
  EXPECT_EQ(gsdk_err_code(error), kInvalidArgument);
  EXPECT_STREQ(gsdk_err_message(error), "session is null");
  gsdk_err_free(error);
  EXPECT_EQ(gsdk_err_code(error), 0);
  gsdk_err_free(error);
}

}  // namespace
}  // namespace open_gsdk
