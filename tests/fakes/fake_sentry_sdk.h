// The error-reporting SDK as the unit tests link it: every call is a line of the transcript, with
// values as JSON, and nothing else happens.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace core_test {

// Forgets all values and actions and lets sentry_init succeed.
void ResetSentry();

// What sentry_init returns from now on.
void SetSentryInitResult(int result);

// Makes every call of this function that has a line run `action` after its line.
void OnSentryCall(const std::string& function, std::function<void()> action);

// Values that were made and not handed over to anybody.
std::size_t LiveSentryValues();

// The lines of an "info" or "error" breadcrumb, and of an error event.
std::string BreadcrumbLine(const std::string& level, const std::string& message);
std::string StacktraceLine(const std::string& type, const std::string& value);
std::string EventLine(const std::string& type, const std::string& value);

}  // namespace core_test
