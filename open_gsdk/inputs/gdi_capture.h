// Takes pictures of a monitor or a window through GDI.
#pragma once

#include <windows.h>

#include <chrono>
#include <memory>
#include <optional>

#include "open_gsdk/encoding/image.h"
#include "open_gsdk/inputs/monitors.h"
#include "open_gsdk/inputs/video_source.h"

namespace open_gsdk {

enum class GrabResult {
  kPicture,
  kNothing,  // minimised, or the desktop is locked: there is nothing to see right now
  kGone,     // the window or monitor does not exist any more
};

// For one thread at a time.
class GdiCapture {
 public:
  // Of a window only the part is seen that no other window covers. Never waits for the window's
  // own thread.
  GrabResult Grab(const VideoSource& source);

  // What the last Grab with kPicture saw; valid until the next Grab.
  [[nodiscard]] Image image() const { return {pixels_, size_}; }

 private:
  struct DcDeleter {
    void operator()(HDC dc) const { DeleteDC(dc); }
  };
  struct BitmapDeleter {
    void operator()(HBITMAP bitmap) const { DeleteObject(bitmap); }
  };

  GrabResult GrabMonitor(const VideoSource& source);
  GrabResult GrabWindow(const VideoSource& source);
  bool Copy(HWND window, POINT from, Size size);
  bool Resize(Size size);
  void DrawCursor(POINT origin);

  std::unique_ptr<HBITMAP__, BitmapDeleter> bitmap_;
  // Deleted before the bitmap that is selected into it.
  std::unique_ptr<HDC__, DcDeleter> dc_;
  const std::uint8_t* pixels_ = nullptr;
  Size size_;
  std::optional<Monitor> monitor_;
  std::chrono::steady_clock::time_point monitor_checked_;
};

}  // namespace open_gsdk
