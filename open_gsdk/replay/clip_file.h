// A clip's way to its place on the disk.
#pragma once

#include <string>

#include "open_gsdk/replay/clip.h"

namespace open_gsdk {

// Writes `clip`, which has packets, under a temporary name in the folder of `path` (UTF-8), and
// gives it its name when it is complete and on the disk, over a file that had that name. While
// another program has that file open it is tried again for three seconds; a file that cannot be
// replaced even then stays as it was, and the clip is saved beside it under a free name, which is
// logged: kCannotRename. After any other failure nothing is left behind. Also removes what
// processes that ended during a dump have left in the folder. Never throws: kUnexpected stands for
// what has no status. Any thread.
DumpStatus WriteClipFile(const Clip& clip, const std::string& path) noexcept;

}  // namespace open_gsdk
