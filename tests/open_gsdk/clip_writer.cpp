// Writes a clip of known content, for clip_writer_test.py:
//   clip_writer CLIP.mp4 steady|late|still|gap
// Thirty pictures a second, white in the first tenth of each second and black in the rest; a track
// "Beep" with 1 kHz while the picture is white, and a track "Tone" with 440 Hz all the time. The
// sound comes a tenth of a second after the pictures of its time.
//   steady  all pictures and all sound
//   late    two pictures of each seven are missing
//   still   one picture a second
//   gap     sound of half a second is missing
// Prints the dump's figures as JSON.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <new>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "open_gsdk/replay/clip_file.h"
#include "open_gsdk/replay/recorder.h"
#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {
namespace {

constexpr int kSize = 64;
constexpr int kFrameRate = 30;
constexpr int kSampleRate = 48'000;
constexpr std::int64_t kNsPerSecond = 1'000'000'000;
// On the steady clock, when a machine has run for a day.
constexpr std::int64_t kStartNs = 86'400 * kNsPerSecond + 123'456'789;
// The first sample, which is not on the grid of the pictures.
constexpr std::int64_t kSoundStartNs = kStartNs - 33'333'333;

using Deliver = std::function<void(std::int64_t pts, bool key_frame, std::vector<std::uint8_t>)>;

void Require(bool holds) {
  if (!holds) throw std::bad_alloc();
}

void Send(AVCodecContext& encoder, const AVFrame& frame, const Deliver& deliver) {
  const Packet packet(av_packet_alloc());
  Require(packet && avcodec_send_frame(&encoder, &frame) >= 0);
  while (avcodec_receive_packet(&encoder, packet.get()) >= 0) {
    deliver(packet->pts, (packet->flags & AV_PKT_FLAG_KEY) != 0,
            {packet->data, packet->data + packet->size});
    av_packet_unref(packet.get());
  }
}

std::vector<std::uint8_t> Extradata(const AVCodecContext& encoder) {
  return {encoder.extradata, encoder.extradata + encoder.extradata_size};
}

CodecContext OpenVideo() {
  const AVCodec* const codec = avcodec_find_encoder_by_name("libx264");
  CodecContext encoder(avcodec_alloc_context3(codec));
  Require(encoder != nullptr);
  encoder->width = kSize;
  encoder->height = kSize;
  encoder->pix_fmt = AV_PIX_FMT_YUV420P;
  encoder->time_base = {1, kFrameRate};
  encoder->gop_size = kFrameRate;
  encoder->max_b_frames = 0;
  encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  av_opt_set(encoder->priv_data, "tune", "zerolatency", 0);
  av_opt_set(encoder->priv_data, "preset", "ultrafast", 0);
  av_opt_set_int(encoder->priv_data, "forced-idr", 1, 0);
  Require(avcodec_open2(encoder.get(), codec, nullptr) >= 0);
  return encoder;
}

Frame NewPicture() {
  Frame frame(av_frame_alloc());
  Require(frame != nullptr);
  frame->format = AV_PIX_FMT_YUV420P;
  frame->width = kSize;
  frame->height = kSize;
  return frame;
}

void EncodePicture(AVCodecContext& encoder, int number, const Deliver& deliver) {
  const Frame frame = NewPicture();
  Require(av_frame_get_buffer(frame.get(), 0) >= 0);
  const int luma = number % kFrameRate < kFrameRate / 10 ? 235 : 16;
  for (int plane = 0; plane < 3; ++plane) {
    const int rows = plane == 0 ? kSize : kSize / 2;
    std::fill_n(frame->data[plane], frame->linesize[plane] * rows,
                static_cast<std::uint8_t>(plane == 0 ? luma : 128));
  }
  frame->pts = number;
  frame->pict_type = number % kFrameRate == 0 ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
  Send(encoder, *frame, deliver);
}

CodecContext OpenSound() {
  const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
  CodecContext encoder(avcodec_alloc_context3(codec));
  Require(encoder != nullptr);
  encoder->sample_fmt = AV_SAMPLE_FMT_FLTP;
  encoder->sample_rate = kSampleRate;
  encoder->time_base = {1, kSampleRate};
  encoder->bit_rate = 128'000;
  av_channel_layout_default(&encoder->ch_layout, 2);
  encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  Require(avcodec_open2(encoder.get(), codec, nullptr) >= 0);
  return encoder;
}

// `beep` is heard in the first tenth of each second of the pictures only.
float Sample(bool beep, std::int64_t number) {
  const double second = static_cast<double>(number) / kSampleRate -
                        static_cast<double>(kStartNs - kSoundStartNs) / kNsPerSecond;
  if (!beep) return static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * 440 * second));
  const double phase = second - std::floor(second);
  if (phase >= 0.1) return 0;
  return static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * 1000 * phase));
}

void EncodeSound(AVCodecContext& encoder, bool beep, std::int64_t first, const Deliver& deliver) {
  const Frame frame(av_frame_alloc());
  Require(frame != nullptr);
  frame->format = AV_SAMPLE_FMT_FLTP;
  frame->nb_samples = kSamplesPerPacket;
  frame->sample_rate = kSampleRate;
  Require(av_channel_layout_copy(&frame->ch_layout, &encoder.ch_layout) >= 0 &&
          av_frame_get_buffer(frame.get(), 0) >= 0);
  for (int channel = 0; channel < 2; ++channel) {
    auto* const samples = reinterpret_cast<float*>(frame->data[channel]);
    for (int index = 0; index < kSamplesPerPacket; ++index) {
      samples[index] = Sample(beep, first + index);
    }
  }
  frame->pts = first;
  Send(encoder, *frame, deliver);
}

bool IsTaken(const std::string& kind, int picture) {
  if (kind == "still") return picture % kFrameRate == 0;
  return kind != "late" || (picture % 7 != 3 && picture % 7 != 4);
}

void Record(const std::string& kind, Recorder& recorder) {
  const CodecContext video = OpenVideo();
  const CodecContext sound[] = {OpenSound(), OpenSound()};
  auto streams = std::make_shared<StreamSet>();
  streams->video = {kSize, kSize, kFrameRate, Extradata(*video)};
  for (const char* const name : {"Beep", "Tone"}) {
    streams->audio.push_back({name, kSampleRate, 2, 128'000, Extradata(*sound[0])});
  }
  std::int64_t next_sample = 0;
  constexpr int kSeconds = 5;
  for (int picture = 0; picture < kSeconds * kFrameRate + kFrameRate / 2; ++picture) {
    const std::int64_t now_ns = kStartNs + picture * kNsPerSecond / kFrameRate;
    if (IsTaken(kind, picture)) {
      EncodePicture(*video, picture, [&](std::int64_t, bool key_frame, auto data) {
        recorder.Push({.streams = streams,
                       .key_frame = key_frame,
                       .time_ns = now_ns,
                       .duration_ns = kNsPerSecond / kFrameRate,
                       .data = std::move(data)});
      });
    }
    for (; kSoundStartNs + next_sample * kNsPerSecond / kSampleRate + kNsPerSecond / 10 < now_ns;
         next_sample += kSamplesPerPacket) {
      for (const std::size_t track : {0U, 1U}) {
        EncodeSound(*sound[track], track == 0, next_sample, [&](std::int64_t pts, bool, auto data) {
          const std::int64_t from_ns = pts * kNsPerSecond / kSampleRate;
          const bool missing =
              from_ns > 3 * kNsPerSecond && from_ns < 3 * kNsPerSecond + kNsPerSecond / 2;
          if (kind == "gap" && missing) return;
          recorder.Push({.streams = streams,
                         .stream = 1 + track,
                         .key_frame = true,
                         .time_ns = kSoundStartNs + from_ns,
                         .duration_ns = kSamplesPerPacket * kNsPerSecond / kSampleRate,
                         .data = std::move(data)});
        });
      }
    }
  }
}

}  // namespace
}  // namespace open_gsdk

int main(int argument_count, char** arguments) {
  using namespace open_gsdk;  // NOLINT(google-build-using-namespace): it is this file's own
  if (argument_count != 3) return 2;
  av_log_set_level(AV_LOG_ERROR);
  Recorder recorder;
  recorder.SetDuration(3000);
  Record(arguments[2], recorder);
  const gsdk_dump_result result =
      recorder.Dump([&](const Clip& clip) { return WriteClipFile(clip, arguments[1]); });
  std::printf(
      "{\"status\": %d, \"duration\": %lld, \"last_timestamp\": %lld, \"audio_drop\": %lld, "
      "\"video_drop\": %lld, \"start\": %lld}\n",
      result.status, static_cast<long long>(result.duration),
      static_cast<long long>(result.last_timestamp), static_cast<long long>(result.audio_drop),
      static_cast<long long>(result.video_drop), static_cast<long long>(kStartNs));
  return result.status;
}
