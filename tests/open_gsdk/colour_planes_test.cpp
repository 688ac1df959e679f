#include "open_gsdk/encoding/colour_planes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace open_gsdk {
namespace {

constexpr std::uint8_t kUntouched = 77;

struct Colour {
  double red;
  double green;
  double blue;
};

// What BT.709 says, in limited range.
double Luma(const Colour& c) { return 0.2126 * c.red + 0.7152 * c.green + 0.0722 * c.blue; }
double LumaLevel(const Colour& c) { return 16 + 219 * Luma(c) / 255; }
double BlueLevel(const Colour& c) { return 128 + 224 * (c.blue - Luma(c)) / 1.8556 / 255; }
double RedLevel(const Colour& c) { return 128 + 224 * (c.red - Luma(c)) / 1.5748 / 255; }

// An image of one's own, and planes with a border of untouched bytes at the right and below.
struct Picture {
  explicit Picture(Size image_size) : size(image_size) {
    pixels.resize(std::size_t{4} * static_cast<std::size_t>(size.width * size.height));
    for (auto* plane : {&luma, &blue, &red}) {
      plane->assign(static_cast<std::size_t>(Stride() * (size.height + 2)), kUntouched);
    }
  }

  [[nodiscard]] int Stride() const { return size.width + 16; }

  void Set(int x, int y, int red_part, int green_part, int blue_part) {
    std::uint8_t* const pixel = pixels.data() + std::ptrdiff_t{4} * (y * size.width + x);
    pixel[0] = static_cast<std::uint8_t>(blue_part);
    pixel[1] = static_cast<std::uint8_t>(green_part);
    pixel[2] = static_cast<std::uint8_t>(red_part);
    pixel[3] = static_cast<std::uint8_t>(x * 31 + y);  // means nothing
  }

  [[nodiscard]] Colour At(int x, int y) const {
    const std::uint8_t* const pixel = pixels.data() + std::ptrdiff_t{4} * (y * size.width + x);
    return {1.0 * pixel[2], 1.0 * pixel[1], 1.0 * pixel[0]};
  }

  // The mean of the square whose upper left corner this is.
  [[nodiscard]] Colour Square(int x, int y) const {
    Colour mean{0, 0, 0};
    for (const Colour& c : {At(x, y), At(x + 1, y), At(x, y + 1), At(x + 1, y + 1)}) {
      mean = {mean.red + c.red / 4, mean.green + c.green / 4, mean.blue + c.blue / 4};
    }
    return mean;
  }

  void Fill(Size part) {
    FillPlanes({pixels.data(), size}, part,
               {luma.data(), blue.data(), red.data(), Stride(), Stride()});
  }

  Size size;
  std::vector<std::uint8_t> pixels;
  std::vector<std::uint8_t> luma;
  std::vector<std::uint8_t> blue;
  std::vector<std::uint8_t> red;
};

// Every byte of the planes: within the rounding where `part` reaches, untouched elsewhere.
void ExpectPlanes(const Picture& picture, Size part) {
  constexpr double kRounding = 0.52;
  for (int y = 0; y < picture.size.height + 2; ++y) {
    for (int x = 0; x < picture.Stride(); ++x) {
      const auto at = static_cast<std::size_t>(y * picture.Stride() + x);
      if (x < part.width && y < part.height) {
        ASSERT_NEAR(picture.luma[at], LumaLevel(picture.At(x, y)), kRounding) << x << "," << y;
      } else {
        ASSERT_EQ(picture.luma[at], kUntouched) << x << "," << y;
      }
      if (x < part.width / 2 && y < part.height / 2) {
        const Colour square = picture.Square(2 * x, 2 * y);
        ASSERT_NEAR(picture.blue[at], BlueLevel(square), kRounding) << x << "," << y;
        ASSERT_NEAR(picture.red[at], RedLevel(square), kRounding) << x << "," << y;
      } else {
        ASSERT_EQ(picture.blue[at], kUntouched) << x << "," << y;
        ASSERT_EQ(picture.red[at], kUntouched) << x << "," << y;
      }
    }
  }
}

void Scatter(Picture& picture) {
  std::uint32_t state = 1;
  const auto byte = [&state](int shift) { return static_cast<int>(state >> shift & 255); };
  for (int y = 0; y < picture.size.height; ++y) {
    for (int x = 0; x < picture.size.width; ++x) {
      state = state * 1664525 + 1013904223;
      picture.Set(x, y, byte(24), byte(16), byte(8));
    }
  }
}

TEST(ColourPlanes, EveryPixelAndEverySquareIsWhatTheStandardSays) {
  // Whole blocks, blocks with a rest of each length, and a rest alone.
  for (const int width : {2, 4, 6, 8, 10, 16, 22, 30, 64}) {
    Picture picture({width, 6});
    Scatter(picture);
    picture.Fill(picture.size);
    SCOPED_TRACE(width);
    ASSERT_NO_FATAL_FAILURE(ExpectPlanes(picture, picture.size));
  }
}

TEST(ColourPlanes, AnOddLastColumnAndRowAreLeftOut) {
  Picture picture({21, 7});
  Scatter(picture);
  picture.Fill({20, 6});
  ExpectPlanes(picture, {20, 6});
}

TEST(ColourPlanes, TheEndsOfTheScaleAreThoseOfLimitedRange) {
  struct Case {
    std::array<int, 3> colour;  // red, green, blue
    int luma;
    int blue;
    int red;
  };
  const Case cases[] = {
      {{0, 0, 0}, 16, 128, 128},     {{255, 255, 255}, 235, 128, 128},
      {{255, 0, 0}, 63, 102, 240},   {{0, 255, 0}, 173, 42, 26},
      {{0, 0, 255}, 32, 240, 118},   {{255, 255, 0}, 219, 16, 138},
      {{0, 255, 255}, 188, 154, 16},
  };
  for (const Case& row : cases) {
    // Both ways of filling: a block and a rest.
    Picture picture({10, 2});
    for (int y = 0; y < 2; ++y) {
      for (int x = 0; x < 10; ++x) picture.Set(x, y, row.colour[0], row.colour[1], row.colour[2]);
    }
    picture.Fill(picture.size);
    for (const std::size_t x : {0U, 7U, 8U, 9U}) {
      EXPECT_EQ(picture.luma[x], row.luma) << x;
      EXPECT_EQ(picture.blue[x / 2], row.blue) << x;
      EXPECT_EQ(picture.red[x / 2], row.red) << x;
    }
  }
}

}  // namespace
}  // namespace open_gsdk
