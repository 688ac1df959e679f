#include "diagnostics/error_reporting.h"

#include <optional>

#include "diagnostics/machine_profile.h"
#include "diagnostics/report_folder.h"
#include "diagnostics/sentry_sdk.h"
#include "platform/files.h"

namespace capture_service {
namespace {

constexpr std::size_t kMaxBreadcrumbs = 200;
// Three error events in ten are enough to see what happens, and spare the project's quota.
constexpr double kSampleRate = 0.3;

}  // namespace

std::atomic<bool> ErrorReportingEnabled = false;

bool InitErrorReporting(const std::string& environment) {
  sentry_options_t* const options = sentry_options_new();
  sentry_options_set_dsn(options, CAPTURE_SERVICE_SENTRY_DSN);
  sentry_options_set_environment(options, environment.c_str());
  sentry_options_set_max_breadcrumbs(options, kMaxBreadcrumbs);
  sentry_options_set_handler_pathw(options, L"./crashpad_handler.exe");
  sentry_options_set_sample_rate(options, kSampleRate);
  if (const std::optional<std::wstring> folder = platform::CommonAppDataFolder()) {
    const std::wstring database = *folder + L"\\" + kReportFolder;
    sentry_options_set_database_pathw(options, database.c_str());
  }
  const bool started = sentry_init(options) == 0;

  for (const auto& [name, value] : CollectMachineProfile()) SetReportTag(name, value);
  return started;
}

void SetReportUser(const std::string& id) {
  const sentry_value_t user = sentry_value_new_object();
  sentry_value_set_by_key(user, "id", sentry_value_new_string(id.c_str()));
  sentry_set_user(user);
}

void SetReportTag(const std::string& name, const std::string& value) {
  sentry_set_tag(name.c_str(), value.c_str());
}

void ShutdownErrorReporting() {
  if (ErrorReportingEnabled.exchange(false)) sentry_shutdown();
}

}  // namespace capture_service
