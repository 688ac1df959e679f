// FFmpeg's headers and owners for what they allocate.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <array>
#include <memory>
#include <string>

namespace open_gsdk {

struct CodecContextFreer {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
using CodecContext = std::unique_ptr<AVCodecContext, CodecContextFreer>;

struct FrameFreer {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using Frame = std::unique_ptr<AVFrame, FrameFreer>;

struct PacketFreer {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using Packet = std::unique_ptr<AVPacket, PacketFreer>;

struct ScalerFreer {
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using Scaler = std::unique_ptr<SwsContext, ScalerFreer>;

struct ResamplerFreer {
  void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};
using Resampler = std::unique_ptr<SwrContext, ResamplerFreer>;

struct FormatContextFreer {
  void operator()(AVFormatContext* context) const { avformat_free_context(context); }
};
using FormatContext = std::unique_ptr<AVFormatContext, FormatContextFreer>;

// The buffer of an AVIOContext may be replaced by FFmpeg, so it is freed through the context.
struct IoContextFreer {
  void operator()(AVIOContext* context) const {
    av_freep(&context->buffer);
    avio_context_free(&context);
  }
};
using IoContext = std::unique_ptr<AVIOContext, IoContextFreer>;

inline std::string FfmpegErrorText(int error) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(error, text.data(), text.size());
  return text.data();
}

}  // namespace open_gsdk
