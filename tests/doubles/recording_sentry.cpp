// A sentry.dll that reports nothing and writes down every call, for tests of what the service hands
// to the error-reporting SDK. It takes the real one's place: the service imports it by name.
//
// Environment:
//   RECORDING_SENTRY_LOG           the file to append to, made if need be; nothing is written
//                                  without it
//   RECORDING_SENTRY_INIT_RESULT   what sentry_init returns, a decimal number; 0 by default
//
// The log is a text of JSON lines, one for each call in the order of the calls, written through to
// the file before the call returns, so that it outlives the process however that ends. Each has
//   "call"     the function's name, or "attach" and "detach" for the DLL itself
//   "thread"   the Windows id of the calling thread
// and the members below. Texts are UTF-8, null pointers are null, values are the JSON that they
// hold at that moment (null for a value that is not alive). Value numbers are not written, so that
// two runs that do the same leave the same lines but for "thread".
//
//   attach                              {}
//   sentry_options_new                  {}
//   sentry_options_set_dsn              {"dsn"}
//   sentry_options_set_environment      {"environment"}
//   sentry_options_set_max_breadcrumbs  {"count"}
//   sentry_options_set_handler_pathw    {"path"}
//   sentry_options_set_sample_rate      {"rate", "bits": "0x3FD3333333333333"}
//   sentry_options_set_database_pathw   {"path"}
//   sentry_init                         {"options": {...}, "result"}; the options hold what
//                                       was set of "dsn", "environment",
//                                       "max_breadcrumbs", "handler_path", "sample_rate_bits",
//                                       "database_path"
//   sentry_shutdown                     {"result": 0, "leaked": [values that nobody gave away]}
//   sentry_set_user                     {"user"}
//   sentry_set_tag                      {"name", "value"}
//   sentry_value_new_object             {}
//   sentry_value_new_string             {"text"}
//   sentry_value_set_by_key             {"object": before the call, "key", "member", "result": 0}
//   sentry_value_new_breadcrumb         {"type", "message"}
//   sentry_add_breadcrumb               {"breadcrumb"}
//   sentry_value_new_event              {}
//   sentry_event_value_add_stacktrace   {"event", "addresses": null or ["0x..."], "count"}
//   sentry_capture_event                {"event"}
//   detach                              {"leaked": [...], "process_end": bool}
//
// A new breadcrumb is {"message", "type"}, a new event {}; the stack trace adds no member. A line
// also has "misuse", a text, when a value or options object was passed that is not alive or not the
// caller's to give away (passed on twice, or already a member of another), or when options were
// never given to sentry_init ("detach" only). There is no detach line when the process is ended by
// TerminateProcess, a fail-fast or a crash. Events are captured and breadcrumbs taken whether or
// not sentry_init was called: look at the order of the lines.
#include <windows.h>

#include <bit>
#include <cstdint>
#include <cwchar>
#include <iomanip>
#include <json11.hpp>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "diagnostics/sentry_sdk.h"
#include "local_sentry/line_log.h"
#include "local_sentry/stack_trace.h"
#include "local_sentry/value_store.h"
#include "platform/text_encoding.h"

using json11::Json;
using local_sentry::HexText;
using local_sentry::LineLog;
using local_sentry::ValueStore;
using platform::Utf8FromWide;

struct sentry_options_t {
  Json::object set;
};

namespace {

struct Recorder {
  std::mutex mutex;  // held through each call, so that the lines have the order of the effects
  LineLog log;
  ValueStore values;
  std::set<sentry_options_t*> options;
};

// Lives as long as the process: the service's threads may call while it ends.
Recorder& TheRecorder() {
  static auto* const recorder = new Recorder;
  return *recorder;
}

// Empty when the variable is not set.
std::wstring EnvironmentText(const wchar_t* name) {
  std::wstring text(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
  text.resize(GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size())));
  return text;
}

void OpenLog() {
  const std::wstring path = EnvironmentText(L"RECORDING_SENTRY_LOG");
  if (path.empty()) return;
  TheRecorder().log.Open(path);
}

// Call with the recorder's mutex held.
void WriteLine(const char* call, Json::object members) {
  members["call"] = call;
  members["thread"] = static_cast<double>(GetCurrentThreadId());
  TheRecorder().log.Write(std::move(members));
}

void Record(const char* call, Json::object members = {}) {
  const std::lock_guard lock(TheRecorder().mutex);
  WriteLine(call, std::move(members));
}

Json TextOrNull(const char* text) { return text != nullptr ? Json(text) : Json(); }
Json TextOrNull(const wchar_t* text) { return text != nullptr ? Json(Utf8FromWide(text)) : Json(); }

std::string BitsOf(double number) {
  std::ostringstream text;
  text << "0x" << std::hex << std::uppercase << std::setfill('0') << std::setw(16)
       << std::bit_cast<std::uint64_t>(number);
  return text.str();
}

// Records a call that sets `option` to `value`.
void RecordOption(const char* call, sentry_options_t* options, const char* option,
                  const Json& value, Json::object members) {
  Recorder& recorder = TheRecorder();
  const std::lock_guard lock(recorder.mutex);
  if (recorder.options.contains(options)) {
    options->set[option] = value;
  } else {
    members["misuse"] = "the options are not alive";
  }
  WriteLine(call, std::move(members));
}

// Records a call that uses up `value`, whose content is written as `member`.
void RecordTaking(const char* call, const char* member, sentry_value_t value) {
  Recorder& recorder = TheRecorder();
  const std::lock_guard lock(recorder.mutex);
  Json::object members = {{member, recorder.values.Read(value)}};
  if (!recorder.values.Take(value)) members["misuse"] = "the value is not the caller's to give";
  WriteLine(call, std::move(members));
}

// Records a call that makes a value of `content`.
sentry_value_t RecordMaking(const char* call, const Json& content, Json::object members) {
  Recorder& recorder = TheRecorder();
  const std::lock_guard lock(recorder.mutex);
  WriteLine(call, std::move(members));
  return recorder.values.New(content);
}

// Other threads have been ended at the process's end, perhaps with the mutex held.
void RecordDetach(bool process_end) {
  Recorder& recorder = TheRecorder();
  const std::unique_lock lock(recorder.mutex, std::try_to_lock);
  if (!lock.owns_lock()) return;
  Json::object members = {{"leaked", recorder.values.Owned()}, {"process_end", process_end}};
  if (!recorder.options.empty()) members["misuse"] = "options were never given to sentry_init";
  WriteLine("detach", std::move(members));
  recorder.log = {};
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void* process_end) {
  if (reason == DLL_PROCESS_ATTACH) {
    DisableThreadLibraryCalls(module);
    OpenLog();
    Record("attach");
  } else if (reason == DLL_PROCESS_DETACH) {
    RecordDetach(process_end != nullptr);
  }
  return TRUE;
}

sentry_options_t* sentry_options_new() {
  Recorder& recorder = TheRecorder();
  const std::lock_guard lock(recorder.mutex);
  WriteLine("sentry_options_new", {});
  return *recorder.options.insert(new sentry_options_t).first;
}

void sentry_options_set_dsn(sentry_options_t* options, const char* dsn) {
  RecordOption("sentry_options_set_dsn", options, "dsn", TextOrNull(dsn),
               {{"dsn", TextOrNull(dsn)}});
}

void sentry_options_set_environment(sentry_options_t* options, const char* environment) {
  RecordOption("sentry_options_set_environment", options, "environment", TextOrNull(environment),
               {{"environment", TextOrNull(environment)}});
}

void sentry_options_set_max_breadcrumbs(sentry_options_t* options, std::size_t count) {
  RecordOption("sentry_options_set_max_breadcrumbs", options, "max_breadcrumbs",
               static_cast<double>(count), {{"count", static_cast<double>(count)}});
}

void sentry_options_set_handler_pathw(sentry_options_t* options, const wchar_t* path) {
  RecordOption("sentry_options_set_handler_pathw", options, "handler_path", TextOrNull(path),
               {{"path", TextOrNull(path)}});
}

void sentry_options_set_sample_rate(sentry_options_t* options, double rate) {
  RecordOption("sentry_options_set_sample_rate", options, "sample_rate_bits", BitsOf(rate),
               {{"bits", BitsOf(rate)}, {"rate", rate}});
}

void sentry_options_set_database_pathw(sentry_options_t* options, const wchar_t* path) {
  RecordOption("sentry_options_set_database_pathw", options, "database_path", TextOrNull(path),
               {{"path", TextOrNull(path)}});
}

int sentry_init(sentry_options_t* options) {
  const int result = static_cast<int>(
      std::wcstol(EnvironmentText(L"RECORDING_SENTRY_INIT_RESULT").c_str(), nullptr, 10));
  Recorder& recorder = TheRecorder();
  const std::lock_guard lock(recorder.mutex);
  Json::object members = {{"result", result}};
  if (recorder.options.erase(options) == 1) {
    members["options"] = std::unique_ptr<sentry_options_t>(options)->set;
  } else {
    members["misuse"] = "the options are not alive";
  }
  WriteLine("sentry_init", std::move(members));
  return result;
}

int sentry_shutdown() {
  Recorder& recorder = TheRecorder();
  const std::lock_guard lock(recorder.mutex);
  WriteLine("sentry_shutdown", {{"leaked", recorder.values.Owned()}, {"result", 0}});
  return 0;
}

void sentry_set_user(sentry_value_t user) { RecordTaking("sentry_set_user", "user", user); }

void sentry_set_tag(const char* name, const char* value) {
  Record("sentry_set_tag", {{"name", TextOrNull(name)}, {"value", TextOrNull(value)}});
}

sentry_value_t sentry_value_new_object() {
  return RecordMaking("sentry_value_new_object", Json::object{}, {});
}

sentry_value_t sentry_value_new_string(const char* text) {
  return RecordMaking("sentry_value_new_string", TextOrNull(text), {{"text", TextOrNull(text)}});
}

int sentry_value_set_by_key(sentry_value_t object, const char* key, sentry_value_t member) {
  Recorder& recorder = TheRecorder();
  const std::lock_guard lock(recorder.mutex);
  Json::object members = {{"object", recorder.values.Read(object)},
                          {"key", TextOrNull(key)},
                          {"member", recorder.values.Read(member)}};
  const bool done = key != nullptr && recorder.values.SetByKey(object, key, member);
  const int result = done ? 0 : 1;
  members["result"] = result;
  if (!done) members["misuse"] = "no live object, or the member is not the caller's to give";
  WriteLine("sentry_value_set_by_key", std::move(members));
  return result;
}

sentry_value_t sentry_value_new_breadcrumb(const char* type, const char* message) {
  const Json::object members = {{"type", TextOrNull(type)}, {"message", TextOrNull(message)}};
  return RecordMaking("sentry_value_new_breadcrumb", members, members);
}

void sentry_add_breadcrumb(sentry_value_t breadcrumb) {
  RecordTaking("sentry_add_breadcrumb", "breadcrumb", breadcrumb);
}

sentry_value_t sentry_value_new_event() {
  return RecordMaking("sentry_value_new_event", Json::object{}, {});
}

void sentry_event_value_add_stacktrace(sentry_value_t event, void** addresses, std::size_t count) {
  Json written;
  if (addresses != nullptr) {
    Json::array frames;
    for (std::size_t i = 0; i < count; ++i) {
      frames.emplace_back(HexText(reinterpret_cast<std::size_t>(addresses[i])));
    }
    written = std::move(frames);
  }
  Recorder& recorder = TheRecorder();
  const std::lock_guard lock(recorder.mutex);
  Json::object members = {{"event", recorder.values.Read(event)},
                          {"addresses", written},
                          {"count", static_cast<double>(count)}};
  if (!recorder.values.Read(event).is_object()) members["misuse"] = "the event is not alive";
  WriteLine("sentry_event_value_add_stacktrace", std::move(members));
}

sentry_uuid_t sentry_capture_event(sentry_value_t event) {
  RecordTaking("sentry_capture_event", "event", event);
  return {};
}
