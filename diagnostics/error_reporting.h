// Starts and stops error reporting through the Sentry native SDK, and tells it whom and what its
// reports are about. Only this folder calls the SDK.
#pragma once

#include <atomic>
#include <string>

namespace capture_service {

// True while the SDK runs. Set by the main loop from InitErrorReporting's result; read by every
// thread that logs.
extern std::atomic<bool> ErrorReportingEnabled;

// Configures and starts the SDK, then tags its reports with the machine's profile, also when the
// SDK did not start. Returns whether it started. Main thread; blocks as long as the queries for the
// profile take, and lets their exceptions through. A second call starts the SDK anew.
bool InitErrorReporting(const std::string& environment);

// Gives the reports from now on this user's id. Any thread; whether or not reporting is enabled.
void SetReportUser(const std::string& id);

// Gives the reports from now on this tag, in place of an older value of it. A value ends at its
// first zero character. Any thread; whether or not reporting is enabled.
void SetReportTag(const std::string& name, const std::string& value);

// Stops the SDK if it runs, so that what was captured is sent. Any thread; only the first of
// several calls stops it.
void ShutdownErrorReporting();

}  // namespace capture_service
