// The H.264 encoders that FFmpeg has.
#include <algorithm>
#include <cstddef>
#include <new>
#include <span>
#include <thread>
#include <utility>

#include "open_gsdk/encoding/encoder_threads.h"
#include "open_gsdk/encoding/parameter_sets.h"
#include "open_gsdk/encoding/video_encoder.h"
#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/library_log.h"

namespace open_gsdk {
namespace {

constexpr int kMaxCrf = 51;

// The options of one encoder that give it constant quality and no delay.
using Options = std::vector<std::pair<const char*, std::string>>;

Options NvencOptions(const VideoEncoding& encoding) {
  const int quality = std::max(encoding.crf, 1);  // 0 would leave it to the encoder
  return {{"preset", "p4"}, {"tune", "ull"},      {"rc", "vbr"},  {"cq", std::to_string(quality)},
          {"b", "0"},       {"zerolatency", "1"}, {"delay", "0"}, {"forced-idr", "1"}};
}

// This one cannot be asked for a key frame: it gives one after as many frames as there are in a
// second, which is later when pictures are left out.
Options AmfOptions(const VideoEncoding& encoding) {
  const std::string quality = std::to_string(encoding.crf);
  return {{"usage", "lowlatency"}, {"rc", "cqp"}, {"qp_i", quality}, {"qp_p", quality}};
}

// Only what a graphics card encodes: the system's own encoder is no better than x264.
Options MediaFoundationOptions(const VideoEncoding& encoding) {
  const int percent = 100 - encoding.crf * 100 / kMaxCrf;
  return {{"hw_encoding", "1"},
          {"rate_control", "quality"},
          {"quality", std::to_string(percent)},
          {"scenario", "camera_record"}};
}

Options X264Options(const VideoEncoding& encoding) {
  // The game needs the processor more: the next slower preset costs a third more for clips of about
  // the same size.
  return {{"preset", "superfast"},
          {"tune", "zerolatency"},
          {"crf", std::to_string(encoding.crf)},
          // A look at each picture in advance, for fades and for key frames that nobody needs; it
          // takes an eighth of the time and saves no byte.
          {"sc_threshold", "0"},
          // What is left of that look, for the constant quality, is not worth threads of its own.
          {"x264-params", "weightp=0:lookahead-threads=1"},
          {"forced-idr", "1"}};
}

[[noreturn]] void ThrowNoEncoder(const std::string& reason) {
  throw Failure(ErrorCode::kNoEncoder, reason);
}

void SetOptions(AVCodecContext& context, const Options& options) {
  for (const auto& [name, value] : options) {
    const int error = av_opt_set(&context, name, value.c_str(), AV_OPT_SEARCH_CHILDREN);
    if (error < 0) {
      ThrowNoEncoder(std::string("it does not know the option ") + name + ": " +
                     FfmpegErrorText(error));
    }
  }
}

CodecContext OpenCodec(const std::string& name, const VideoEncoding& encoding,
                       const Options& options) {
  const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
  if (codec == nullptr) ThrowNoEncoder("it is not part of this library");
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
  context->thread_count = EncoderThreads(encoding, std::thread::hardware_concurrency());
  SetOptions(*context, options);
  const FfmpegLines lines;
  const int error = avcodec_open2(context.get(), codec, nullptr);
  if (error < 0) ThrowNoEncoder(lines.text().empty() ? FfmpegErrorText(error) : lines.text());
  return context;
}

[[noreturn]] void ThrowEncodingFailed(int error) {
  throw Failure(ErrorCode::kCaptureFailed, "encoding a picture failed: " + FfmpegErrorText(error));
}

class FfmpegVideoEncoder : public VideoEncoder {
 public:
  FfmpegVideoEncoder(CodecContext context, const VideoEncoding& encoding)
      : context_(std::move(context)), packet_(av_packet_alloc()) {
    if (!packet_) throw std::bad_alloc();
    format_ = {context_->width, context_->height, encoding.frame_rate, {}};
  }

  void Encode(const AVFrame& picture, std::int64_t number, bool key_frame,
              const std::function<void(Output)>& deliver) override {
    const Frame frame(av_frame_clone(&picture));
    if (!frame) throw std::bad_alloc();
    frame->pts = number;
    frame->pict_type = key_frame ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    int result = avcodec_send_frame(context_.get(), frame.get());
    if (result < 0) ThrowEncodingFailed(result);
    while ((result = avcodec_receive_packet(context_.get(), packet_.get())) >= 0) {
      if (format_.extradata.empty()) format_.extradata = Extradata();
      Output output{packet_->pts,
                    (packet_->flags & AV_PKT_FLAG_KEY) != 0,
                    {packet_->data, packet_->data + packet_->size}};
      av_packet_unref(packet_.get());
      deliver(std::move(output));
    }
    if (result != AVERROR(EAGAIN)) ThrowEncodingFailed(result);
  }

  [[nodiscard]] const VideoFormat& format() const override { return format_; }

 private:
  // Encoders give it when they are opened, beside their first packet, or within it.
  [[nodiscard]] std::vector<std::uint8_t> Extradata() const {
    if (context_->extradata_size > 0) {
      return {context_->extradata, context_->extradata + context_->extradata_size};
    }
    std::size_t size = 0;
    if (const std::uint8_t* beside =
            av_packet_get_side_data(packet_.get(), AV_PKT_DATA_NEW_EXTRADATA, &size);
        beside != nullptr) {
      return {beside, beside + size};
    }
    return ParameterSets(std::span(packet_->data, static_cast<std::size_t>(packet_->size)));
  }

  CodecContext context_;
  Packet packet_;
  VideoFormat format_;
};

VideoEncoderKind Kind(const std::string& name, Options (*options)(const VideoEncoding&)) {
  return {name, [name, options](const VideoEncoding& encoding) {
            return std::make_unique<FfmpegVideoEncoder>(
                OpenCodec(name, encoding, options(encoding)), encoding);
          }};
}

}  // namespace

std::vector<VideoEncoderKind> VideoEncoderKinds() {
  return {Kind("h264_nvenc", NvencOptions), Kind("h264_amf", AmfOptions),
          Kind("h264_mf", MediaFoundationOptions), Kind("libx264", X264Options)};
}

}  // namespace open_gsdk
