// What the demo game shows: an evening landscape with hopping balls, the frame number in large
// digits, the frame's bar code, and a square that flashes with a sound.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>

namespace demo_game {

struct GdiObjectDeleter {
  void operator()(void* object) const noexcept { DeleteObject(object); }
};

// A picture in memory that can be drawn on and copied from.
class Canvas {
 public:
  // Throws std::runtime_error when there is no memory for it.
  explicit Canvas(SIZE size);

  [[nodiscard]] HDC dc() const { return dc_.get(); }
  [[nodiscard]] SIZE size() const { return size_; }

 private:
  struct DcDeleter {
    void operator()(HDC dc) const noexcept { DeleteDC(dc); }
  };

  SIZE size_;
  // Freed in the reverse order: a bitmap can't be deleted while a context holds it.
  std::unique_ptr<void, GdiObjectDeleter> bitmap_;
  std::unique_ptr<std::remove_pointer_t<HDC>, DcDeleter> dc_;
};

// One scene for one size of the client area. Used on one thread.
class Scene {
 public:
  explicit Scene(SIZE size);

  [[nodiscard]] SIZE size() const { return picture_.size(); }

  // Draws frame number `frame`, whose place in the animation is `seconds`.
  void Draw(std::uint32_t frame, double seconds);

  // Draws a square into the lower right corner, over what is there: white or black.
  void DrawFlash(bool white);

  // Copies the last drawn frame to `target`.
  void Show(HDC target) const;

 private:
  void DrawGround(double seconds);
  void DrawBalls(double seconds);

  Canvas backdrop_;
  Canvas picture_;
};

}  // namespace demo_game
