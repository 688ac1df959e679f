#include "tests/open_gsdk/window.h"

#include <atomic>
#include <future>

#include "platform/window_handle.h"

namespace open_gsdk {
namespace {

constexpr wchar_t kClassName[] = L"open_gsdk_test";
constexpr UINT kFill = WM_APP;

void DrawCorner(HWND window) {
  static std::atomic<unsigned> step{0};
  const unsigned shade = ++step * 7 % 256;
  const HDC dc = GetDC(window);
  const RECT corner = {0, 0, 32, 32};
  const HBRUSH brush = CreateSolidBrush(RGB(shade, 255 - shade, 128));
  FillRect(dc, &corner, brush);
  DeleteObject(brush);
  ReleaseDC(window, dc);
}

LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM first, LPARAM second) {
  switch (message) {
    case kFill:
      SetWindowLongPtrW(window, GWLP_USERDATA, static_cast<LONG_PTR>(first));
      RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
      return 0;
    case WM_PAINT: {
      PAINTSTRUCT paint{};
      const HDC dc = BeginPaint(window, &paint);
      RECT area{};
      GetClientRect(window, &area);
      const HBRUSH brush =
          CreateSolidBrush(static_cast<COLORREF>(GetWindowLongPtrW(window, GWLP_USERDATA)));
      FillRect(dc, &area, brush);
      DeleteObject(brush);
      EndPaint(window, &paint);
      return 0;
    }
    case WM_TIMER:
      DrawCorner(window);
      return 0;
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcW(window, message, first, second);
  }
}

SIZE OuterSize(int client_width, int client_height, DWORD style) {
  RECT area = {0, 0, client_width, client_height};
  AdjustWindowRect(&area, style, FALSE);
  return {area.right - area.left, area.bottom - area.top};
}

HWND OpenWindow(const wchar_t* title, SIZE size, DWORD style) {
  WNDCLASSW window_class{};
  window_class.lpfnWndProc = OnMessage;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.lpszClassName = kClassName;
  RegisterClassW(&window_class);
  const HWND window = CreateWindowExW(0, kClassName, title, style, 0, 0, size.cx, size.cy, nullptr,
                                      nullptr, window_class.hInstance, nullptr);
  ShowWindow(window, SW_SHOWNOACTIVATE);
  return window;
}

}  // namespace

TestWindow::TestWindow(const wchar_t* title, int client_width, int client_height, COLORREF colour,
                       DWORD style)
    : style_(style) {
  std::promise<HWND> opened;
  thread_ = std::thread([&] {
    opened.set_value(OpenWindow(title, OuterSize(client_width, client_height, style), style));
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
  });
  handle_ = opened.get_future().get();
  Fill(colour);
}

TestWindow::~TestWindow() { Close(); }

unsigned TestWindow::number() const { return platform::WindowNumber(handle_); }

void TestWindow::Fill(COLORREF colour) const { SendMessageW(handle_, kFill, colour, 0); }

void TestWindow::ResizeClient(int width, int height) {
  const SIZE size = OuterSize(width, height, style_);
  SetWindowPos(handle_, nullptr, 0, 0, size.cx, size.cy,
               SWP_NOZORDER | SWP_NOMOVE | SWP_NOACTIVATE);
  RedrawWindow(handle_, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
}

void TestWindow::Minimise() { ShowWindow(handle_, SW_MINIMIZE); }

void TestWindow::Restore() { ShowWindow(handle_, SW_SHOWNOACTIVATE); }

void TestWindow::Animate() const { SetTimer(handle_, 1, USER_TIMER_MINIMUM, nullptr); }

void TestWindow::Close() {
  if (!thread_.joinable()) return;
  SendMessageW(handle_, WM_CLOSE, 0, 0);
  thread_.join();
}

}  // namespace open_gsdk
