#include "open_gsdk/encoding/audio_track.h"

#include <new>
#include <utility>

#include "open_gsdk/support/failure.h"

namespace open_gsdk {
namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

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

}  // namespace

AudioTrack::AudioTrack(const std::string& name, const AudioEncoding& encoding)
    : context_(OpenEncoder(encoding)), silence_(av_frame_alloc()), packet_(av_packet_alloc()) {
  if (!silence_ || !packet_) throw std::bad_alloc();
  silence_->format = context_->sample_fmt;
  silence_->nb_samples = context_->frame_size;
  silence_->sample_rate = context_->sample_rate;
  if (av_channel_layout_copy(&silence_->ch_layout, &context_->ch_layout) < 0 ||
      av_frame_get_buffer(silence_.get(), 0) < 0) {
    throw std::bad_alloc();
  }
  av_samples_set_silence(silence_->extended_data, 0, silence_->nb_samples,
                         context_->ch_layout.nb_channels, context_->sample_fmt);
  format_ = {name,
             context_->sample_rate,
             context_->ch_layout.nb_channels,
             encoding.bit_rate,
             {context_->extradata, context_->extradata + context_->extradata_size}};
}

void AudioTrack::EncodeUntil(std::int64_t time_ns, const std::function<void(Output)>& deliver) {
  const int frame_size = silence_->nb_samples;
  while (start_ns_ + DurationNs(samples_ + frame_size) <= time_ns) {
    silence_->pts = samples_;
    samples_ += frame_size;
    int result = avcodec_send_frame(context_.get(), silence_.get());
    while (result >= 0) {
      result = avcodec_receive_packet(context_.get(), packet_.get());
      if (result < 0) break;
      // The encoder's first packet only fills its window and lies before the first sample.
      Output output{start_ns_ + DurationNs(packet_->pts),
                    DurationNs(packet_->duration),
                    {packet_->data, packet_->data + packet_->size}};
      av_packet_unref(packet_.get());
      deliver(std::move(output));
    }
    if (result != AVERROR(EAGAIN)) {
      throw Failure(ErrorCode::kCaptureFailed, "encoding sound failed: " + FfmpegErrorText(result));
    }
  }
}

std::int64_t AudioTrack::DurationNs(std::int64_t samples) const {
  return av_rescale(samples, kNsPerSecond, format_.sample_rate);
}

}  // namespace open_gsdk
