// A file of JSON lines that is only ever appended to.
#pragma once

#include <json11.hpp>
#include <string>

#include "platform/owned_handle.h"

namespace local_sentry {

// One thread at a time. Several processes may append to one file; their lines do not mix.
class LineLog {
 public:
  // Opens or makes the file; its folder must exist. False, and without a file from then on, when
  // that fails.
  bool Open(const std::wstring& path);

  // Writes one line through to the system, so that it outlives the process however that ends. Does
  // nothing without a file.
  void Write(const json11::Json& line) const;

 private:
  platform::OwnedHandle file_;
};

}  // namespace local_sentry
