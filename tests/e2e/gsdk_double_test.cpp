// The scripted capture library itself: what the other tests rely on to notice what it is there to
// notice.
#include <windows.h>

#include <fstream>
#include <memory>
#include <thread>

#include "gsdk/gsdk_api.h"
#include "tests/e2e/call_log.h"
#include "tests/e2e/service_test.h"

namespace e2e {
namespace {

struct ModuleFreer {
  void operator()(HMODULE module) const { FreeLibrary(module); }
};

class LibraryDouble : public ::testing::Test {
 protected:
  void Load(const Json& script = {}) {
    std::ofstream(folder_.Path() / "script.json", std::ios::binary) << script.dump();
    SetEnvironmentVariableW(L"GSDK_DOUBLE_SCRIPT", (folder_.Path() / "script.json").c_str());
    SetEnvironmentVariableW(L"GSDK_DOUBLE_LOG", (folder_.Path() / "log.jsonl").c_str());
    module_.reset(LoadLibraryW((ProgramFolder() / "doubles" / "gsdk.dll").c_str()));
    ASSERT_NE(module_, nullptr) << GetLastError();
  }

  template <typename Function>
  Function* Entry(const char* name, Function* /*type*/) {
    // The way over a pointer without a type keeps compilers from comparing the two types.
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(module_.get(), name)));
  }

  CallLog Log() const { return CallLog(folder_.Path() / "log.jsonl"); }

  CallLog Unload() {
    module_.reset();
    return Log();
  }

 private:
  TemporaryFolder folder_;
  std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleFreer> module_;
};

// Calls an entry point of the loaded library by its name.
#define CALL(name) Entry(#name, static_cast<decltype(&(name))>(nullptr))

TEST_F(LibraryDouble, HasEveryEntryPoint) {
  Load();
#define EXPECT_ENTRY(name) EXPECT_NE(CALL(name), nullptr) << #name;
  GSDK_ENTRY_POINTS(EXPECT_ENTRY)
#undef EXPECT_ENTRY
  EXPECT_EQ(Unload().Detach(), "free_library");
}

TEST_F(LibraryDouble, FailsTheCallThatTheScriptNames) {
  Load(FailingCall("gsdk_session_create", 15, "no encoder", 2));
  gsdk_session* first = nullptr;
  gsdk_session* second = nullptr;
  gsdk_error* error = nullptr;
  EXPECT_TRUE(CALL(gsdk_session_create)(&first, nullptr, &error));
  EXPECT_EQ(error, nullptr);
  EXPECT_FALSE(CALL(gsdk_session_create)(&second, nullptr, &error));
  EXPECT_EQ(second, nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(CALL(gsdk_err_code)(error), 15);
  EXPECT_STREQ(CALL(gsdk_err_message)(error), "no encoder");
  CALL(gsdk_err_free)(error);
  CALL(gsdk_session_destroy)(first);
  const CallLog log = Unload();
  EXPECT_EQ(log.Imbalances(), Texts{});
  EXPECT_EQ(log.Calls(), (Texts{"gsdk_session_create(null, null) = true session1",
                                "gsdk_session_create(null, null) = false error1",
                                "gsdk_err_code(error1)", "gsdk_err_message(error1)",
                                "gsdk_err_free(error1)", "gsdk_session_destroy(session1)"}));
}

TEST_F(LibraryDouble, NoticesWhatIsFreedTwiceUsedAfterwardsOrNeverItsOwn) {
  Load(FailingCall("gsdk_session_create", 1, "no"));
  gsdk_session* session = nullptr;
  gsdk_error* error = nullptr;
  CALL(gsdk_session_create)(&session, nullptr, &error);
  CALL(gsdk_err_free)(error);
  CALL(gsdk_err_free)(error);
  CALL(gsdk_err_code)(error);
  CALL(gsdk_session_create)(&session, nullptr, &error);
  CALL(gsdk_session_destroy)(session);
  CALL(gsdk_session_set_video_input)(session, "game", &error);
  std::string foreign;
  CALL(gsdk_input_properties_free)(foreign.data());
  EXPECT_EQ(Unload().Imbalances(),
            (Texts{"gsdk_err_free of error1(dead)", "gsdk_err_code of error1(dead)",
                   "gsdk_session_set_video_input of session1(dead)",
                   "gsdk_input_properties_free of unknown"}));
}

TEST_F(LibraryDouble, NoticesWhatIsNotGivenBack) {
  Load(FailingCall("gsdk_session_create", 1, "no"));
  gsdk_session* session = nullptr;
  gsdk_error* error = nullptr;
  CALL(gsdk_session_create)(&session, nullptr, &error);
  CALL(gsdk_session_create)(&session, nullptr, &error);
  char* text = nullptr;
  CALL(gsdk_input_properties)("window", &text, &error);
  gsdk_properties* const properties = CALL(gsdk_session_properties_create)();
  CALL(gsdk_recorder_create)(properties);
  EXPECT_EQ(Unload().Imbalances(),
            (Texts{"error: 1 made, 0 given back", "properties: 1 made, 0 given back",
                   "recorder: 1 made, 0 given back", "session: 1 made, 0 given back",
                   "text: 1 made, 0 given back"}));
}

TEST_F(LibraryDouble, AnswersWithTheListsInTurn) {
  Load(Json::object{{"lists", Json::object{{"monitor", Json::array{"first", nullptr, "later"}}}}});
  std::vector<std::string> answers;
  for (int i = 0; i < 4; ++i) {
    char* text = nullptr;
    gsdk_error* error = nullptr;
    EXPECT_TRUE(CALL(gsdk_input_properties)("monitor", &text, &error));
    answers.emplace_back(text == nullptr ? "null" : text);
    if (text != nullptr) CALL(gsdk_input_properties_free)(text);
  }
  EXPECT_EQ(answers, (std::vector<std::string>{"first", "null", "later", "later"}));
  EXPECT_EQ(Unload().Imbalances(), Texts{});
}

TEST_F(LibraryDouble, FillsWhatADumpDoesNotMean) {
  Load(Json::object{
      {"dumps", Json::array{Json::object{{"duration", "9007199254740993"}, {"hdr", 2}}}}});
  const gsdk_dump_result result = CALL(gsdk_recorder_dump)(nullptr, "nowhere");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.duration, 9007199254740993);
  EXPECT_EQ(result.captured_from_hdr, 2);
  EXPECT_EQ(result.reserved_4, -1);
  EXPECT_EQ(result.reserved_24, -1);
  EXPECT_EQ(result.reserved_49[6], 0xFF);
  Unload();
}

// A packet callback that keeps what it is given.
void KeepPacket(void* /*user_data*/, gsdk_encoded_packet* /*packet*/) {}

TEST_F(LibraryDouble, NoticesAPacketThatIsNotReleased) {
  Load(Json::object{
      {"sessions",
       Json::array{Json::object{
           {"threads", Json::array{Json::object{
                           {"steps", Json::array{Json::object{{"packets", 2}},
                                                 Json::object{{"account", true}}}}}}}}}}});
  gsdk_session* session = nullptr;
  gsdk_error* error = nullptr;
  CALL(gsdk_session_create)(&session, nullptr, &error);
  gsdk_properties* const properties = CALL(gsdk_session_properties_create)();
  CALL(gsdk_session_properties_connection_callback_set_callback)(properties, nullptr, KeepPacket);
  CALL(gsdk_session_start)(session, properties, &error);
  const auto deadline = std::chrono::steady_clock::now() + kLimit;
  while (Log().Made("packet") < 2 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  CALL(gsdk_session_properties_destroy)(properties);
  CALL(gsdk_session_destroy)(session);
  EXPECT_EQ(Unload().Imbalances(),
            (Texts{"packet callback leak of packet1", "packet callback leak of packet1",
                   "packet: 2 made, 0 given back"}));
}

#undef CALL

}  // namespace
}  // namespace e2e
