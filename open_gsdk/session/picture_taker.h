// The first half of a session's video: looks at the source to the frame rate, and makes of what is
// new there the pictures that an encoder takes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "open_gsdk/encoding/picture_converter.h"
#include "open_gsdk/encoding/video_encoder.h"
#include "open_gsdk/inputs/picture_source.h"
#include "open_gsdk/inputs/video_source.h"
#include "open_gsdk/session/frame_clock.h"
#include "open_gsdk/session/growth_watch.h"
#include "open_gsdk/session/picture_handover.h"
#include "open_gsdk/session/tick_timer.h"

namespace open_gsdk {

// What the video of a session is made with.
struct VideoParts {
  std::unique_ptr<PictureSource> pictures;
  std::vector<VideoEncoderKind> encoders;
  // How a source of this size is to be encoded.
  std::function<VideoEncoding(Size)> choose;
};

// For one thread, but for SetSource.
class PictureTaker {
 public:
  // `size` is the one of `source` for which its encoding was chosen.
  PictureTaker(VideoParts parts, VideoSource source, Size size);

  [[nodiscard]] const VideoEncoding& encoding() const { return encoding_; }
  // The encoder for the first pictures. Throws Failure with kNoEncoder.
  [[nodiscard]] std::unique_ptr<VideoEncoder> OpenEncoder() const;
  // A picture of nothing.
  Frame Black() { return converter_->Black(); }

  // Looks at something else from the next picture on; any thread.
  void SetSource(const VideoSource& source);

  // Puts pictures until the timer is stopped or the handover closed. Throws Failure when the source
  // is gone.
  void TakePictures(std::int64_t start_ns, TickTimer& timer, PictureHandover& handover);

  // For the log.
  struct Figures {
    std::int64_t looks = 0;
    std::int64_t looks_ns = 0;  // what they took together, with the conversion of what was new
    std::int64_t pictures = 0;  // that were new
    std::int64_t lost = 0;      // frames
  };
  [[nodiscard]] const Figures& figures() const { return figures_; }

 private:
  VideoSource Source();
  std::optional<TakenPicture> Look(std::int64_t begin_ns);
  std::optional<TakenPicture> LookedAtNothing(std::int64_t begin_ns);
  // An encoder and a converter for a source that has outgrown its size; null when it has not.
  std::unique_ptr<VideoEncoder> FollowSize(Size size);
  [[nodiscard]] std::int64_t Elapsed() const;

  VideoParts parts_;
  VideoEncoding encoding_;
  std::unique_ptr<PictureConverter> converter_;
  PicturePace pace_;
  GrowthWatch growth_;
  std::int64_t start_ns_ = 0;
  bool saw_picture_ = false;
  Figures figures_;

  std::mutex mutex_;
  VideoSource source_;  // guarded by mutex_
};

}  // namespace open_gsdk
