// The project's own sentry.dll, for machines without the error-reporting SDK: it keeps what the
// service hands it like the SDK does, and instead of sending anything it appends what would be
// reported to the file journal.jsonl in the database folder (".sentry-native" in the current
// directory when none is set). It has no crash handler and does no sampling: every captured event
// is written.
//
// The journal is a text of JSON lines, each with "time" (UTC, ISO 8601), "process" (the Windows id)
// and "type":
//   init      "options": {"dsn", "environment", "max_breadcrumbs", "handler_path", "sample_rate",
//             "database_path"} as far as they were set
//   event     "event": as captured, with "event_id", "timestamp" and "threads" (the stack trace);
//             and, as they were at that moment, "user", "tags" and "breadcrumbs" (oldest first)
//   shutdown  "user", "tags" and "breadcrumbs": what an event would have had at the end
//
// All functions may be called on any thread. Null pointers and values that were already given away
// are ignored.
#include <windows.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <json11.hpp>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <system_error>
#include <utility>

#include "diagnostics/sentry_sdk.h"
#include "local_sentry/line_log.h"
#include "local_sentry/scope.h"
#include "local_sentry/stack_trace.h"
#include "local_sentry/value_store.h"
#include "platform/text_encoding.h"

using json11::Json;
using local_sentry::LineLog;
using local_sentry::Scope;
using local_sentry::ValueStore;
using platform::Utf8FromWide;

// Tells this library from the SDK's, for tools; nothing reads the value.
extern "C" __declspec(dllexport) const bool local_sentry_sends_nothing;
const bool local_sentry_sends_nothing = true;

struct sentry_options_t {
  Json::object set;
  std::size_t max_breadcrumbs = 100;
  std::filesystem::path database_path = L".sentry-native";
};

namespace {

struct State {
  std::mutex mutex;
  std::unique_ptr<sentry_options_t> options;  // null while the SDK is not started
  Scope scope;
  LineLog journal;
};

// Both live as long as the process: its threads may call while it ends.
State& TheState() {
  static State& state = *new State;
  return state;
}

ValueStore& Values() {
  static ValueStore& values = *new ValueStore;
  return values;
}

std::string TimeText() {
  SYSTEMTIME now{};
  GetSystemTime(&now);
  std::array<char, 40> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ",
                                  now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
                                  now.wSecond, now.wMilliseconds));
  return text.data();
}

sentry_uuid_t RandomUuid() {
  std::random_device random;
  sentry_uuid_t uuid{};
  for (char& byte : uuid.bytes) byte = static_cast<char>(random() & 0xFFU);
  uuid.bytes[6] = static_cast<char>((uuid.bytes[6] & 0x0F) | 0x40);  // version 4: random
  uuid.bytes[8] = static_cast<char>((uuid.bytes[8] & 0x3F) | 0x80);
  return uuid;
}

std::string UuidText(const sentry_uuid_t& uuid) {
  std::string text;
  for (const char byte : uuid.bytes) {
    constexpr const char* kDigits = "0123456789abcdef";
    text += kDigits[static_cast<unsigned char>(byte) >> 4];
    text += kDigits[static_cast<unsigned char>(byte) & 0x0F];
  }
  return text;
}

// Call with the state's mutex held.
void Journal(const char* type, Json::object line) {
  line["type"] = type;
  line["time"] = TimeText();
  line["process"] = static_cast<double>(GetCurrentProcessId());
  TheState().journal.Write(std::move(line));
}

// Call with the state's mutex held.
void ShutDown(State& state) {
  if (!state.options) return;
  Json::object line;
  state.scope.AddTo(line);
  Journal("shutdown", std::move(line));
  state.options = nullptr;
  state.scope = {};
  state.journal = {};
}

Json TextOrNull(const char* text) { return text != nullptr ? Json(text) : Json(); }

}  // namespace

sentry_options_t* sentry_options_new() { return std::make_unique<sentry_options_t>().release(); }

void sentry_options_set_dsn(sentry_options_t* options, const char* dsn) {
  if (options != nullptr) options->set["dsn"] = TextOrNull(dsn);
}

void sentry_options_set_environment(sentry_options_t* options, const char* environment) {
  if (options != nullptr) options->set["environment"] = TextOrNull(environment);
}

void sentry_options_set_max_breadcrumbs(sentry_options_t* options, std::size_t count) {
  if (options == nullptr) return;
  options->max_breadcrumbs = count;
  options->set["max_breadcrumbs"] = static_cast<double>(count);
}

void sentry_options_set_handler_pathw(sentry_options_t* options, const wchar_t* path) {
  if (options == nullptr || path == nullptr) return;
  options->set["handler_path"] = Utf8FromWide(path);
}

void sentry_options_set_sample_rate(sentry_options_t* options, double rate) {
  if (options != nullptr) options->set["sample_rate"] = rate;
}

void sentry_options_set_database_pathw(sentry_options_t* options, const wchar_t* path) {
  if (options == nullptr || path == nullptr) return;
  options->database_path = path;
  options->set["database_path"] = Utf8FromWide(path);
}

int sentry_init(sentry_options_t* options) {
  if (options == nullptr) return 1;
  std::unique_ptr<sentry_options_t> owned(options);
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  ShutDown(state);
  // What was set before the start is forgotten, as the SDK does.
  state.scope = {};
  std::error_code error;
  std::filesystem::create_directories(owned->database_path, error);
  if (!state.journal.Open((owned->database_path / L"journal.jsonl").wstring())) return 1;
  state.options = std::move(owned);
  Journal("init", {{"options", state.options->set}});
  return 0;
}

int sentry_shutdown() {
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  ShutDown(state);
  return 0;
}

void sentry_set_user(sentry_value_t user) {
  const std::optional<Json> content = Values().Take(user);
  if (!content) return;
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  state.scope.user = *content;
}

void sentry_set_tag(const char* name, const char* value) {
  if (name == nullptr || value == nullptr) return;
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  state.scope.tags[name] = value;
}

sentry_value_t sentry_value_new_object() { return Values().New(Json::object{}); }

sentry_value_t sentry_value_new_string(const char* text) { return Values().New(TextOrNull(text)); }

int sentry_value_set_by_key(sentry_value_t object, const char* key, sentry_value_t member) {
  if (key != nullptr && Values().SetByKey(object, key, member)) return 0;
  Values().Take(member);
  return 1;
}

sentry_value_t sentry_value_new_breadcrumb(const char* type, const char* message) {
  Json::object members = {{"timestamp", TimeText()}};
  if (type != nullptr) members["type"] = type;
  if (message != nullptr) members["message"] = message;
  return Values().New(members);
}

void sentry_add_breadcrumb(sentry_value_t breadcrumb) {
  std::optional<Json> content = Values().Take(breadcrumb);
  if (!content) return;
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  if (state.options) {
    state.scope.AddBreadcrumb(std::move(*content), state.options->max_breadcrumbs);
  }
}

sentry_value_t sentry_value_new_event() {
  return Values().New(Json::object{{"timestamp", TimeText()}});
}

void sentry_event_value_add_stacktrace(sentry_value_t event, void** addresses, std::size_t count) {
  const Json thread = Json::object{{"stacktrace", local_sentry::StackTrace(addresses, count)}};
  const sentry_value_t threads = Values().New(Json::object{{"values", Json::array{thread}}});
  if (!Values().SetByKey(event, "threads", threads)) Values().Take(threads);
}

sentry_uuid_t sentry_capture_event(sentry_value_t event) {
  const std::optional<Json> content = Values().Take(event);
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  if (!content || !state.options) return {};
  const sentry_uuid_t uuid = RandomUuid();
  Json::object members = content->object_items();
  members["event_id"] = UuidText(uuid);
  Json::object line = {{"event", members}};
  state.scope.AddTo(line);
  Journal("event", std::move(line));
  return uuid;
}
