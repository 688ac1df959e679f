#include "open_gsdk/encoding/video_encoder.h"

#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/library_log.h"

namespace open_gsdk {

std::unique_ptr<VideoEncoder> OpenVideoEncoder(const std::vector<VideoEncoderKind>& kinds,
                                               const VideoEncoding& encoding) {
  std::string skipped;
  for (const VideoEncoderKind& kind : kinds) {
    try {
      std::unique_ptr<VideoEncoder> encoder = kind.open(encoding);
      Log(LogLevel::kInfo, "video encoder " + kind.name + skipped);
      return encoder;
    } catch (const Failure& failure) {
      skipped += "; not " + kind.name + ": " + failure.what();
    }
  }
  throw Failure(ErrorCode::kNoEncoder,
                "no video encoder takes " + std::to_string(encoding.size.width) + "x" +
                    std::to_string(encoding.size.height) + " at " +
                    std::to_string(encoding.frame_rate) + " frames per second" + skipped);
}

}  // namespace open_gsdk
