// A window for the tests of the open capture library, on a thread of its own.
#pragma once

#include <windows.h>

#include <thread>

namespace open_gsdk {

// A window at the desktop's top left corner, its client area filled with one colour. Without a
// frame unless its style has one: as long as such a window is not the active one, Wine does not
// wait for a window manager, of which the tests have none, when it goes.
class TestWindow {
 public:
  TestWindow(const wchar_t* title, int client_width, int client_height, COLORREF colour,
             DWORD style = WS_POPUP);
  // Closes the window.
  ~TestWindow();
  TestWindow(const TestWindow&) = delete;
  TestWindow& operator=(const TestWindow&) = delete;

  HWND handle() const { return handle_; }
  // As the library's JSON texts name it.
  unsigned number() const;

  // Each returns once it is done.
  void Fill(COLORREF colour) const;
  void ResizeClient(int width, int height);
  void Minimise();
  void Restore();
  // From now on a corner of it has another colour about a hundred times a second.
  void Animate() const;
  void Close();

 private:
  const DWORD style_;
  HWND handle_ = nullptr;
  std::thread thread_;
};

}  // namespace open_gsdk
