#include "tools/demo_scene.h"

#include <array>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>

#include "tools/frame_code.h"

namespace demo_game {
namespace {

using Brush = std::unique_ptr<std::remove_pointer_t<HBRUSH>, GdiObjectDeleter>;

constexpr double kHorizon = 0.72;      // all places and sizes are parts of the height
constexpr double kStripeWidth = 0.16;  // and all speeds are heights a second
constexpr double kGroundSpeed = 0.45;

Brush MakeBrush(COLORREF color) { return Brush(CreateSolidBrush(color)); }

void Fill(HDC canvas, const RECT& area, COLORREF color) {
  FillRect(canvas, &area, MakeBrush(color).get());
}

// While it lives, shapes are filled with one colour and have no outline.
class FillColor {
 public:
  FillColor(HDC canvas, COLORREF color)
      : canvas_(canvas),
        brush_(MakeBrush(color)),
        old_brush_(SelectObject(canvas, brush_.get())),
        old_pen_(SelectObject(canvas, GetStockObject(NULL_PEN))) {}
  ~FillColor() {
    SelectObject(canvas_, old_pen_);
    SelectObject(canvas_, old_brush_);
  }
  FillColor(const FillColor&) = delete;
  FillColor& operator=(const FillColor&) = delete;

 private:
  HDC canvas_;
  Brush brush_;
  HGDIOBJ old_brush_;
  HGDIOBJ old_pen_;
};

COLORREF Mix(COLORREF from, COLORREF to, double share) {
  const auto mix = [share](BYTE a, BYTE b) { return static_cast<int>(a + (b - a) * share); };
  return RGB(mix(GetRValue(from), GetRValue(to)), mix(GetGValue(from), GetGValue(to)),
             mix(GetBValue(from), GetBValue(to)));
}

int Scaled(SIZE size, double part) { return static_cast<int>(std::lround(size.cy * part)); }

void DrawDisc(HDC canvas, int x, int y, int radius, COLORREF color) {
  const FillColor fill(canvas, color);
  Ellipse(canvas, x - radius, y - radius, x + radius, y + radius);
}

void DrawSky(HDC canvas, SIZE size) {
  constexpr int kBands = 48;
  const int horizon = Scaled(size, kHorizon);
  for (int band = 0; band < kBands; ++band) {
    const RECT area{0, horizon * band / kBands, size.cx, horizon * (band + 1) / kBands};
    Fill(canvas, area, Mix(RGB(24, 26, 74), RGB(250, 158, 100), std::pow(band / 47.0, 1.6)));
  }
}

void DrawMountains(HDC canvas, SIZE size, double height, double period, COLORREF color) {
  constexpr int kPoints = 64;
  const int horizon = Scaled(size, kHorizon);
  std::array<POINT, kPoints + 2> outline{};
  for (int i = 0; i < kPoints; ++i) {
    const double x = static_cast<double>(i) / (kPoints - 1);
    const double wave = std::sin(x * period) + 0.5 * std::sin(x * period * 2.7 + 1) +
                        0.25 * std::sin(x * period * 6.1 + 2);
    outline[static_cast<std::size_t>(i)] = {static_cast<LONG>(x * size.cx),
                                            horizon - Scaled(size, height * (0.55 + 0.26 * wave))};
  }
  outline[kPoints] = {size.cx, horizon};
  outline[kPoints + 1] = {0, horizon};
  const FillColor fill(canvas, color);
  Polygon(canvas, outline.data(), static_cast<int>(outline.size()));
}

// The number as seven-segment digits: a display of its own needs no font on the machine.
void DrawDigits(HDC canvas, SIZE size, const std::string& digits) {
  // Segments from the lowest bit: top, upper right, lower right, bottom, lower left, upper left,
  // middle.
  constexpr std::array<unsigned, 10> kSegments{0x3F, 0x06, 0x5B, 0x4F, 0x66,
                                               0x6D, 0x7D, 0x07, 0x7F, 0x6F};
  const int height = Scaled(size, 0.11);
  const int width = height / 2;
  const int stroke = height / 8;
  const int pitch = width + 2 * stroke;
  const int top = Scaled(size, 0.18);
  int left = (size.cx - pitch * static_cast<int>(digits.size()) + 2 * stroke) / 2;
  const Brush brush = MakeBrush(RGB(255, 248, 230));
  for (const char digit : digits) {
    const int middle = top + height / 2;
    const int right = left + width;
    const int bottom = top + height;
    const std::array<RECT, 7> segments{{{left, top, right, top + stroke},
                                        {right - stroke, top, right, middle},
                                        {right - stroke, middle, right, bottom},
                                        {left, bottom - stroke, right, bottom},
                                        {left, middle, left + stroke, bottom},
                                        {left, top, left + stroke, middle},
                                        {left, middle - stroke / 2, right, middle + stroke / 2}}};
    const unsigned lit = kSegments[static_cast<std::size_t>(digit - '0')];
    for (std::size_t i = 0; i < segments.size(); ++i) {
      if ((lit >> i & 1) != 0) FillRect(canvas, &segments[i], brush.get());
    }
    left += pitch;
  }
}

}  // namespace

Canvas::Canvas(SIZE size) : size_(size), dc_(CreateCompatibleDC(nullptr)) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = size.cx;
  info.bmiHeader.biHeight = -size.cy;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  void* bits = nullptr;
  bitmap_.reset(CreateDIBSection(dc_.get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
  if (!dc_ || !bitmap_) {
    throw std::runtime_error("Not enough memory for a picture of " + std::to_string(size.cx) + "x" +
                             std::to_string(size.cy) + ". Make the window smaller.");
  }
  SelectObject(dc_.get(), bitmap_.get());
}

Scene::Scene(SIZE size) : backdrop_(size), picture_(size) {
  HDC canvas = backdrop_.dc();
  DrawSky(canvas, size);
  DrawDisc(canvas, size.cx * 7 / 10, Scaled(size, 0.58), Scaled(size, 0.10), RGB(255, 214, 130));
  DrawMountains(canvas, size, 0.26, 9, RGB(118, 76, 110));
  DrawMountains(canvas, size, 0.14, 14, RGB(64, 46, 84));
  const RECT ground{0, Scaled(size, kHorizon), size.cx, size.cy};
  Fill(canvas, ground, RGB(38, 92, 74));
}

void Scene::Draw(std::uint32_t frame, double seconds) {
  BitBlt(picture_.dc(), 0, 0, size().cx, size().cy, backdrop_.dc(), 0, 0, SRCCOPY);
  DrawGround(seconds);
  DrawBalls(seconds);
  DrawDigits(picture_.dc(), size(), std::to_string(frame));
  DrawFrameCode(picture_.dc(), size(), frame);
  GdiFlush();
}

void Scene::DrawFlash(bool white) {
  constexpr LONG kSide = 64;
  const RECT square{size().cx - kSide, size().cy - kSide, size().cx, size().cy};
  Fill(picture_.dc(), square, white ? RGB(255, 255, 255) : RGB(0, 0, 0));
  GdiFlush();
}

void Scene::Show(HDC target) const {
  BitBlt(target, 0, 0, size().cx, size().cy, picture_.dc(), 0, 0, SRCCOPY);
}

void Scene::DrawGround(double seconds) {
  const FillColor fill(picture_.dc(), RGB(54, 122, 92));
  const int top = Scaled(size(), kHorizon + 0.02);
  const int width = Scaled(size(), kStripeWidth);
  const int slant = width;
  int left = -static_cast<int>(Scaled(size(), seconds * kGroundSpeed) % (2 * width)) - slant;
  for (; left < size().cx + slant; left += 2 * width) {
    const std::array<POINT, 4> stripe{{{left + slant, top},
                                       {left + slant + width, top},
                                       {left + width, size().cy},
                                       {left, size().cy}}};
    Polygon(picture_.dc(), stripe.data(), static_cast<int>(stripe.size()));
  }
}

void Scene::DrawBalls(double seconds) {
  constexpr std::array<COLORREF, 3> kColors{RGB(236, 84, 72), RGB(250, 200, 66), RGB(96, 170, 240)};
  for (std::size_t i = 0; i < kColors.size(); ++i) {
    const auto rank = static_cast<double>(i);
    const double hop = std::abs(std::sin(seconds * (2.6 - 0.4 * rank) + rank));
    const double sway = std::sin(seconds * (0.5 + 0.13 * rank) + rank * 2 * std::numbers::pi / 3);
    const int radius = Scaled(size(), 0.06);
    const int x = static_cast<int>(size().cx * (0.5 + 0.4 * sway));
    const int floor = Scaled(size(), 0.80 + 0.06 * rank);
    const int y = floor - radius - Scaled(size(), 0.34 * hop);
    {
      const FillColor shadow(picture_.dc(), RGB(28, 66, 56));
      Ellipse(picture_.dc(), x - radius, floor - radius / 5, x + radius, floor + radius / 5);
    }
    DrawDisc(picture_.dc(), x, y, radius, kColors[i]);
    DrawDisc(picture_.dc(), x - radius / 3, y - radius / 3, radius / 4, RGB(255, 240, 225));
  }
}

}  // namespace demo_game
