#include "open_gsdk/encoding/colour_planes.h"

#include <emmintrin.h>

#include <cstring>

namespace open_gsdk {
namespace {

// The shares of blue, green and red in a plane, in parts of 1 << kBits.
struct Shares {
  std::int16_t blue;
  std::int16_t green;
  std::int16_t red;
};

constexpr int kBits = 15;
constexpr Shares kLuma = {2032, 20127, 5983};
constexpr Shares kBlue = {14392, -11094, -3298};
constexpr Shares kRed = {-1320, -13072, 14392};
// A colour is that of four pixels together.
constexpr int kColourBits = kBits + 2;

// What is added before the bits are cut off: the value of black, and a half to round.
constexpr std::int32_t kLumaBase = (16 << kBits) + (1 << (kBits - 1));
constexpr std::int32_t kColourBase = (128 << kColourBits) + (1 << (kColourBits - 1));

constexpr int kBlock = 8;  // pixels of a row at a time

// Two rows of an image, and where they go.
struct RowPair {
  const std::uint8_t* upper;
  const std::uint8_t* lower;
  std::uint8_t* upper_luma;
  std::uint8_t* lower_luma;
  std::uint8_t* blue;
  std::uint8_t* red;
};

// Four pixels, two in each half, each as four numbers of 16 bits.
struct Four {
  __m128i left;
  __m128i right;
};

Four Load(const std::uint8_t* pixels) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels));
  const __m128i zero = _mm_setzero_si128();
  return {_mm_unpacklo_epi8(bytes, zero), _mm_unpackhi_epi8(bytes, zero)};
}

__m128i Spread(const Shares& shares) {
  return _mm_setr_epi16(shares.blue, shares.green, shares.red, 0, shares.blue, shares.green,
                        shares.red, 0);
}

// The weighted sums of four pixels or squares.
__m128i Weigh(const Four& four, __m128i shares, std::int32_t base, int bits) {
  const __m128 left = _mm_castsi128_ps(_mm_madd_epi16(four.left, shares));
  const __m128 right = _mm_castsi128_ps(_mm_madd_epi16(four.right, shares));
  const __m128i blue_green = _mm_castps_si128(_mm_shuffle_ps(left, right, 0x88));
  const __m128i red = _mm_castps_si128(_mm_shuffle_ps(left, right, 0xDD));
  const __m128i sum = _mm_add_epi32(_mm_add_epi32(blue_green, red), _mm_set1_epi32(base));
  return _mm_srai_epi32(sum, bits);
}

void StoreLuma(const Four& first, const Four& second, std::uint8_t* target) {
  const __m128i shares = Spread(kLuma);
  const __m128i words = _mm_packs_epi32(Weigh(first, shares, kLumaBase, kBits),
                                        Weigh(second, shares, kLumaBase, kBits));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(target), _mm_packus_epi16(words, words));
}

// The sums of two squares of four pixels, of which each row is given.
__m128i AddSquares(const Four& upper, const Four& lower) {
  const __m128i left = _mm_add_epi16(upper.left, lower.left);
  const __m128i right = _mm_add_epi16(upper.right, lower.right);
  return _mm_add_epi16(_mm_unpacklo_epi64(left, right), _mm_unpackhi_epi64(left, right));
}

void StoreColour(const Four& squares, const Shares& shares, std::uint8_t* target) {
  const __m128i sums = Weigh(squares, Spread(shares), kColourBase, kColourBits);
  const __m128i words = _mm_packs_epi32(sums, sums);
  const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
  std::memcpy(target, &bytes, sizeof(bytes));
}

void FillBlock(const RowPair& rows, std::ptrdiff_t x) {
  const Four upper_first = Load(rows.upper + 4 * x);
  const Four upper_second = Load(rows.upper + 4 * x + 16);
  const Four lower_first = Load(rows.lower + 4 * x);
  const Four lower_second = Load(rows.lower + 4 * x + 16);
  StoreLuma(upper_first, upper_second, rows.upper_luma + x);
  StoreLuma(lower_first, lower_second, rows.lower_luma + x);
  const Four squares = {AddSquares(upper_first, lower_first),
                        AddSquares(upper_second, lower_second)};
  StoreColour(squares, kBlue, rows.blue + x / 2);
  StoreColour(squares, kRed, rows.red + x / 2);
}

std::int32_t Weigh(int blue, int green, int red, const Shares& shares) {
  return shares.blue * blue + shares.green * green + shares.red * red;
}

std::uint8_t Luma(const std::uint8_t* pixel) {
  return static_cast<std::uint8_t>((Weigh(pixel[0], pixel[1], pixel[2], kLuma) + kLumaBase) >>
                                   kBits);
}

// What is left of two rows that are no whole number of blocks, two pixels of each at a time.
void FillSquare(const RowPair& rows, std::ptrdiff_t x) {
  const std::uint8_t* const upper = rows.upper + 4 * x;
  const std::uint8_t* const lower = rows.lower + 4 * x;
  for (int right = 0; right < 2; ++right) {
    rows.upper_luma[x + right] = Luma(upper + std::ptrdiff_t{4} * right);
    rows.lower_luma[x + right] = Luma(lower + std::ptrdiff_t{4} * right);
  }
  const auto sum = [&](int byte) {
    return upper[byte] + upper[4 + byte] + lower[byte] + lower[4 + byte];
  };
  const auto colour = [&](const Shares& shares) {
    return static_cast<std::uint8_t>((Weigh(sum(0), sum(1), sum(2), shares) + kColourBase) >>
                                     kColourBits);
  };
  rows.blue[x / 2] = colour(kBlue);
  rows.red[x / 2] = colour(kRed);
}

}  // namespace

void FillPlanes(const Image& image, Size size, const ColourPlanes& planes) {
  const std::ptrdiff_t stride = image.Stride();
  const std::ptrdiff_t width = size.width;
  for (std::ptrdiff_t y = 0; y < size.height; y += 2) {
    const std::uint8_t* const upper = image.pixels + y * stride;
    std::uint8_t* const luma = planes.luma + y * planes.luma_stride;
    const std::ptrdiff_t colour = y / 2 * planes.colour_stride;
    const RowPair rows = {upper,
                          upper + stride,
                          luma,
                          luma + planes.luma_stride,
                          planes.blue + colour,
                          planes.red + colour};
    std::ptrdiff_t x = 0;
    for (; x + kBlock <= width; x += kBlock) FillBlock(rows, x);
    for (; x < width; x += 2) FillSquare(rows, x);
  }
}

}  // namespace open_gsdk
