#include "local_sentry/line_log.h"

namespace local_sentry {

bool LineLog::Open(const std::wstring& path) {
  file_ = platform::OwnFile(CreateFileW(path.c_str(), FILE_APPEND_DATA,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  return file_ != nullptr;
}

void LineLog::Write(const json11::Json& line) const {
  if (!file_) return;
  const std::string text = line.dump() + "\n";
  DWORD written = 0;
  WriteFile(file_.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

}  // namespace local_sentry
