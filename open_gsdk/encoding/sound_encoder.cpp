#include "open_gsdk/encoding/sound_encoder.h"

#include <algorithm>
#include <new>
#include <utility>

#include "open_gsdk/support/failure.h"

namespace open_gsdk {
namespace {

// After so many silent frames nothing of the sound before is left in the encoder, which looks at
// three frames at a time: its packets stay the same from then on.
constexpr int kFramesToSilence = 8;

CodecContext OpenEncoder(const AudioEncoding& encoding) {
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
  if (codec == nullptr) {
    throw Failure(ErrorCode::kNoEncoder, "this build of FFmpeg has no AAC encoder");
  }
  CodecContext context(avcodec_alloc_context3(codec));
  if (!context) throw std::bad_alloc();
  context->sample_fmt = AV_SAMPLE_FMT_FLTP;
  context->sample_rate = encoding.sample_rate;
  context->time_base = {1, encoding.sample_rate};
  context->bit_rate = encoding.bit_rate;
  av_channel_layout_default(&context->ch_layout, 2);
  context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  const int error = avcodec_open2(context.get(), codec, nullptr);
  if (error < 0) {
    throw Failure(ErrorCode::kNoEncoder, "the AAC encoder refuses " +
                                             std::to_string(encoding.sample_rate) +
                                             " Hz: " + FfmpegErrorText(error));
  }
  return context;
}

Frame AllocateFrame(const AVCodecContext& context) {
  Frame frame(av_frame_alloc());
  if (!frame) throw std::bad_alloc();
  frame->format = context.sample_fmt;
  frame->nb_samples = context.frame_size;
  frame->sample_rate = context.sample_rate;
  if (av_channel_layout_copy(&frame->ch_layout, &context.ch_layout) < 0 ||
      av_frame_get_buffer(frame.get(), 0) < 0) {
    throw std::bad_alloc();
  }
  return frame;
}

void Check(int result) {
  if (result >= 0) return;
  throw Failure(ErrorCode::kCaptureFailed, "encoding sound failed: " + FfmpegErrorText(result));
}

bool IsSilent(const float* samples, std::size_t count) {
  return std::all_of(samples, samples + count, [](float sample) { return sample == 0; });
}

}  // namespace

SoundEncoder::SoundEncoder(const std::string& name, const AudioEncoding& encoding)
    : context_(OpenEncoder(encoding)),
      frame_(AllocateFrame(*context_)),
      packet_(av_packet_alloc()),
      frame_size_(static_cast<std::size_t>(context_->frame_size)) {
  if (!packet_) throw std::bad_alloc();
  format_ = {name,
             context_->sample_rate,
             context_->ch_layout.nb_channels,
             encoding.bit_rate,
             {context_->extradata, context_->extradata + context_->extradata_size}};
}

void SoundEncoder::Encode(const float* left, const float* right,
                          const std::function<void(Output)>& deliver) {
  const bool silent = IsSilent(left, frame_size_) && IsSilent(right, frame_size_);
  silent_frames_ = silent ? std::min(silent_frames_ + 1, kFramesToSilence + 1) : 0;
  // Encoded is the frame before the last one, together with the one before it.
  const std::int64_t frame_size = context_->frame_size;
  const std::int64_t first_sample = next_sample_ - 2 * frame_size;
  next_sample_ += frame_size;
  if (silent_frames_ > kFramesToSilence) {
    deliver({first_sample, silence_});
    return;
  }
  Check(av_frame_make_writable(frame_.get()));
  std::copy_n(left, frame_size_, reinterpret_cast<float*>(frame_->data[0]));
  std::copy_n(right, frame_size_, reinterpret_cast<float*>(frame_->data[1]));
  frame_->pts = encoded_samples_;
  encoded_samples_ += frame_size;
  Check(avcodec_send_frame(context_.get(), frame_.get()));
  const int result = avcodec_receive_packet(context_.get(), packet_.get());
  if (result == AVERROR(EAGAIN)) return;
  Check(result);
  Output output{first_sample, {packet_->data, packet_->data + packet_->size}};
  av_packet_unref(packet_.get());
  if (silent_frames_ == kFramesToSilence) silence_ = output.data;
  deliver(std::move(output));
}

}  // namespace open_gsdk
