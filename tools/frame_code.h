// The bar code with which the demo game shows the number of each frame, so that a program can tell
// from a recording which frames it holds.
//
// It is a white band across the top of the client area, an eighth of its height, of two rows with
// 37 columns each: two white ones at either end and 33 in between. All columns are equally wide and
// both rows equally high. Nothing but black and white is used, and no cell is smaller than a
// sixtieth of the picture, so that it survives being scaled down and compressed.
//
//   upper row  the clock: black, white, black, ... black in the 33 columns. It shows where the code
//              is and how wide a column is.
//   lower row  32 bits, the most significant first, black for 1; the 33rd column stays white. The
//              first 24 bits are the frame number, the last 8 its check: the exclusive or of the
//              number's three bytes and 0x5A.
#pragma once

#include <windows.h>

#include <cstdint>

namespace demo_game {

// `frame` counts modulo 2 to the power of 24. Draws into the top of a client area of that size.
void DrawFrameCode(HDC canvas, SIZE client, std::uint32_t frame);

// The height of the band, in pixels.
int FrameCodeHeight(SIZE client);

}  // namespace demo_game
