#include "open_gsdk/inputs/picture_source.h"

#include "open_gsdk/inputs/gdi_capture.h"

namespace open_gsdk {

std::unique_ptr<PictureSource> OpenPictureSource() { return std::make_unique<GdiCapture>(); }

}  // namespace open_gsdk
