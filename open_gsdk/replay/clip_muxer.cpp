#include "open_gsdk/replay/clip_muxer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include "open_gsdk/replay/h264_units.h"
#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {
namespace {

constexpr AVRational kNanoseconds = {1, 1'000'000'000};

bool SetExtradata(AVCodecParameters& parameters, const std::vector<std::uint8_t>& extradata) {
  parameters.extradata =
      static_cast<std::uint8_t*>(av_mallocz(extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (parameters.extradata == nullptr) return false;
  std::memcpy(parameters.extradata, extradata.data(), extradata.size());
  parameters.extradata_size = static_cast<int>(extradata.size());
  return true;
}

bool AddVideoStream(AVFormatContext& file, const VideoFormat& format) {
  const std::vector<std::uint8_t> configuration = DecoderConfiguration(format.extradata);
  if (format.width <= 0 || format.height <= 0 || format.frame_rate <= 0 || configuration.empty()) {
    return false;
  }
  AVStream* stream = avformat_new_stream(&file, nullptr);
  if (stream == nullptr || !SetExtradata(*stream->codecpar, configuration)) return false;
  stream->time_base = {1, format.frame_rate};
  stream->avg_frame_rate = {format.frame_rate, 1};
  AVCodecParameters& parameters = *stream->codecpar;
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  parameters.codec_id = AV_CODEC_ID_H264;
  parameters.format = AV_PIX_FMT_YUV420P;
  parameters.width = format.width;
  parameters.height = format.height;
  parameters.color_range = AVCOL_RANGE_MPEG;
  parameters.color_space = AVCOL_SPC_BT709;
  parameters.color_primaries = AVCOL_PRI_BT709;
  parameters.color_trc = AVCOL_TRC_BT709;
  return true;
}

bool AddAudioStream(AVFormatContext& file, const AudioFormat& format) {
  if (format.sample_rate <= 0 || format.channels <= 0 || format.extradata.empty()) return false;
  AVStream* stream = avformat_new_stream(&file, nullptr);
  if (stream == nullptr || !SetExtradata(*stream->codecpar, format.extradata)) return false;
  stream->time_base = {1, format.sample_rate};
  AVCodecParameters& parameters = *stream->codecpar;
  parameters.codec_type = AVMEDIA_TYPE_AUDIO;
  parameters.codec_id = AV_CODEC_ID_AAC;
  parameters.format = AV_SAMPLE_FMT_FLTP;
  parameters.sample_rate = format.sample_rate;
  parameters.bit_rate = format.bit_rate;
  parameters.frame_size = kSamplesPerPacket;
  av_channel_layout_default(&parameters.ch_layout, format.channels);
  // The one is shown by players, the other by what lists a file's tracks.
  av_dict_set(&stream->metadata, "title", format.name.c_str(), 0);
  av_dict_set(&stream->metadata, "handler_name", format.name.c_str(), 0);
  return true;
}

bool WritePackets(AVFormatContext& file, const Clip& clip, MuxOutput& output) {
  const Packet packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  std::vector<std::span<const std::uint8_t>> pieces;
  std::vector<std::int64_t> earliest(file.nb_streams, std::numeric_limits<std::int64_t>::min());
  for (const ClipPacket& source : clip.packets) {
    const AVStream& stream = *file.streams[source.stream];
    pieces.clear();
    source.AddPieces(pieces);
    packet->data = output.StandInFor(pieces);
    packet->size = static_cast<int>(source.Size());
    packet->stream_index = stream.index;
    packet->flags = source.key_frame ? AV_PKT_FLAG_KEY : 0;
    const std::int64_t begin = av_rescale_q(source.time_ns, kNanoseconds, stream.time_base);
    const std::int64_t end =
        av_rescale_q(source.time_ns + source.duration_ns, kNanoseconds, stream.time_base);
    // FFmpeg refuses a packet that is not later than the one before.
    packet->pts = std::max(begin, earliest[source.stream]);
    packet->dts = packet->pts;
    packet->duration = std::max<std::int64_t>(end - packet->pts, 1);
    earliest[source.stream] = packet->pts + 1;
    if (av_write_frame(&file, packet.get()) < 0) return false;
  }
  return true;
}

// In which all times of the file can be given exactly: those of the pictures and of the sound.
std::int64_t MovieTimescale(const StreamSet& streams) {
  std::int64_t scale = streams.video.frame_rate;
  for (const AudioFormat& format : streams.audio) {
    scale = std::lcm(scale, std::int64_t{format.sample_rate});
  }
  // Mostly it is the sample rate; odd frame rates with odd sample rates have to do with rounding.
  constexpr std::int64_t kLargest = 100'000'000;
  return scale <= kLargest ? scale : streams.video.frame_rate;
}

// Describes the streams; kSuccess when all could be.
DumpStatus AddStreams(AVFormatContext& file, const StreamSet& streams) {
  if (!AddVideoStream(file, streams.video)) return DumpStatus::kBadVideoStream;
  for (const AudioFormat& format : streams.audio) {
    if (!AddAudioStream(file, format)) return DumpStatus::kBadAudioStream;
  }
  return DumpStatus::kSuccess;
}

struct MuxResult {
  DumpStatus status = DumpStatus::kCannotWrite;
  std::int64_t end_of_packets = 0;  // position in the file
  std::int64_t size = 0;
};

std::size_t LargestPacket(const Clip& clip) {
  std::size_t largest = 0;
  for (const ClipPacket& packet : clip.packets) largest = std::max(largest, packet.Size());
  return largest;
}

// With `room_for_header` the header (`moov`) is put in that many bytes before the packets, without
// it behind them. Without a sink only the sizes are found out, which takes no look at the bytes.
MuxResult Mux(const Clip& clip, const ByteSink* sink, std::int64_t room_for_header) {
  AVFormatContext* raw = nullptr;
  if (avformat_alloc_output_context2(&raw, nullptr, "mp4", nullptr) < 0) throw std::bad_alloc();
  const FormatContext file(raw);
  MuxOutput output(sink, LargestPacket(clip));
  file->pb = output.io();
  file->flags |= AVFMT_FLAG_CUSTOM_IO;
  // Nothing is written before there is a block of it, and no packet needs a filter.
  file->flags &= ~(AVFMT_FLAG_FLUSH_PACKETS | AVFMT_FLAG_AUTO_BSF);
  file->flush_packets = 0;

  const StreamSet& streams = *clip.streams;
  MuxResult result{.status = AddStreams(*file, streams)};
  if (result.status != DumpStatus::kSuccess) return result;
  // The stream's own time base, so that a constant frame rate stays exactly constant.
  av_opt_set_int(file->priv_data, "video_track_timescale",
                 std::int64_t{512} * streams.video.frame_rate, 0);
  av_opt_set_int(file->priv_data, "movie_timescale", MovieTimescale(streams), 0);
  av_opt_set_int(file->priv_data, "moov_size", room_for_header, 0);
  av_dict_set(&file->metadata, "creation_time", "now", 0);
  result.status = DumpStatus::kCannotWrite;
  if (avformat_write_header(file.get(), nullptr) < 0) return result;
  output.BeginPackets();
  const bool written = WritePackets(*file, clip, output);
  output.EndPackets();
  result.end_of_packets = avio_tell(output.io());
  // Frees what writing the header allocated, so it is called after a failure too.
  const bool finished = av_write_trailer(file.get()) >= 0;
  const bool arrived = output.Finish();
  result.size = output.size();
  if (written && finished && arrived) result.status = DumpStatus::kSuccess;
  return result;
}

}  // namespace

DumpStatus WriteMp4(const Clip& clip, const ByteSink& sink) {
  const MuxResult trial = Mux(clip, nullptr, 0);
  if (trial.status != DumpStatus::kSuccess) return trial.status;
  // What is left of the room becomes a box that players skip, which has at least 8 bytes.
  std::int64_t room = trial.size - trial.end_of_packets + 8;
  // Positions beyond 4 GiB take twice the room, and the header itself may move packets there.
  if (trial.size + room > std::numeric_limits<std::uint32_t>::max()) {
    room += static_cast<std::int64_t>(clip.packets.size() * sizeof(std::uint32_t));
  }
  return Mux(clip, &sink, room).status;
}

}  // namespace open_gsdk
