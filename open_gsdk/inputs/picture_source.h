// What delivers the pictures of a monitor or window.
#pragma once

#include <cstdint>
#include <optional>

#include "open_gsdk/encoding/image.h"
#include "open_gsdk/inputs/video_source.h"

namespace open_gsdk {

enum class GrabResult {
  kPicture,
  kUnchanged,  // it still looks as it did at the last kPicture
  kNothing,    // minimised, or the desktop is locked: there is nothing to see right now
  kGone,       // the window or monitor does not exist any more
};

// For one thread at a time.
class PictureSource {
 public:
  PictureSource() = default;
  virtual ~PictureSource() = default;
  PictureSource(const PictureSource&) = delete;
  PictureSource& operator=(const PictureSource&) = delete;

  // Looks at `source`, which may be another one than the last time.
  virtual GrabResult Grab(const VideoSource& source) = 0;

  // What the last kPicture showed; valid until the next Grab.
  [[nodiscard]] virtual Image image() const = 0;

  // When it looked so, on the steady clock; none for a source that only knows when it was asked.
  [[nodiscard]] virtual std::optional<std::int64_t> time_ns() const { return std::nullopt; }

  // Whether it is shown in HDR, whose light is mapped to an ordinary picture.
  [[nodiscard]] virtual bool hdr() const { return false; }
};

}  // namespace open_gsdk
