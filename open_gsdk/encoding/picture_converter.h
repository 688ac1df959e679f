// Makes of the pictures that Windows draws the ones that an encoder takes: 4:2:0, BT.709, limited
// range, fitted into the encoded size.
#pragma once

#include <vector>

#include "open_gsdk/encoding/frame_geometry.h"
#include "open_gsdk/encoding/image.h"
#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {

// For one thread at a time; the frames that it gives may be used and freed on others.
class PictureConverter {
 public:
  explicit PictureConverter(Size picture) : picture_(picture) {}

  // A black frame. Both functions throw Failure with kCaptureFailed.
  Frame Black();

  // `image`, with black where it does not reach.
  Frame Convert(const Image& image);

 private:
  // A frame whose memory is used again once nobody else holds it.
  struct PooledFrame {
    Frame frame;
    Placement drawn;  // what it shows besides black
  };

  PooledFrame& FreeFrame();
  void PrepareScaler(Size source);

  const Size picture_;
  std::vector<PooledFrame> frames_;
  Size source_;
  Placement placement_;
  Scaler scaler_;
};

}  // namespace open_gsdk
