#include "tests/doubles/gsdk_double_script.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <random>
#include <sstream>

#include "tests/doubles/gsdk_double_log.h"

namespace gsdk_double {
namespace {

struct Script {
  std::filesystem::path folder;
  json11::Json json;

  std::mutex mutex;  // guards all below
  std::map<std::string, int> counts;
  std::mt19937 random;

  int Count(const std::string& what) {
    const std::lock_guard lock(mutex);
    return ++counts[what];
  }
};

void LoadScript(Script& script) {
  const std::filesystem::path path = EnvironmentPath(L"GSDK_DOUBLE_SCRIPT");
  if (path.empty()) return;
  script.folder = path.parent_path();
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  std::string error;
  script.json = json11::Json::parse(text.str(), error);
  if (!error.empty()) WriteLine({{"script_error", error}});
  script.random.seed(static_cast<unsigned>(script.json["random_delay"]["seed"].int_value()));
}

// Never destroyed: library threads may still ask while the process ends.
Script& TheScript() {
  static Script& script = []() -> Script& {
    auto* loaded = new Script;
    LoadScript(*loaded);
    return *loaded;
  }();
  return script;
}

json11::Json EntryForCount(const json11::Json& list, int count) {
  const auto& items = list.array_items();
  if (items.empty()) return {};
  const auto index = static_cast<std::size_t>(count) - 1;
  return index < items.size() ? items[index] : items.back();
}

std::string DefaultList(const std::string& kind) {
  if (kind == "monitor") return R"({"monitor": {"default": "primary", "values": []}})";
  if (kind == "window") return R"({"window": {"values": []}})";
  return R"({"device_id": {"values": []}})";
}

}  // namespace

CallRule NextRule(const std::string& name) {
  Script& script = TheScript();
  const int count = script.Count(name);
  for (const json11::Json& rule : script.json["calls"][name].array_items()) {
    if (!rule["n"].is_number() || rule["n"].int_value() == count) return {rule};
  }
  return {};
}

std::optional<std::string> NextList(const std::string& kind) {
  Script& script = TheScript();
  const int count = script.Count("list " + kind);
  const json11::Json& answers = script.json["lists"][kind];
  if (!answers.is_array()) return DefaultList(kind);
  const json11::Json answer = EntryForCount(answers, count);
  if (!answer.is_string()) return std::nullopt;
  return answer.string_value();
}

json11::Json NextDump() {
  Script& script = TheScript();
  return EntryForCount(script.json["dumps"], script.Count("dumps"));
}

json11::Json NextSession() {
  Script& script = TheScript();
  return EntryForCount(script.json["sessions"], script.Count("sessions"));
}

const json11::Json& UnloadSteps() { return TheScript().json["unload"]; }

std::chrono::microseconds NextRandomDelay() {
  Script& script = TheScript();
  const int most = script.json["random_delay"]["most_us"].int_value();
  if (most <= 0) return std::chrono::microseconds(0);
  const std::lock_guard lock(script.mutex);
  return std::chrono::microseconds(std::uniform_int_distribution(0, most)(script.random));
}

std::uint64_t LoggedPackets() {
  static const std::uint64_t count = [] {
    const json11::Json& value = TheScript().json["log_packets"];
    return value.is_number() ? static_cast<std::uint64_t>(value.int_value()) : 3U;
  }();
  return count;
}

bool ScriptFileExists(const std::string& name) {
  std::error_code ignored;
  return std::filesystem::exists(TheScript().folder / std::u8string(name.begin(), name.end()),
                                 ignored);
}

std::int64_t ReadInt64(const json11::Json& value) {
  if (value.is_string()) return std::stoll(value.string_value());
  return static_cast<std::int64_t>(value.number_value());
}

}  // namespace gsdk_double
