#include "tests/fakes/fake_library.h"

#include <algorithm>
#include <utility>

#include "tests/fakes/fake_library_objects.h"
#include "tests/fakes/transcript.h"

namespace core_test {

FakeLibrary& Fake() {
  static auto& library = *new FakeLibrary;
  return library;
}

void FakeLibrary::Reset() {
  const std::lock_guard lock(mutex_);
  rules_.clear();
  calls_.clear();
  made_.clear();
  // Texts that the service does not give back.
  for (const auto& [object, name] : live_) {
    if (name.starts_with("text")) delete[] static_cast<const char*>(object);
  }
  live_.clear();
  lists_ = {{"monitor", R"({"monitor": {"values": [], "default": "primary"}})"},
            {"window", R"({"window": {"values": []}})"},
            {"audio_output", R"({"device_id": {"values": []}})"},
            {"audio_input", R"({"device_id": {"values": []}})"}};
  dump_result_ = {};
  callbacks_ = {};
  record_packets_ = true;
  live_packets_ = 0;
  pushed_packets_ = 0;
}

void FakeLibrary::Fail(const std::string& function, int n, std::int32_t code,
                       const std::string& message) {
  const std::lock_guard lock(mutex_);
  rules_.push_back({.function = function,
                    .n = n,
                    .action = [] {},
                    .fails = true,
                    .code = code,
                    .message = message});
}

void FakeLibrary::OnCall(const std::string& function, int n, std::function<void()> action) {
  const std::lock_guard lock(mutex_);
  rules_.push_back({.function = function, .n = n, .action = std::move(action), .message = {}});
}

void FakeLibrary::SetList(const std::string& kind, std::optional<std::string> text) {
  const std::lock_guard lock(mutex_);
  lists_[kind] = std::move(text);
}

std::optional<std::string> FakeLibrary::List(const std::string& kind) {
  const std::lock_guard lock(mutex_);
  return lists_.at(kind);
}

void FakeLibrary::SetDumpResult(const gsdk_dump_result& result) {
  const std::lock_guard lock(mutex_);
  dump_result_ = result;
}

gsdk_error* FakeLibrary::NewError(std::int32_t code, const std::string& message) {
  auto* const error = new gsdk_error{.code = code, .message = message};
  Add(error, "error");
  return error;
}

gsdk_encoded_packet* FakeLibrary::NewPacket() {
  ++Fake().live_packets_;
  return new gsdk_encoded_packet;
}

std::vector<std::string> FakeLibrary::LiveObjects() {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  for (const auto& [object, name] : live_) names.push_back(name);
  std::ranges::sort(names);
  return names;
}

FakeLibrary::Callbacks FakeLibrary::RegisteredCallbacks() {
  const std::lock_guard lock(mutex_);
  return callbacks_;
}

gsdk_error* FakeLibrary::Call(const std::string& function, const std::string& arguments,
                              const std::string& result) {
  std::vector<Rule> rules;
  {
    const std::lock_guard lock(mutex_);
    const int n = ++calls_[function];
    std::ranges::copy_if(rules_, std::back_inserter(rules), [&](const Rule& rule) {
      return rule.function == function && (rule.n == kEveryTime || rule.n == n);
    });
  }
  const std::string line = function + "(" + arguments + ")";
  for (const Rule& rule : rules) {
    if (!rule.fails) continue;
    gsdk_error* const error = NewError(rule.code, rule.message);
    Record(line + " = " + NameOf(error));
    return error;
  }
  Record(result.empty() ? line : line + " = " + result);
  for (const Rule& rule : rules) rule.action();
  return nullptr;
}

std::string FakeLibrary::NextName(const std::string& kind) {
  const std::lock_guard lock(mutex_);
  return kind + std::to_string(made_[kind] + 1);
}

std::string FakeLibrary::Add(void* object, const std::string& kind) {
  const std::lock_guard lock(mutex_);
  return live_[object] = kind + std::to_string(++made_[kind]);
}

std::string FakeLibrary::NameOf(const void* object) {
  if (object == nullptr) return "null";
  const std::lock_guard lock(mutex_);
  const auto found = live_.find(object);
  return found != live_.end() ? found->second : "unknown object";
}

void FakeLibrary::Remove(const void* object) {
  const std::lock_guard lock(mutex_);
  live_.erase(object);
}

}  // namespace core_test
