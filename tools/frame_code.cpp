#include "tools/frame_code.h"

namespace demo_game {
namespace {

constexpr int kMarginColumns = 2;
constexpr int kClockColumns = 33;
constexpr int kBits = 32;
constexpr int kColumns = kClockColumns + 2 * kMarginColumns;
constexpr int kRowsPerClientHeight = 16;
constexpr std::uint32_t kFrameMask = 0xFFFFFF;
constexpr std::uint32_t kCheckSeed = 0x5A;

std::uint32_t WithCheck(std::uint32_t frame) {
  frame &= kFrameMask;
  const std::uint32_t check = (frame >> 16 ^ frame >> 8 ^ frame ^ kCheckSeed) & 0xFF;
  return frame << 8 | check;
}

}  // namespace

int FrameCodeHeight(SIZE client) { return 2 * (client.cy / kRowsPerClientHeight); }

void DrawFrameCode(HDC canvas, SIZE client, std::uint32_t frame) {
  const int row_height = client.cy / kRowsPerClientHeight;
  const auto column_left = [&](int column) {
    return (column + kMarginColumns) * client.cx / kColumns;
  };
  PatBlt(canvas, 0, 0, client.cx, 2 * row_height, WHITENESS);
  const auto blacken = [&](int column, int row) {
    PatBlt(canvas, column_left(column), row * row_height,
           column_left(column + 1) - column_left(column), row_height, BLACKNESS);
  };
  for (int column = 0; column < kClockColumns; column += 2) blacken(column, 0);
  const std::uint32_t bits = WithCheck(frame);
  for (int bit = 0; bit < kBits; ++bit) {
    if ((bits >> (kBits - 1 - bit) & 1) != 0) blacken(bit, 1);
  }
}

}  // namespace demo_game
