#include "platform/message_boxes.h"

#include <windows.h>

#include <cstdlib>

namespace platform {

void ShowNoMessageBoxes() {
  _set_error_mode(_OUT_TO_STDERR);
  SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS);
}

}  // namespace platform
