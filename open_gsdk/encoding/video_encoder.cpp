#include "open_gsdk/encoding/video_encoder.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <new>
#include <string>

#include "open_gsdk/support/failure.h"

namespace open_gsdk {
namespace {

std::string Describe(const VideoEncoding& encoding) {
  return std::to_string(encoding.size.width) + "x" + std::to_string(encoding.size.height) + " at " +
         std::to_string(encoding.frame_rate) + " frames per second";
}

[[noreturn]] void ThrowCaptureFailed(const char* what, int error) {
  throw Failure(ErrorCode::kCaptureFailed, std::string(what) + ": " + FfmpegErrorText(error));
}

CodecContext OpenEncoder(const VideoEncoding& encoding) {
  const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
  if (codec == nullptr) {
    throw Failure(ErrorCode::kNoEncoder, "this build of FFmpeg has no H.264 encoder");
  }
  CodecContext context(avcodec_alloc_context3(codec));
  if (!context) throw std::bad_alloc();
  context->width = encoding.size.width;
  context->height = encoding.size.height;
  context->pix_fmt = AV_PIX_FMT_YUV420P;
  context->time_base = {1, encoding.frame_rate};
  context->framerate = {encoding.frame_rate, 1};
  context->gop_size = encoding.frame_rate;
  context->max_b_frames = 0;
  context->color_range = AVCOL_RANGE_MPEG;
  context->colorspace = AVCOL_SPC_BT709;
  context->color_primaries = AVCOL_PRI_BT709;
  context->color_trc = AVCOL_TRC_BT709;
  // The MP4 file has the parameter sets in its header.
  context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  // The game needs the processor more: the next slower preset costs a third more for clips of about
  // the same size.
  av_opt_set(context->priv_data, "preset", "superfast", 0);
  av_opt_set(context->priv_data, "tune", "zerolatency", 0);
  av_opt_set_double(context->priv_data, "crf", encoding.crf, 0);
  av_opt_set_int(context->priv_data, "forced-idr", 1, 0);
  const int error = avcodec_open2(context.get(), codec, nullptr);
  if (error < 0) {
    throw Failure(ErrorCode::kNoEncoder, "the H.264 encoder refuses " + Describe(encoding) + ": " +
                                             FfmpegErrorText(error));
  }
  return context;
}

}  // namespace

VideoEncoder::VideoEncoder(const VideoEncoding& encoding)
    : context_(OpenEncoder(encoding)), picture_(av_frame_alloc()), packet_(av_packet_alloc()) {
  if (!picture_ || !packet_) throw std::bad_alloc();
  picture_->format = context_->pix_fmt;
  picture_->width = context_->width;
  picture_->height = context_->height;
  if (av_frame_get_buffer(picture_.get(), 0) < 0) throw std::bad_alloc();
  Blacken();
  format_ = {context_->width,
             context_->height,
             encoding.frame_rate,
             {context_->extradata, context_->extradata + context_->extradata_size}};
}

void VideoEncoder::SetPicture(const Image& image) {
  const int writable = av_frame_make_writable(picture_.get());
  if (writable < 0) ThrowCaptureFailed("no memory for a picture", writable);
  if (!scaler_ || !(image.size == source_)) PrepareScaler(image.size);

  const std::array<const std::uint8_t*, 4> source = {image.pixels};
  const std::array<int, 4> source_stride = {image.Stride()};
  std::array<std::uint8_t*, 4> target{};
  std::array<int, 4> target_stride{};
  for (std::size_t plane = 0; plane < 3; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    target_stride[plane] = picture_->linesize[plane];
    target[plane] = picture_->data[plane] +
                    std::ptrdiff_t{placement_.top >> shift} * picture_->linesize[plane] +
                    (placement_.left >> shift);
  }
  const int rows = sws_scale(scaler_.get(), source.data(), source_stride.data(), 0,
                             placement_.used.height, target.data(), target_stride.data());
  if (rows < 0) ThrowCaptureFailed("scaling a picture failed", rows);
}

void VideoEncoder::Encode(std::int64_t number, bool key_frame,
                          const std::function<void(Output)>& deliver) {
  picture_->pts = number;
  picture_->pict_type = key_frame ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
  int result = avcodec_send_frame(context_.get(), picture_.get());
  if (result < 0) ThrowCaptureFailed("encoding a picture failed", result);
  while ((result = avcodec_receive_packet(context_.get(), packet_.get())) >= 0) {
    Output output{packet_->pts,
                  (packet_->flags & AV_PKT_FLAG_KEY) != 0,
                  {packet_->data, packet_->data + packet_->size}};
    av_packet_unref(packet_.get());
    deliver(std::move(output));
  }
  if (result != AVERROR(EAGAIN)) ThrowCaptureFailed("encoding a picture failed", result);
}

void VideoEncoder::PrepareScaler(Size source) {
  placement_ = PlaceInside(source, {context_->width, context_->height});
  scaler_.reset(sws_getContext(placement_.used.width, placement_.used.height, AV_PIX_FMT_BGR0,
                               placement_.drawn.width, placement_.drawn.height, AV_PIX_FMT_YUV420P,
                               SWS_BILINEAR, nullptr, nullptr, nullptr));
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
  Blacken();
}

void VideoEncoder::Blacken() {
  constexpr int kBlack = 16;
  constexpr int kNoColour = 128;
  for (std::size_t plane = 0; plane < 3; ++plane) {
    const int rows = plane == 0 ? picture_->height : picture_->height / 2;
    std::memset(
        picture_->data[plane], plane == 0 ? kBlack : kNoColour,
        static_cast<std::size_t>(picture_->linesize[plane]) * static_cast<std::size_t>(rows));
  }
}

}  // namespace open_gsdk
