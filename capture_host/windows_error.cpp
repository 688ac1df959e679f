#include "capture_host/windows_error.h"

#include <system_error>

namespace capture_host {

std::string WindowsErrorText(DWORD error) {
  std::string text = std::system_category().message(static_cast<int>(error));
  while (text.ends_with('.') || text.ends_with('\n') || text.ends_with('\r')) text.pop_back();
  return text + " (Windows error " + std::to_string(error) + ")";
}

Error WindowsError(DWORD error, const std::string& what, const std::string& call,
                   const std::string& advice) {
  return {.what = what + ": " + WindowsErrorText(error) + ".",
          .where = call,
          .advice = advice,
          .windows_error = error,
          .exit_status = {}};
}

}  // namespace capture_host
