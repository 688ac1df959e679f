// The window that scripts/bench records: in every frame each of its pixels changes, except in the
// bar code across its top (tools/frame_code.h), which shows the number of the frame. Drawing it is
// two copies, so that it takes little of the processor from those that record it.
//   moving_window TITLE WIDTH HEIGHT FRAMES_A_SECOND
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/deadline.h"
#include "platform/text_encoding.h"
#include "tools/demo_scene.h"
#include "tools/frame_code.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kStep = 3;    // pixels to the right and down in each frame
constexpr int kSteps = 64;  // then the texture is the same again
constexpr int kPeriod = kStep * kSteps;

// Soft waves with a grid of sharp edges, of which each line and column repeats after kPeriod
// pixels.
std::uint32_t Texture(int x, int y) {
  constexpr double kTurn = 2 * 3.14159265358979323846 / kPeriod;
  const double wave = std::sin(kTurn * x) + std::sin(kTurn * 2 * y) + std::sin(kTurn * (x + 3 * y));
  const int tile = ((x / 16) % (kPeriod / 16) * 7 + (y / 16) % (kPeriod / 16) * 5) % 6 * 9;
  const auto shade = static_cast<std::uint32_t>(100 + 32 * wave) + static_cast<std::uint32_t>(tile);
  return shade << 16 | (255 - shade) << 8 | static_cast<std::uint32_t>((x + y) % kPeriod);
}

void Paint(const demo_game::Canvas& canvas) {
  const SIZE size = canvas.size();
  std::vector<std::uint32_t> pixels(static_cast<std::size_t>(size.cx) *
                                    static_cast<std::size_t>(size.cy));
  auto pixel = pixels.begin();
  for (int y = 0; y < size.cy; ++y) {
    for (int x = 0; x < size.cx; ++x) *pixel++ = Texture(x, y);
  }
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = size.cx;
  info.bmiHeader.biHeight = -size.cy;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  SetDIBitsToDevice(canvas.dc(), 0, 0, static_cast<DWORD>(size.cx), static_cast<DWORD>(size.cy), 0,
                    0, 0, static_cast<UINT>(size.cy), pixels.data(), &info, DIB_RGB_COLORS);
}

HWND OpenWindow(const std::wstring& title, SIZE size) {
  WNDCLASSW window_class{};
  window_class.lpfnWndProc = DefWindowProcW;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.lpszClassName = L"MovingWindow";
  RegisterClassW(&window_class);
  const HWND window =
      CreateWindowExW(0, window_class.lpszClassName, title.c_str(), WS_POPUP | WS_VISIBLE, 0, 0,
                      size.cx, size.cy, nullptr, nullptr, window_class.hInstance, nullptr);
  if (window == nullptr) throw std::runtime_error("there is no display");
  return window;
}

// Until somebody ends the process.
[[noreturn]] void Move(HWND window, SIZE size, int frame_rate) {
  const demo_game::Canvas texture({size.cx + kPeriod, size.cy + kPeriod});
  Paint(texture);
  const demo_game::Canvas picture(size);
  const Clock::duration interval = std::chrono::nanoseconds(std::chrono::seconds(1)) / frame_rate;
  Clock::time_point next = Clock::now();
  for (std::uint32_t frame = 0;; ++frame) {
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    const int offset = static_cast<int>(frame % kSteps) * kStep;
    BitBlt(picture.dc(), 0, 0, size.cx, size.cy, texture.dc(), offset, offset, SRCCOPY);
    demo_game::DrawFrameCode(picture.dc(), size, frame);
    const HDC target = GetDC(window);
    BitBlt(target, 0, 0, size.cx, size.cy, picture.dc(), 0, 0, SRCCOPY);
    ReleaseDC(window, target);
    GdiFlush();
    if (frame == 0) {
      std::puts("The window is open.");
      static_cast<void>(std::fflush(stdout));
    }
    // What comes too late is left out, as games do.
    next = std::max(next + interval, Clock::now());
    platform::SleepUntil(next);
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 5) {
    std::fputs("usage: moving_window TITLE WIDTH HEIGHT FRAMES_A_SECOND\n", stderr);
    return 2;
  }
  try {
    const SIZE size{std::stoi(arguments[2]), std::stoi(arguments[3])};
    const int frame_rate = std::stoi(arguments[4]);
    Move(OpenWindow(platform::WideFromUtf8(arguments[1]), size), size, frame_rate);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "moving_window: %s\n", failure.what());
    return 1;
  }
}
