// Takes pictures of a monitor or a window through GDI.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "open_gsdk/inputs/monitors.h"
#include "open_gsdk/inputs/picture_source.h"

namespace open_gsdk {

// GDI does not tell whether something has changed, so each picture is compared with the one before.
class GdiCapture : public PictureSource {
 public:
  // Of a window only the part is seen that no other window covers. Never waits for the window's
  // own thread.
  GrabResult Grab(const VideoSource& source) override;

  [[nodiscard]] Image image() const override { return {last_.pixels, last_.size}; }

 private:
  struct DcDeleter {
    void operator()(HDC dc) const { DeleteDC(dc); }
  };
  struct BitmapDeleter {
    void operator()(HBITMAP bitmap) const { DeleteObject(bitmap); }
  };

  // A bitmap that is drawn into, and whose pixels lie in memory.
  struct Canvas {
    bool Resize(Size wanted);

    std::unique_ptr<HBITMAP__, BitmapDeleter> bitmap;
    // Deleted before the bitmap that is selected into it.
    std::unique_ptr<HDC__, DcDeleter> dc;
    const std::uint8_t* pixels = nullptr;
    Size size;
  };

  GrabResult GrabMonitor(const VideoSource& source);
  GrabResult GrabWindow(const VideoSource& source);
  bool Copy(HWND window, POINT from, Size size);
  void DrawCursor(POINT origin) const;
  GrabResult Compare();

  Canvas next_;  // is drawn into
  Canvas last_;  // the last kPicture
  std::optional<Monitor> monitor_;
  std::chrono::steady_clock::time_point monitor_checked_;
};

}  // namespace open_gsdk
