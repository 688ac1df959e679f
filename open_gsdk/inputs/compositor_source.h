// Takes pictures of a monitor or a window from the desktop's compositor (Windows.Graphics.Capture,
// Windows 10 1903 and later), which sees what games draw with Direct3D.
#pragma once

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "open_gsdk/encoding/image.h"
#include "open_gsdk/inputs/capture_system.h"
#include "open_gsdk/inputs/picture_source.h"
#include "open_gsdk/inputs/video_source.h"

namespace open_gsdk {

class CompositorCapture;
struct ArrivedPicture;

// For one thread at a time.
class CompositorSource {
 public:
  // Begins to capture. Throws Failure: kSystem when the system has no such interface or refuses it
  // (what() says why), kInputGone when there is no such monitor.
  CompositorSource(VideoSource source, CaptureSystem system);
  ~CompositorSource();
  CompositorSource(const CompositorSource&) = delete;
  CompositorSource& operator=(const CompositorSource&) = delete;

  // The newest picture that has come since the last call, if any: kUnchanged while the source does
  // not change, is minimised, or its picture is still on its way from the graphics card, and
  // kNothing before the first one. Never waits for the card. A device that is lost is replaced;
  // throws Failure with kCaptureFailed when that has not worked for a second.
  GrabResult Grab();

  // What the last Grab with kPicture took; valid until the next Grab.
  [[nodiscard]] Image image() const { return {pixels_.data(), size_}; }
  // When the compositor made it, on the steady clock.
  [[nodiscard]] std::int64_t time_ns() const { return time_ns_; }
  // Whether the monitor shows HDR, whose light is mapped to an ordinary picture.
  [[nodiscard]] bool hdr() const { return light_.hdr; }

 private:
  HRESULT Open();
  void Lose(HRESULT reason);
  void Read(const ArrivedPicture& picture);

  const VideoSource source_;
  const CaptureSystem system_;
  HMONITOR monitor_ = nullptr;
  MonitorLight light_;
  std::vector<std::uint8_t> tone_map_;  // empty unless the monitor shows HDR
  std::int64_t clock_offset_ns_;        // from the compositor's clock to the steady clock

  std::unique_ptr<CompositorCapture> capture_;  // null while a lost device could not be replaced
  std::optional<std::chrono::steady_clock::time_point> lost_since_;
  // Set by the system on a thread of its own; shared with what it calls.
  std::shared_ptr<std::atomic<bool>> closed_;

  std::vector<std::uint8_t> pixels_;
  Size size_;
  std::int64_t time_ns_ = 0;
};

}  // namespace open_gsdk
