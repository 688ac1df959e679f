// Where the error-reporting SDK keeps what it has to report.
#pragma once

namespace capture_service {

// Under the folder for data shared by all users (platform/files.h).
inline constexpr wchar_t kReportFolder[] = L"Orvane\\Orvane Daskel 3\\sentry-db";

}  // namespace capture_service
