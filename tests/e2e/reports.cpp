#include "tests/e2e/reports.h"

namespace e2e {

Json ReportingSettings(const Json::object& changes) {
  Json::object settings = {{"sentry_env", "production"}, {"userid", "user-7"},
                           {"game_id", "game-3"},        {"game_exe", "game.exe"},
                           {"daskel_guid", "guid-1"},    {"daskel_version", "3.0.1"},
                           {"beta_enabled", "true"}};
  for (const auto& [name, value] : changes) {
    if (value.is_null()) {
      settings.erase(name);
    } else {
      settings[name] = value;
    }
  }
  return Json::object{{"startglimra_sentrysettings", settings}};
}

Texts ReportCalls(const ServiceRun& run, const std::string& prefix) {
  Texts calls;
  for (const Json& line : run.Reports()) {
    const std::string name = line["call"].string_value();
    if (!name.starts_with(prefix)) continue;
    Json::object members = line.object_items();
    members.erase("call");
    members.erase("thread");
    calls.push_back(name + " " + Json(members).dump());
  }
  return calls;
}

std::string TagCall(const std::string& name, const std::string& value) {
  return "sentry_set_tag " + Json(Json::object{{"name", name}, {"value", value}}).dump();
}

std::string ShutDownCall() { return R"(sentry_shutdown {"leaked": [], "result": 0})"; }

Texts Incidents(const ServiceRun& run) {
  Texts incidents;
  for (const Json& line : run.Reports()) {
    if (line["call"] == "sentry_add_breadcrumb") {
      const Json& breadcrumb = line["breadcrumb"];
      incidents.push_back(breadcrumb["level"].string_value() + ": " +
                          breadcrumb["message"].string_value());
    } else if (line["call"] == "sentry_capture_event") {
      const Json& exception = line["event"]["exception"];
      incidents.push_back("event " + exception["type"].string_value() + ": " +
                          exception["value"].string_value());
    }
  }
  return incidents;
}

Texts ExpectedIncidents(const Texts& host_texts, const std::string& kind, Reported reported) {
  const std::string prefix = "[Glimra error]: ";
  Texts incidents;
  for (const std::string& text : host_texts) {
    std::string error;
    const std::string line = Json::parse(text, error)["error"].string_value();
    const bool is_failure = line.starts_with(prefix);
    const std::string message = is_failure ? line.substr(prefix.size()) : line;
    if (!is_failure) {
      incidents.push_back("info: " + message);
    } else if (reported == Reported::kAsInfo) {
      incidents.push_back("info: " + kind + ": " + message);
    } else {
      incidents.push_back("event Error " + kind + ": " + message);
      incidents.push_back("error: " + message);
    }
  }
  return incidents;
}

Texts ReportMisuses(const ServiceRun& run) {
  Texts misuses;
  for (const Json& line : run.Reports()) {
    if (line["misuse"].is_string() || !line["leaked"].array_items().empty()) {
      misuses.push_back(line.dump());
    }
  }
  return misuses;
}

}  // namespace e2e
