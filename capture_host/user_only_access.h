// Access to an object of the system for nobody but the user whose process makes it.
#pragma once

#include <windows.h>

#include <memory>

#include "platform/owned_handle.h"

namespace capture_host {

class UserOnlyAccess {
 public:
  // Check `attributes` for null, which means that Windows did not name the user; GetLastError says
  // why.
  UserOnlyAccess();

  // For the call that creates the object; null when it could not be made. Lives as long as this.
  [[nodiscard]] SECURITY_ATTRIBUTES* attributes() { return descriptor_ ? &attributes_ : nullptr; }

 private:
  std::unique_ptr<void, platform::LocalMemoryFreer> descriptor_;
  SECURITY_ATTRIBUTES attributes_{};
};

}  // namespace capture_host
