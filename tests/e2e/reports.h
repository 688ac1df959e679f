// What the service hands to the error-reporting SDK, read from the log of the recording sentry.dll
// (tests/doubles/recording_sentry.cpp).
#pragma once

#include <string>
#include <vector>

#include "tests/e2e/service_test.h"

namespace e2e {

// The message that turns error reporting on. `changes` replaces or adds members; a null takes one
// away.
Json ReportingSettings(const Json::object& changes = {});

// The calls of which the name begins with `prefix`, in order, each as its name and its members:
// `sentry_set_tag {"name": "GUID", "value": "1"}`.
Texts ReportCalls(const ServiceRun& run, const std::string& prefix = "sentry_");

// One such call that sets a tag, and the one that shuts the SDK down with nothing left over.
std::string TagCall(const std::string& name, const std::string& value);
std::string ShutDownCall();

// The breadcrumbs and events in order, each as "info: text", "error: text" (breadcrumbs by level)
// or "event type: value".
Texts Incidents(const ServiceRun& run);

// What is reported of a failure.
enum class Reported {
  kAsEvent,  // an event with an error breadcrumb after it
  kAsInfo,   // an info breadcrumb
};

// The incidents that belong to the texts that the host got: an info breadcrumb for each line, and
// what `reported` says for each failure, all of which have the kind `kind`
// ("9 GSDKSessionCreateFailed").
Texts ExpectedIncidents(const Texts& host_texts, const std::string& kind, Reported reported);

// Values and options that were given away twice or not at all, also at the SDK's shutdown.
Texts ReportMisuses(const ServiceRun& run);

}  // namespace e2e
