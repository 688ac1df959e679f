// The local sentry.dll, which the build puts beside this program, by what it journals.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <json11.hpp>
#include <string>
#include <thread>
#include <vector>

#include "diagnostics/sentry_sdk.h"
#include "platform/text_encoding.h"

namespace {

using json11::Json;

std::vector<Json> ReadLines(const std::filesystem::path& path) {
  std::vector<Json> lines;
  std::ifstream file(path, std::ios::binary);
  for (std::string text; std::getline(file, text);) {
    std::string error;
    lines.push_back(Json::parse(text, error));
    EXPECT_EQ(error, "") << text;
  }
  return lines;
}

sentry_value_t TextObject(const char* key, const char* text) {
  const sentry_value_t object = sentry_value_new_object();
  sentry_value_set_by_key(object, key, sentry_value_new_string(text));
  return object;
}

void AddBreadcrumb(const std::string& message) {
  sentry_add_breadcrumb(sentry_value_new_breadcrumb("default", message.c_str()));
}

void CaptureEvent(const char* type) {
  const sentry_value_t event = sentry_value_new_event();
  sentry_value_set_by_key(event, "exception", TextObject("type", type));
  sentry_capture_event(event);
}

std::vector<std::string> Messages(const Json& line) {
  std::vector<std::string> messages;
  for (const Json& breadcrumb : line["breadcrumbs"].array_items()) {
    messages.push_back(breadcrumb["message"].string_value());
  }
  return messages;
}

std::vector<std::string> Types(const std::vector<Json>& lines) {
  std::vector<std::string> types;
  for (const Json& line : lines) types.push_back(line["type"].string_value());
  return types;
}

class LocalSentryTest : public testing::Test {
 protected:
  LocalSentryTest()
      : folder_(std::filesystem::temp_directory_path() /
                (L"sentry-\u00e4\u4e2d." + std::to_wstring(GetCurrentProcessId()))) {
    std::filesystem::remove_all(folder_);
  }
  ~LocalSentryTest() override {
    sentry_shutdown();
    std::filesystem::remove_all(folder_);
  }

  // A folder below one that is missing as well.
  [[nodiscard]] std::filesystem::path Database() const { return folder_ / L"deep" / L"db"; }

  [[nodiscard]] std::vector<Json> Journal() const {
    return ReadLines(Database() / L"journal.jsonl");
  }

  int Start(std::size_t max_breadcrumbs = 200) {
    sentry_options_t* const options = sentry_options_new();
    sentry_options_set_max_breadcrumbs(options, max_breadcrumbs);
    sentry_options_set_database_pathw(options, Database().c_str());
    return sentry_init(options);
  }

  std::filesystem::path folder_;
};

TEST_F(LocalSentryTest, JournalsTheOptions) {
  sentry_options_t* const options = sentry_options_new();
  sentry_options_set_dsn(options, "https://key@host.invalid/1");
  sentry_options_set_environment(options, "test");
  sentry_options_set_max_breadcrumbs(options, 200);
  sentry_options_set_handler_pathw(options, L"./crashpad_handler.exe");
  sentry_options_set_sample_rate(options, 0.3);
  sentry_options_set_database_pathw(options, Database().c_str());
  ASSERT_EQ(sentry_init(options), 0);

  const std::vector<Json> journal = Journal();
  ASSERT_EQ(journal.size(), 1U);
  EXPECT_EQ(journal[0]["type"].string_value(), "init");
  EXPECT_EQ(journal[0]["process"].number_value(), GetCurrentProcessId());
  EXPECT_EQ(journal[0]["options"],
            Json(Json::object{{"dsn", "https://key@host.invalid/1"},
                              {"environment", "test"},
                              {"max_breadcrumbs", 200},
                              {"handler_path", "./crashpad_handler.exe"},
                              {"sample_rate", 0.3},
                              {"database_path", platform::Utf8FromWide(Database().wstring())}}));
}

TEST_F(LocalSentryTest, JournalsAnEventWithWhatWasThereAtThatMoment) {
  ASSERT_EQ(Start(), 0);
  sentry_set_user(TextObject("id", "user-7"));
  sentry_set_tag("GPU_NAME", "Quick \u00dc");
  sentry_set_tag("GLIMRA_GAME_ID", "old");
  sentry_set_tag("GLIMRA_GAME_ID", "42");
  const sentry_value_t breadcrumb = sentry_value_new_breadcrumb("default", "before");
  sentry_value_set_by_key(breadcrumb, "level", sentry_value_new_string("info"));
  sentry_add_breadcrumb(breadcrumb);

  const sentry_value_t exception = TextObject("type", "Error 4 Name");
  sentry_value_set_by_key(exception, "value", sentry_value_new_string("message"));
  const sentry_value_t event = sentry_value_new_event();
  sentry_value_set_by_key(event, "exception", exception);
  const sentry_uuid_t uuid = sentry_capture_event(event);
  AddBreadcrumb("after");
  sentry_set_tag("late", "tag");

  const std::vector<Json> journal = Journal();
  ASSERT_EQ(Types(journal), (std::vector<std::string>{"init", "event"}));
  const Json& line = journal[1];
  EXPECT_EQ(line["event"]["exception"],
            Json(Json::object{{"type", "Error 4 Name"}, {"value", "message"}}));
  EXPECT_EQ(line["user"], Json(Json::object{{"id", "user-7"}}));
  EXPECT_EQ(line["tags"],
            Json(Json::object{{"GPU_NAME", "Quick \u00dc"}, {"GLIMRA_GAME_ID", "42"}}));
  ASSERT_EQ(Messages(line), std::vector<std::string>{"before"});
  EXPECT_EQ(line["breadcrumbs"][0]["type"].string_value(), "default");
  EXPECT_EQ(line["breadcrumbs"][0]["level"].string_value(), "info");
  const std::string id = line["event"]["event_id"].string_value();
  ASSERT_EQ(id.size(), 32U);
  EXPECT_EQ(static_cast<unsigned char>(uuid.bytes[0]), std::stoul(id.substr(0, 2), nullptr, 16));
}

TEST_F(LocalSentryTest, AddsTheCallersStack) {
  ASSERT_EQ(Start(), 0);
  const sentry_value_t event = sentry_value_new_event();
  sentry_event_value_add_stacktrace(event, nullptr, 0);
  sentry_capture_event(event);

  const std::vector<Json> journal = Journal();
  ASSERT_EQ(journal.size(), 2U);
  const std::vector<Json>& frames =
      journal[1]["event"]["threads"]["values"][0]["stacktrace"]["frames"].array_items();
  std::array<wchar_t, MAX_PATH> own_path{};
  GetModuleFileNameW(nullptr, own_path.data(), static_cast<DWORD>(own_path.size()));
  const std::string own_package = platform::Utf8FromWide(own_path.data());
  EXPECT_TRUE(std::any_of(frames.begin(), frames.end(), [&](const Json& frame) {
    return frame["package"].string_value() == own_package;
  })) << journal[1].dump();
}

TEST_F(LocalSentryTest, TakesGivenAddressesInnermostFirst) {
  ASSERT_EQ(Start(), 0);
  std::array<void*, 2> addresses = {reinterpret_cast<void*>(&sentry_init), nullptr};
  const sentry_value_t event = sentry_value_new_event();
  sentry_event_value_add_stacktrace(event, addresses.data(), 1);
  sentry_capture_event(event);

  const std::vector<Json> journal = Journal();
  ASSERT_EQ(journal.size(), 2U);
  EXPECT_EQ(
      journal[1]["event"]["threads"]["values"][0]["stacktrace"]["frames"].array_items().size(), 1U);
}

TEST_F(LocalSentryTest, KeepsTheLatestBreadcrumbs) {
  ASSERT_EQ(Start(3), 0);
  for (int i = 0; i < 10; ++i) AddBreadcrumb(std::to_string(i));
  CaptureEvent("Error");
  const std::vector<Json> journal = Journal();
  ASSERT_EQ(journal.size(), 2U);
  EXPECT_EQ(Messages(journal[1]), (std::vector<std::string>{"7", "8", "9"}));
}

TEST_F(LocalSentryTest, KeepsNoBreadcrumbsIfNoneAreWanted) {
  ASSERT_EQ(Start(0), 0);
  AddBreadcrumb("lost");
  CaptureEvent("Error");
  const std::vector<Json> journal = Journal();
  ASSERT_EQ(journal.size(), 2U);
  EXPECT_EQ(Messages(journal[1]), std::vector<std::string>{});
}

TEST_F(LocalSentryTest, EndsOnceWithWhatWasThereAtTheEnd) {
  ASSERT_EQ(Start(), 0);
  sentry_set_tag("name", "value");
  AddBreadcrumb("last");
  EXPECT_EQ(sentry_shutdown(), 0);
  EXPECT_EQ(sentry_shutdown(), 0);
  CaptureEvent("Error");

  const std::vector<Json> journal = Journal();
  ASSERT_EQ(Types(journal), (std::vector<std::string>{"init", "shutdown"}));
  EXPECT_EQ(journal[1]["tags"], Json(Json::object{{"name", "value"}}));
  EXPECT_EQ(Messages(journal[1]), std::vector<std::string>{"last"});
}

TEST_F(LocalSentryTest, StartedAgainEndsTheFirstRunAndForgetsIt) {
  ASSERT_EQ(Start(), 0);
  sentry_set_tag("name", "value");
  AddBreadcrumb("first run");
  ASSERT_EQ(Start(), 0);
  CaptureEvent("Error");

  const std::vector<Json> journal = Journal();
  ASSERT_EQ(Types(journal), (std::vector<std::string>{"init", "shutdown", "init", "event"}));
  EXPECT_EQ(journal[3]["tags"], Json(Json::object{}));
  EXPECT_EQ(Messages(journal[3]), std::vector<std::string>{});
}

TEST_F(LocalSentryTest, ForgetsWhatIsSetBeforeTheStart) {
  sentry_set_tag("early", "tag");
  sentry_set_user(TextObject("id", "user-7"));
  ASSERT_EQ(Start(), 0);
  sentry_set_tag("late", "tag");
  CaptureEvent("Error");
  const std::vector<Json> journal = Journal();
  ASSERT_EQ(Types(journal), (std::vector<std::string>{"init", "event"}));
  EXPECT_EQ(journal[1]["tags"], Json(Json::object{{"late", "tag"}}));
  EXPECT_EQ(journal[1]["user"], Json());
}

TEST_F(LocalSentryTest, DropsEventsWithoutAStart) {
  const sentry_uuid_t uuid = sentry_capture_event(sentry_value_new_event());
  EXPECT_TRUE(std::all_of(std::begin(uuid.bytes), std::end(uuid.bytes),
                          [](char byte) { return byte == 0; }));
}

TEST_F(LocalSentryTest, TakesTheCurrentFolderWithoutADatabasePath) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::create_directories(folder_);
  std::filesystem::current_path(folder_);
  EXPECT_EQ(sentry_init(sentry_options_new()), 0);
  EXPECT_EQ(Types(ReadLines(folder_ / L".sentry-native" / L"journal.jsonl")),
            std::vector<std::string>{"init"});
  std::filesystem::current_path(before);
}

TEST_F(LocalSentryTest, DoesNotStartWhereItCannotWrite) {
  std::filesystem::create_directories(folder_);
  std::ofstream(folder_ / L"deep") << "a file in the folder's place";
  EXPECT_NE(Start(), 0);
  CaptureEvent("Error");
}

TEST_F(LocalSentryTest, IgnoresNullsAndValuesThatWereGivenAway) {
  ASSERT_EQ(Start(), 0);
  sentry_options_t* const options = sentry_options_new();
  sentry_options_set_dsn(options, nullptr);
  sentry_options_set_environment(options, nullptr);
  sentry_options_set_handler_pathw(options, nullptr);
  sentry_options_set_database_pathw(options, nullptr);
  sentry_options_set_dsn(nullptr, "dsn");
  sentry_options_set_environment(nullptr, "environment");
  sentry_options_set_max_breadcrumbs(nullptr, 1);
  sentry_options_set_handler_pathw(nullptr, L"path");
  sentry_options_set_sample_rate(nullptr, 1);
  sentry_options_set_database_pathw(nullptr, L"path");
  EXPECT_NE(sentry_init(nullptr), 0);
  sentry_options_set_database_pathw(options, Database().c_str());
  ASSERT_EQ(sentry_init(options), 0);

  sentry_set_tag(nullptr, "value");
  sentry_set_tag("name", nullptr);
  sentry_add_breadcrumb(sentry_value_new_breadcrumb(nullptr, nullptr));
  sentry_add_breadcrumb(sentry_value_t{});
  sentry_set_user(sentry_value_t{});
  EXPECT_NE(sentry_value_set_by_key(sentry_value_t{}, "key", sentry_value_new_string("a")), 0);
  EXPECT_NE(sentry_value_set_by_key(sentry_value_new_object(), nullptr, sentry_value_t{}), 0);
  sentry_event_value_add_stacktrace(sentry_value_t{}, nullptr, 0);
  const sentry_value_t event = sentry_value_new_event();
  sentry_value_set_by_key(event, "text", sentry_value_new_string(nullptr));
  sentry_capture_event(event);
  sentry_capture_event(event);

  const std::vector<Json> journal = Journal();
  ASSERT_EQ(Types(journal), (std::vector<std::string>{"init", "shutdown", "init", "event"}));
  EXPECT_EQ(journal[2]["options"].object_items().count("handler_path"), 0U);
  EXPECT_EQ(journal[3]["event"]["text"], Json());
  EXPECT_EQ(journal[3]["tags"], Json(Json::object{}));
}

TEST_F(LocalSentryTest, TakesCallsFromSeveralThreads) {
  ASSERT_EQ(Start(50), 0);
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([number] {
      for (int i = 0; i < 25; ++i) {
        AddBreadcrumb(std::to_string(number));
        sentry_set_tag(std::to_string(number).c_str(), std::to_string(i).c_str());
        CaptureEvent("Error");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  sentry_shutdown();

  const std::vector<Json> journal = Journal();
  ASSERT_EQ(journal.size(), 102U);
  EXPECT_EQ(journal[101]["breadcrumbs"].array_items().size(), 50U);
  EXPECT_EQ(journal[101]["tags"],
            Json(Json::object{{"0", "24"}, {"1", "24"}, {"2", "24"}, {"3", "24"}}));
}

}  // namespace
