#include "open_gsdk/session/growth_watch.h"

namespace open_gsdk {
namespace {

constexpr std::int64_t kLastingNs = 2'000'000'000;

std::int64_t Area(Size size) { return std::int64_t{size.width} * size.height; }

}  // namespace

void GrowthWatch::Chose(Size size) {
  chosen_ = size;
  candidate_ = {};
}

bool GrowthWatch::Saw(Size size, std::int64_t time_ns) {
  if (2 * Area(size) < 3 * Area(chosen_)) {
    candidate_ = {};
    return false;
  }
  if (!(size == candidate_)) {
    candidate_ = size;
    since_ns_ = time_ns;
  }
  return time_ns - since_ns_ >= kLastingNs;
}

}  // namespace open_gsdk
