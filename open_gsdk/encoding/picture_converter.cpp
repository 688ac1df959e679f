#include "open_gsdk/encoding/picture_converter.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "open_gsdk/support/failure.h"

namespace open_gsdk {
namespace {

void Blacken(const AVFrame& frame) {
  constexpr int kBlack = 16;
  constexpr int kNoColour = 128;
  for (std::size_t plane = 0; plane < 3; ++plane) {
    const int rows = plane == 0 ? frame.height : frame.height / 2;
    std::memset(frame.data[plane], plane == 0 ? kBlack : kNoColour,
                static_cast<std::size_t>(frame.linesize[plane]) * static_cast<std::size_t>(rows));
  }
}

Frame NewFrame(Size size) {
  Frame frame(av_frame_alloc());
  if (!frame) throw std::bad_alloc();
  frame->format = AV_PIX_FMT_YUV420P;
  frame->width = size.width;
  frame->height = size.height;
  frame->color_range = AVCOL_RANGE_MPEG;
  frame->colorspace = AVCOL_SPC_BT709;
  frame->color_primaries = AVCOL_PRI_BT709;
  frame->color_trc = AVCOL_TRC_BT709;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
  Blacken(*frame);
  return frame;
}

// Another owner of the same memory.
Frame Share(const AVFrame& frame) {
  Frame shared(av_frame_clone(&frame));
  if (!shared) throw std::bad_alloc();
  return shared;
}

}  // namespace

Frame PictureConverter::Black() {
  PooledFrame& free = FreeFrame();
  if (!(free.drawn == Placement{})) Blacken(*free.frame);
  free.drawn = {};
  return Share(*free.frame);
}

Frame PictureConverter::Convert(const Image& image) {
  if (!scaler_ || !(image.size == source_)) PrepareScaler(image.size);
  PooledFrame& free = FreeFrame();
  if (!(free.drawn == placement_)) Blacken(*free.frame);
  free.drawn = placement_;

  const AVFrame& frame = *free.frame;
  const std::array<const std::uint8_t*, 4> source = {image.pixels};
  const std::array<int, 4> source_stride = {image.Stride()};
  std::array<std::uint8_t*, 4> target{};
  std::array<int, 4> target_stride{};
  for (std::size_t plane = 0; plane < 3; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    target_stride[plane] = frame.linesize[plane];
    target[plane] = frame.data[plane] +
                    std::ptrdiff_t{placement_.top >> shift} * frame.linesize[plane] +
                    (placement_.left >> shift);
  }
  const int rows = sws_scale(scaler_.get(), source.data(), source_stride.data(), 0,
                             placement_.used.height, target.data(), target_stride.data());
  if (rows < 0) {
    throw Failure(ErrorCode::kCaptureFailed, "scaling a picture failed: " + FfmpegErrorText(rows));
  }
  return Share(frame);
}

PictureConverter::PooledFrame& PictureConverter::FreeFrame() {
  for (PooledFrame& candidate : frames_) {
    if (av_frame_is_writable(candidate.frame.get()) > 0) return candidate;
  }
  frames_.push_back({NewFrame(picture_), {}});
  return frames_.back();
}

void PictureConverter::PrepareScaler(Size source) {
  placement_ = PlaceInside(source, picture_);
  // Reading the colour of every pixel is what swscale has vector code for; leaving out every other
  // one is plain C and takes longer. Where nothing is scaled, the mean of each four pixels takes
  // less than a filter.
  const int flags =
      SWS_FULL_CHR_H_INP | (placement_.used == placement_.drawn ? SWS_AREA : SWS_BILINEAR);
  scaler_.reset(sws_getContext(placement_.used.width, placement_.used.height, AV_PIX_FMT_BGR0,
                               placement_.drawn.width, placement_.drawn.height, AV_PIX_FMT_YUV420P,
                               flags, nullptr, nullptr, nullptr));
  if (!scaler_) {
    throw Failure(ErrorCode::kCaptureFailed, "a picture of " + std::to_string(source.width) + "x" +
                                                 std::to_string(source.height) +
                                                 " cannot be scaled");
  }
  const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
  constexpr int kFullRange = 1;
  constexpr int kVideoRange = 0;
  constexpr int kUnchanged = 1 << 16;
  sws_setColorspaceDetails(scaler_.get(), bt709, kFullRange, bt709, kVideoRange, 0, kUnchanged,
                           kUnchanged);
  source_ = source;
}

}  // namespace open_gsdk
