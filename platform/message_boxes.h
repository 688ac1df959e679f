// Keeps a process without a window from showing any.
#pragma once

namespace platform {

// Nobody would close a message box: neither the runtime's, when it finds an error of the program,
// nor the system's, when a library cannot be loaded. Adds to what whoever started the process has
// set. Once, first of all.
void ShowNoMessageBoxes();

}  // namespace platform
