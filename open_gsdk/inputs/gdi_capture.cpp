#include "open_gsdk/inputs/gdi_capture.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include "open_gsdk/inputs/windows_on_screen.h"

namespace open_gsdk {
namespace {

// Listing the monitors is too slow to be done for every frame.
constexpr std::chrono::milliseconds kMonitorCheckInterval{500};

// The device context of a window, or of the whole desktop for null.
class WindowDc {
 public:
  explicit WindowDc(HWND window) : window_(window), dc_(GetDC(window)) {}
  ~WindowDc() {
    if (dc_ != nullptr) ReleaseDC(window_, dc_);
  }
  WindowDc(const WindowDc&) = delete;
  WindowDc& operator=(const WindowDc&) = delete;

  [[nodiscard]] HDC get() const { return dc_; }

 private:
  HWND window_;
  HDC dc_;
};

// GetIconInfo makes two bitmaps that the caller has to delete.
class IconInfo {
 public:
  explicit IconInfo(HCURSOR cursor) : valid_(GetIconInfo(cursor, &info_) != FALSE) {}
  ~IconInfo() {
    if (info_.hbmMask != nullptr) DeleteObject(info_.hbmMask);
    if (info_.hbmColor != nullptr) DeleteObject(info_.hbmColor);
  }
  IconInfo(const IconInfo&) = delete;
  IconInfo& operator=(const IconInfo&) = delete;

  [[nodiscard]] bool valid() const { return valid_; }
  [[nodiscard]] POINT hot_spot() const {
    return {static_cast<LONG>(info_.xHotspot), static_cast<LONG>(info_.yHotspot)};
  }

 private:
  ICONINFO info_{};
  bool valid_;
};

}  // namespace

GrabResult GdiCapture::Grab(const VideoSource& source) {
  return source.window == nullptr ? GrabMonitor(source) : GrabWindow(source);
}

GrabResult GdiCapture::GrabMonitor(const VideoSource& source) {
  const auto now = std::chrono::steady_clock::now();
  if (!monitor_ || monitor_->name != source.monitor ||
      now - monitor_checked_ >= kMonitorCheckInterval) {
    monitor_ = FindMonitor(source.monitor);
    monitor_checked_ = now;
    if (!monitor_) return GrabResult::kGone;
  }
  const RECT& area = monitor_->rectangle;
  const POINT origin = {area.left, area.top};
  const Size size = {static_cast<int>(area.right - area.left),
                     static_cast<int>(area.bottom - area.top)};
  if (!Copy(nullptr, origin, size)) return GrabResult::kNothing;
  if (source.cursor) DrawCursor(origin);
  return Compare();
}

GrabResult GdiCapture::GrabWindow(const VideoSource& source) {
  // A handle may be given to a new window of another process.
  if (WindowProcess(source.window) != source.process_id) return GrabResult::kGone;
  RECT area{};
  if (IsIconic(source.window) || !GetClientRect(source.window, &area)) return GrabResult::kNothing;
  const Size size = {static_cast<int>(area.right), static_cast<int>(area.bottom)};
  if (!Copy(source.window, {0, 0}, size)) return GrabResult::kNothing;
  POINT origin{};
  if (source.cursor && ClientToScreen(source.window, &origin)) DrawCursor(origin);
  return Compare();
}

bool GdiCapture::Copy(HWND window, POINT from, Size size) {
  const WindowDc source(window);
  return source.get() != nullptr && next_.Resize(size) &&
         BitBlt(next_.dc.get(), 0, 0, size.width, size.height, source.get(), from.x, from.y,
                SRCCOPY) != FALSE;
}

bool GdiCapture::Canvas::Resize(Size wanted) {
  if (dc && wanted == size) return true;
  if (wanted.width <= 0 || wanted.height <= 0) return false;
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = wanted.width;
  info.bmiHeader.biHeight = -wanted.height;  // top row first
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  info.bmiHeader.biCompression = BI_RGB;

  dc.reset(CreateCompatibleDC(nullptr));
  void* memory = nullptr;
  bitmap.reset(CreateDIBSection(dc.get(), &info, DIB_RGB_COLORS, &memory, nullptr, 0));
  if (!dc || !bitmap) {
    dc.reset();
    return false;
  }
  SelectObject(dc.get(), bitmap.get());
  pixels = static_cast<const std::uint8_t*>(memory);
  size = wanted;
  return true;
}

GrabResult GdiCapture::Compare() {
  GdiFlush();
  const std::size_t bytes = std::size_t{4} * static_cast<std::size_t>(next_.size.width) *
                            static_cast<std::size_t>(next_.size.height);
  if (last_.dc && last_.size == next_.size && std::memcmp(last_.pixels, next_.pixels, bytes) == 0) {
    return GrabResult::kUnchanged;
  }
  std::swap(last_, next_);
  return GrabResult::kPicture;
}

void GdiCapture::DrawCursor(POINT origin) const {
  CURSORINFO cursor{};
  cursor.cbSize = sizeof(cursor);
  if (!GetCursorInfo(&cursor) || (cursor.flags & CURSOR_SHOWING) == 0) return;
  HCURSOR shape = cursor.hCursor;
  POINT hot_spot{};
  if (const IconInfo icon(shape); icon.valid()) {
    hot_spot = icon.hot_spot();
  } else {
    // The shape belongs to another process that doesn't share it. An arrow shows the place at
    // least.
    shape = LoadCursorW(nullptr, IDC_ARROW);
  }
  DrawIconEx(next_.dc.get(), cursor.ptScreenPos.x - hot_spot.x - origin.x,
             cursor.ptScreenPos.y - hot_spot.y - origin.y, shape, 0, 0, 0, nullptr, DI_NORMAL);
}

}  // namespace open_gsdk
