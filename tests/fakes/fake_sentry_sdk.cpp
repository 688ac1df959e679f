#include "tests/fakes/fake_sentry_sdk.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <functional>
#include <json11.hpp>
#include <map>
#include <mutex>
#include <utility>

#include "diagnostics/sentry_sdk.h"
#include "tests/fakes/transcript.h"

using core_test::Quoted;
using core_test::Record;
using json11::Json;

struct sentry_options_t {};

namespace {

struct Sentry {
  std::mutex mutex;
  std::uint64_t last_value = 0;
  std::map<std::uint64_t, Json> values;  // those that nobody has taken over
  int init_result = 0;
  std::map<std::string, std::function<void()>> actions;
};

Sentry& TheSentry() {
  static auto& sentry = *new Sentry;
  return sentry;
}

sentry_value_t NewValue(Json json) {
  Sentry& sentry = TheSentry();
  const std::lock_guard lock(sentry.mutex);
  sentry.values.emplace(++sentry.last_value, std::move(json));
  return {._bits = sentry.last_value};
}

Json Peek(sentry_value_t value) {
  Sentry& sentry = TheSentry();
  const std::lock_guard lock(sentry.mutex);
  return sentry.values.at(value._bits);
}

Json Take(sentry_value_t value) {
  Sentry& sentry = TheSentry();
  const std::lock_guard lock(sentry.mutex);
  return sentry.values.extract(value._bits).mapped();
}

// Records a call, whose line begins with the function's name, and runs its action.
void RecordCall(const std::string& line) {
  Record(line);
  std::function<void()> action;
  {
    Sentry& sentry = TheSentry();
    const std::lock_guard lock(sentry.mutex);
    const auto found = sentry.actions.find(line.substr(0, line.find(' ')));
    if (found != sentry.actions.end()) action = found->second;
  }
  if (action) action();
}

// The paths of the service are plain ASCII.
std::string Narrow(const wchar_t* text) {
  std::string narrow(std::wcslen(text), '?');
  std::transform(text, text + narrow.size(), narrow.begin(),
                 [](wchar_t c) { return static_cast<char>(c); });
  return narrow;
}

std::string ErrorEvent(const std::string& type, const std::string& value) {
  return Json(Json::object{{"exception", Json::object{{"type", type}, {"value", value}}}}).dump();
}

}  // namespace

namespace core_test {

void ResetSentry() {
  Sentry& sentry = TheSentry();
  const std::lock_guard lock(sentry.mutex);
  sentry.values.clear();
  sentry.init_result = 0;
  sentry.actions.clear();
}

void SetSentryInitResult(int result) {
  Sentry& sentry = TheSentry();
  const std::lock_guard lock(sentry.mutex);
  sentry.init_result = result;
}

void OnSentryCall(const std::string& function, std::function<void()> action) {
  Sentry& sentry = TheSentry();
  const std::lock_guard lock(sentry.mutex);
  sentry.actions[function] = std::move(action);
}

std::size_t LiveSentryValues() {
  Sentry& sentry = TheSentry();
  const std::lock_guard lock(sentry.mutex);
  return sentry.values.size();
}

std::string BreadcrumbLine(const std::string& level, const std::string& message) {
  const Json breadcrumb = Json::object{{"type", "default"}, {"message", message}, {"level", level}};
  return "sentry_add_breadcrumb " + breadcrumb.dump();
}

std::string StacktraceLine(const std::string& type, const std::string& value) {
  return "sentry_event_value_add_stacktrace " + ErrorEvent(type, value) + " null 0";
}

std::string EventLine(const std::string& type, const std::string& value) {
  return "sentry_capture_event " + ErrorEvent(type, value);
}

}  // namespace core_test

sentry_options_t* sentry_options_new() {
  RecordCall("sentry_options_new");
  return new sentry_options_t;
}

void sentry_options_set_dsn(sentry_options_t* /*options*/, const char* dsn) {
  RecordCall("sentry_options_set_dsn " + Quoted(dsn));
}

void sentry_options_set_environment(sentry_options_t* /*options*/, const char* environment) {
  RecordCall("sentry_options_set_environment " + Quoted(environment));
}

void sentry_options_set_max_breadcrumbs(sentry_options_t* /*options*/, std::size_t count) {
  RecordCall("sentry_options_set_max_breadcrumbs " + std::to_string(count));
}

void sentry_options_set_handler_pathw(sentry_options_t* /*options*/, const wchar_t* path) {
  RecordCall("sentry_options_set_handler_pathw " + Quoted(Narrow(path)));
}

void sentry_options_set_sample_rate(sentry_options_t* /*options*/, double rate) {
  char bits[24];
  std::snprintf(bits, sizeof(bits), "0x%016llX",
                static_cast<unsigned long long>(std::bit_cast<std::uint64_t>(rate)));
  RecordCall("sentry_options_set_sample_rate " + std::string(bits));
}

void sentry_options_set_database_pathw(sentry_options_t* /*options*/, const wchar_t* path) {
  RecordCall("sentry_options_set_database_pathw " + Quoted(Narrow(path)));
}

int sentry_init(sentry_options_t* options) {
  RecordCall("sentry_init");
  delete options;
  Sentry& sentry = TheSentry();
  const std::lock_guard lock(sentry.mutex);
  return sentry.init_result;
}

int sentry_shutdown() {
  RecordCall("sentry_shutdown");
  return 0;
}

void sentry_set_user(sentry_value_t user) { RecordCall("sentry_set_user " + Take(user).dump()); }

void sentry_set_tag(const char* name, const char* value) {
  RecordCall("sentry_set_tag " + std::string(name) + " " + Quoted(value));
}

sentry_value_t sentry_value_new_object() { return NewValue(Json::object{}); }

sentry_value_t sentry_value_new_string(const char* text) { return NewValue(text); }

int sentry_value_set_by_key(sentry_value_t object, const char* key, sentry_value_t member) {
  Json::object members = Peek(object).object_items();
  members[key] = Take(member);
  Sentry& sentry = TheSentry();
  const std::lock_guard lock(sentry.mutex);
  sentry.values.at(object._bits) = std::move(members);
  return 0;
}

sentry_value_t sentry_value_new_breadcrumb(const char* type, const char* message) {
  return NewValue(Json::object{{"type", type}, {"message", message}});
}

void sentry_add_breadcrumb(sentry_value_t breadcrumb) {
  RecordCall("sentry_add_breadcrumb " + Take(breadcrumb).dump());
}

sentry_value_t sentry_value_new_event() { return NewValue(Json::object{}); }

void sentry_event_value_add_stacktrace(sentry_value_t event, void** addresses, std::size_t count) {
  RecordCall("sentry_event_value_add_stacktrace " + Peek(event).dump() + " " +
             (addresses == nullptr ? "null" : "addresses") + " " + std::to_string(count));
}

sentry_uuid_t sentry_capture_event(sentry_value_t event) {
  RecordCall("sentry_capture_event " + Take(event).dump());
  return {};
}
