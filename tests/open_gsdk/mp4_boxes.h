// Reads the boxes of an MP4 file that is in memory, for the tests of the muxer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace open_gsdk {

struct Mp4Box {
  std::string type;
  std::string_view content;  // without the box's header
};

// A big-endian number at `offset`; one past the end counts as 0.
inline std::uint64_t Mp4Number(std::string_view bytes, std::size_t offset, std::size_t width) {
  std::uint64_t number = 0;
  for (std::size_t index = offset; index < offset + width; ++index) {
    number = number << 8 | (index < bytes.size() ? static_cast<std::uint8_t>(bytes[index]) : 0U);
  }
  return number;
}

// The boxes that lie one after the other in `bytes`, up to the first one that is not whole.
inline std::vector<Mp4Box> Mp4Boxes(std::string_view bytes) {
  std::vector<Mp4Box> boxes;
  while (bytes.size() >= 8) {
    std::uint64_t size = Mp4Number(bytes, 0, 4);
    std::size_t header = 8;
    if (size == 1) {
      size = Mp4Number(bytes, 8, 8);
      header = 16;
    }
    if (size < header || size > bytes.size()) break;
    boxes.push_back({std::string(bytes.substr(4, 4)), bytes.substr(header, size - header)});
    bytes.remove_prefix(size);
  }
  return boxes;
}

// The contents of all boxes at a path such as {"moov", "trak", "tkhd"}.
inline std::vector<std::string_view> FindMp4Boxes(std::string_view bytes,
                                                  const std::vector<std::string>& path) {
  std::vector<std::string_view> found = {bytes};
  for (const std::string& type : path) {
    std::vector<std::string_view> inner;
    for (const std::string_view outer : found) {
      for (const Mp4Box& box : Mp4Boxes(outer)) {
        if (box.type == type) inner.push_back(box.content);
      }
    }
    found = inner;
  }
  return found;
}

}  // namespace open_gsdk
