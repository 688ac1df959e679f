// The choice between the sources of pictures that there are.
#pragma once

#include <memory>

#include "open_gsdk/inputs/capture_system.h"
#include "open_gsdk/inputs/picture_source.h"

namespace open_gsdk {

// The best source that `system` has for each monitor or window that it is asked for: the
// compositor's capture interface, or else GDI; which one, and why, is a line in the log. Where the
// environment variable OPEN_GSDK_SOURCE says "compositor" or "gdi" there is no choice: Grab then
// throws Failure with kCaptureFailed when there is no such.
std::unique_ptr<PictureSource> OpenPictureSource(CaptureSystem system = WindowsCaptureSystem());

}  // namespace open_gsdk
