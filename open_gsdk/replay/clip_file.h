// A clip's way to its place on the disk.
#pragma once

#include <string>

#include "open_gsdk/replay/clip.h"

namespace open_gsdk {

// Writes `clip`, which has packets, under a temporary name in the folder of `path` (UTF-8), and
// gives it its name when it is complete and on the disk, over a file that had that name. On failure
// nothing is left behind and such a file stays as it was. Never throws: kUnexpected stands for what
// has no status.
DumpStatus WriteClipFile(const Clip& clip, const std::string& path) noexcept;

}  // namespace open_gsdk
