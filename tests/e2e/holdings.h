// What a process holds, for tests that look for leaks.
#pragma once

#include <cstddef>

#include "tests/e2e/child_process.h"

namespace e2e {

struct Holdings {
  std::size_t handles = 0;  // but for registry keys
  // Apart, since Wine leaves one open for every RoGetActivationFactory and every MFTEnumEx, which
  // the open library calls for each session.
  std::size_t registry_keys = 0;
  std::size_t threads = 0;
  std::size_t private_bytes = 0;
};

// All of it now; a member is 0 when Windows does not tell.
Holdings HoldingsOf(const ChildProcess& process);

}  // namespace e2e
