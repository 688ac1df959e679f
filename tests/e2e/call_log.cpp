#include "tests/e2e/call_log.h"

#include <fstream>
#include <sstream>

namespace e2e {
namespace {

std::string ArgumentText(const json11::Json& argument) {
  if (argument.is_string()) return argument.string_value();
  return argument.dump();
}

std::string CallText(const json11::Json& line) {
  std::string text = line["call"].string_value() + "(";
  std::string separator;
  for (const json11::Json& argument : line["args"].array_items()) {
    text += separator + ArgumentText(argument);
    separator = ", ";
  }
  text += ")";
  std::string result;
  if (line["result"].is_bool()) result += line["result"].bool_value() ? " true" : " false";
  for (const char* member : {"out", "error"}) {
    if (line[member].is_string()) result += " " + line[member].string_value();
  }
  if (!result.empty()) text += " =" + result;
  return text;
}

}  // namespace

std::vector<json11::Json> ReadJsonLines(const std::filesystem::path& path) {
  std::vector<json11::Json> lines;
  std::ifstream file(path, std::ios::binary);
  std::string line;
  while (std::getline(file, line)) {
    std::string error;
    json11::Json json = json11::Json::parse(line, error);
    if (error.empty()) lines.push_back(std::move(json));
  }
  return lines;
}

std::vector<std::string> CallLog::Calls() const {
  std::vector<std::string> calls;
  for (const json11::Json& line : lines_) {
    if (line["call"].is_string()) calls.push_back(CallText(line));
  }
  return calls;
}

std::vector<std::string> CallLog::CallsThatStart(std::string_view start) const {
  std::vector<std::string> calls = Calls();
  std::erase_if(calls, [&](const std::string& call) { return !call.starts_with(start); });
  return calls;
}

std::vector<std::int64_t> CallLog::TimesOf(std::string_view name) const {
  std::vector<std::int64_t> times;
  for (const json11::Json& line : lines_) {
    if (line["call"].string_value() == name) {
      times.push_back(static_cast<std::int64_t>(line["us"].number_value()));
    }
  }
  return times;
}

std::vector<std::string> CallLog::Imbalances() const {
  std::vector<std::string> imbalances;
  for (const json11::Json& line : lines_) {
    for (const char* member : {"misuse", "script_error"}) {
      if (line[member].is_string()) imbalances.push_back(line[member].string_value());
    }
  }
  const json11::Json account = LastAccount();
  if (account.is_null()) imbalances.emplace_back("no account");
  for (const auto& [kind, figures] : account.object_items()) {
    // Nothing gives an audio input back: it goes with its session.
    if (!figures.is_array() || kind == "audio_input") continue;
    const std::int64_t made = Made(kind);
    const std::int64_t given_back = GivenBack(kind);
    if (made == given_back) continue;
    imbalances.push_back(kind + ": " + std::to_string(made) + " made, " +
                         std::to_string(given_back) + " given back");
  }
  return imbalances;
}

std::string CallLog::Detach() const {
  for (const json11::Json& line : lines_) {
    if (line["detach"].is_string()) return line["detach"].string_value();
  }
  return {};
}

std::int64_t CallLog::Made(const std::string& kind) const {
  return static_cast<std::int64_t>(LastAccount()[kind][0].number_value());
}

std::int64_t CallLog::GivenBack(const std::string& kind) const {
  return static_cast<std::int64_t>(LastAccount()[kind][1].number_value());
}

std::string CallLog::Text() const {
  std::ostringstream text;
  for (const json11::Json& line : lines_) text << line.dump() << "\n";
  return text.str();
}

json11::Json CallLog::LastAccount() const {
  json11::Json account;
  for (const json11::Json& line : lines_) {
    if (line["account"].is_object()) account = line["account"];
  }
  return account;
}

}  // namespace e2e
