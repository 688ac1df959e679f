#include "diagnostics/process_elevation.h"

#include <windows.h>

#include <cstdint>

#include "diagnostics/machine_profile_rules.h"
#include "platform/owned_handle.h"

namespace capture_service {

std::string QueryProcessElevation(void* process) {
  HANDLE handle = nullptr;
  if (!OpenProcessToken(process, TOKEN_QUERY, &handle)) return ElevationText(std::nullopt);
  const platform::OwnedHandle token(handle);

  std::uint32_t type = 0;
  DWORD size = 0;
  if (!GetTokenInformation(token.get(), TokenElevationType, &type, sizeof(type), &size)) {
    return ElevationText(std::nullopt);
  }
  return ElevationText(type);
}

}  // namespace capture_service
