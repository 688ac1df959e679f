// The recording sentry.dll, which the build puts into the folder "doubles" beside this program, by
// what it writes down.
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <json11.hpp>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "diagnostics/sentry_sdk.h"

namespace {

using json11::Json;

struct ModuleFreer {
  void operator()(HMODULE module) const noexcept { FreeLibrary(module); }
};

class RecordingSentryTest : public testing::Test {
 protected:
  RecordingSentryTest()
      : log_(std::filesystem::temp_directory_path() /
             (L"recording." + std::to_wstring(GetCurrentProcessId()) + L".jsonl")) {
    std::filesystem::remove(log_);
    SetEnvironmentVariableW(L"RECORDING_SENTRY_LOG", log_.c_str());
    std::array<wchar_t, MAX_PATH> path{};
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const auto library =
        std::filesystem::path(path.data()).parent_path() / L"doubles" / L"sentry.dll";
    module_.reset(LoadLibraryW(library.c_str()));
  }
  ~RecordingSentryTest() override {
    module_ = nullptr;
    SetEnvironmentVariableW(L"RECORDING_SENTRY_LOG", nullptr);
    SetEnvironmentVariableW(L"RECORDING_SENTRY_INIT_RESULT", nullptr);
    std::filesystem::remove(log_);
  }

  void SetUp() override { ASSERT_TRUE(module_); }

  // Calls the library's function of that name.
  template <typename Function, typename... Arguments>
  auto Call(Function* /*declared*/, const char* name, Arguments... arguments) {
    auto* const address = reinterpret_cast<void*>(GetProcAddress(module_.get(), name));
    return reinterpret_cast<Function*>(address)(arguments...);
  }

  // Unloads the library and returns its lines without the thread, after checking that it is there.
  std::vector<std::string> TakeLog() {
    module_ = nullptr;
    std::vector<std::string> lines;
    std::ifstream file(log_, std::ios::binary);
    for (std::string text; std::getline(file, text);) {
      std::string error;
      Json::object members = Json::parse(text, error).object_items();
      EXPECT_EQ(error, "") << text;
      EXPECT_EQ(members["thread"].number_value(), GetCurrentThreadId());
      members.erase("thread");
      lines.push_back(Json(members).dump());
    }
    return lines;
  }

 private:
  std::filesystem::path log_;
  std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleFreer> module_;
};

#define CALL(name, ...) Call(&name, #name __VA_OPT__(, ) __VA_ARGS__)

std::string Line(const char* call, Json::object members = {}) {
  members["call"] = call;
  return Json(members).dump();
}

const char* const kNotGiven = "the value is not the caller's to give";

TEST_F(RecordingSentryTest, WritesTheOptionsDown) {
  SetEnvironmentVariableW(L"RECORDING_SENTRY_INIT_RESULT", L"7");
  sentry_options_t* const options = CALL(sentry_options_new);
  CALL(sentry_options_set_dsn, options, "");
  CALL(sentry_options_set_environment, options, "test");
  CALL(sentry_options_set_max_breadcrumbs, options, std::size_t{200});
  CALL(sentry_options_set_handler_pathw, options, L"./\u00e4.exe");
  CALL(sentry_options_set_sample_rate, options, 0.3);
  CALL(sentry_options_set_database_pathw, options, L"C:\\db");
  EXPECT_EQ(CALL(sentry_init, options), 7);
  EXPECT_EQ(CALL(sentry_init, options), 7);

  const Json set = Json::object{{"dsn", ""},
                                {"environment", "test"},
                                {"max_breadcrumbs", 200},
                                {"handler_path", "./\u00e4.exe"},
                                {"sample_rate_bits", "0x3FD3333333333333"},
                                {"database_path", "C:\\db"}};
  EXPECT_EQ(
      TakeLog(),
      (std::vector<std::string>{
          Line("attach"), Line("sentry_options_new"), Line("sentry_options_set_dsn", {{"dsn", ""}}),
          Line("sentry_options_set_environment", {{"environment", "test"}}),
          Line("sentry_options_set_max_breadcrumbs", {{"count", 200}}),
          Line("sentry_options_set_handler_pathw", {{"path", "./\u00e4.exe"}}),
          Line("sentry_options_set_sample_rate", {{"rate", 0.3}, {"bits", "0x3FD3333333333333"}}),
          Line("sentry_options_set_database_pathw", {{"path", "C:\\db"}}),
          Line("sentry_init", {{"options", set}, {"result", 7}}),
          Line("sentry_init", {{"misuse", "the options are not alive"}, {"result", 7}}),
          Line("detach", {{"leaked", Json::array{}}, {"process_end", false}})}));
}

TEST_F(RecordingSentryTest, WritesValuesDownAsTheyAre) {
  const sentry_value_t event = CALL(sentry_value_new_event);
  const sentry_value_t exception = CALL(sentry_value_new_object);
  CALL(sentry_value_set_by_key, exception, "type", CALL(sentry_value_new_string, "Error"));
  CALL(sentry_value_set_by_key, event, "exception", exception);
  CALL(sentry_event_value_add_stacktrace, event, nullptr, std::size_t{0});
  CALL(sentry_capture_event, event);
  CALL(sentry_add_breadcrumb, CALL(sentry_value_new_breadcrumb, "default", "message"));
  CALL(sentry_set_user, CALL(sentry_value_new_object));
  CALL(sentry_set_tag, "name", "value");
  EXPECT_EQ(CALL(sentry_shutdown), 0);

  const Json::object breadcrumb = {{"type", "default"}, {"message", "message"}};
  const Json typed = Json::object{{"type", "Error"}};
  const Json whole = Json::object{{"exception", typed}};
  EXPECT_EQ(
      TakeLog(),
      (std::vector<std::string>{
          Line("attach"), Line("sentry_value_new_event"), Line("sentry_value_new_object"),
          Line("sentry_value_new_string", {{"text", "Error"}}),
          Line("sentry_value_set_by_key",
               {{"object", Json::object{}}, {"key", "type"}, {"member", "Error"}, {"result", 0}}),
          Line(
              "sentry_value_set_by_key",
              {{"object", Json::object{}}, {"key", "exception"}, {"member", typed}, {"result", 0}}),
          Line("sentry_event_value_add_stacktrace",
               {{"event", whole}, {"addresses", nullptr}, {"count", 0}}),
          Line("sentry_capture_event", {{"event", whole}}),
          Line("sentry_value_new_breadcrumb", breadcrumb),
          Line("sentry_add_breadcrumb", {{"breadcrumb", breadcrumb}}),
          Line("sentry_value_new_object"), Line("sentry_set_user", {{"user", Json::object{}}}),
          Line("sentry_set_tag", {{"name", "name"}, {"value", "value"}}),
          Line("sentry_shutdown", {{"leaked", Json::array{}}, {"result", 0}}),
          Line("detach", {{"leaked", Json::array{}}, {"process_end", false}})}));
}

TEST_F(RecordingSentryTest, NoticesLeaksAndValuesThatAreGivenAwayTwice) {
  const sentry_value_t text = CALL(sentry_value_new_string, "text");
  CALL(sentry_set_user, text);
  CALL(sentry_set_user, text);
  CALL(sentry_value_new_string, "leaked");
  CALL(sentry_options_new);

  EXPECT_EQ(TakeLog(),
            (std::vector<std::string>{
                Line("attach"), Line("sentry_value_new_string", {{"text", "text"}}),
                Line("sentry_set_user", {{"user", "text"}}),
                Line("sentry_set_user", {{"user", nullptr}, {"misuse", kNotGiven}}),
                Line("sentry_value_new_string", {{"text", "leaked"}}), Line("sentry_options_new"),
                Line("detach", {{"leaked", Json::array{"leaked"}},
                                {"misuse", "options were never given to sentry_init"},
                                {"process_end", false}})}));
}

}  // namespace
