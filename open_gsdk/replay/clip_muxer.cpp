#include "open_gsdk/replay/clip_muxer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>
#include <numeric>
#include <utility>

#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {
namespace {

constexpr AVRational kNanoseconds = {1, 1'000'000'000};
// Each block is one call to the system; larger ones leave the processor's cache before they are
// written.
constexpr int kIoBufferSize = 256 * 1024;

// FFmpeg's view of a ByteSink: a file with a current position.
struct SinkFile {
  const ByteSink& sink;
  std::int64_t position = 0;
  std::int64_t size = 0;
  bool failed = false;
};

int WriteToSink(void* opaque, const std::uint8_t* bytes, int count) {
  auto& file = *static_cast<SinkFile*>(opaque);
  if (!file.failed && !file.sink(file.position, {bytes, static_cast<std::size_t>(count)})) {
    file.failed = true;
  }
  if (file.failed) return AVERROR(EIO);
  file.position += count;
  file.size = std::max(file.size, file.position);
  return count;
}

std::int64_t SeekInSink(void* opaque, std::int64_t offset, int whence) {
  auto& file = *static_cast<SinkFile*>(opaque);
  switch (whence) {
    case AVSEEK_SIZE:
      return file.size;
    case SEEK_SET:
      return file.position = offset;
    case SEEK_CUR:
      return file.position += offset;
    case SEEK_END:
      return file.position = file.size + offset;
    default:
      return AVERROR(EINVAL);
  }
}

IoContext OpenIo(SinkFile& file) {
  auto* buffer = static_cast<std::uint8_t*>(av_malloc(kIoBufferSize));
  if (buffer == nullptr) throw std::bad_alloc();
  IoContext io(
      avio_alloc_context(buffer, kIoBufferSize, 1, &file, nullptr, WriteToSink, SeekInSink));
  if (!io) {
    av_free(buffer);
    throw std::bad_alloc();
  }
  return io;
}

bool SetExtradata(AVCodecParameters& parameters, const std::vector<std::uint8_t>& extradata) {
  parameters.extradata =
      static_cast<std::uint8_t*>(av_mallocz(extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (parameters.extradata == nullptr) return false;
  std::memcpy(parameters.extradata, extradata.data(), extradata.size());
  parameters.extradata_size = static_cast<int>(extradata.size());
  return true;
}

bool AddVideoStream(AVFormatContext& file, const VideoFormat& format) {
  if (format.width <= 0 || format.height <= 0 || format.frame_rate <= 0 ||
      format.extradata.empty()) {
    return false;
  }
  AVStream* stream = avformat_new_stream(&file, nullptr);
  if (stream == nullptr || !SetExtradata(*stream->codecpar, format.extradata)) return false;
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

// Whether a file is made for its content, or in order to learn the size of its header, for which
// the packets' sizes do.
enum class Purpose { kContent, kHeaderSize };

// Stands for the bytes of each packet of the clip where only their number counts.
std::vector<std::uint8_t> StandIn(const Clip& clip) {
  std::size_t largest = 0;
  for (const ClipPacket& packet : clip.packets) largest = std::max(largest, packet.Size());
  return std::vector<std::uint8_t>(largest);
}

bool WritePackets(AVFormatContext& file, const Clip& clip, Purpose purpose) {
  const bool trial = purpose == Purpose::kHeaderSize;
  const std::vector<std::uint8_t> stand_in = trial ? StandIn(clip) : std::vector<std::uint8_t>();
  const Packet packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  std::vector<std::uint8_t> scratch;
  std::vector<std::int64_t> earliest(file.nb_streams, std::numeric_limits<std::int64_t>::min());
  for (const ClipPacket& source : clip.packets) {
    const AVStream& stream = *file.streams[source.stream];
    const std::span<const std::uint8_t> bytes =
        trial ? std::span(stand_in).first(source.Size()) : source.Bytes(scratch);
    // FFmpeg reads the bytes where they are, and does not write to them.
    packet->data = const_cast<std::uint8_t*>(bytes.data());
    packet->size = static_cast<int>(bytes.size());
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

// What FFmpeg takes for parameter sets in the form of a file, so that it looks at no packet; as
// large as those of a file can become at most.
std::vector<std::uint8_t> StandInForParameterSets(const VideoFormat& format) {
  constexpr std::size_t kMostThatAFileAdds = 16;
  std::vector<std::uint8_t> bytes = {1};
  bytes.resize(format.extradata.size() + kMostThatAFileAdds);
  return bytes;
}

// Describes the streams; kSuccess when all could be.
DumpStatus AddStreams(AVFormatContext& file, const StreamSet& streams, Purpose purpose) {
  VideoFormat video = streams.video;
  if (purpose == Purpose::kHeaderSize && !video.extradata.empty()) {
    video.extradata = StandInForParameterSets(video);
  }
  if (!AddVideoStream(file, video)) return DumpStatus::kBadVideoStream;
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

// With `room_for_header` the header (`moov`) is put in that many bytes before the packets, without
// it behind them.
MuxResult Mux(const Clip& clip, Purpose purpose, const ByteSink& sink,
              std::int64_t room_for_header) {
  AVFormatContext* raw = nullptr;
  if (avformat_alloc_output_context2(&raw, nullptr, "mp4", nullptr) < 0) throw std::bad_alloc();
  const FormatContext file(raw);
  SinkFile sink_file{sink};
  const IoContext io = OpenIo(sink_file);
  file->pb = io.get();
  // Without the buffer, into which the bytes would be copied.
  if (purpose == Purpose::kHeaderSize) io->direct = 1;
  file->flags |= AVFMT_FLAG_CUSTOM_IO;
  // The packets are written when the buffer is full, not each on its own, and need no filter.
  file->flags &= ~(AVFMT_FLAG_FLUSH_PACKETS | AVFMT_FLAG_AUTO_BSF);
  file->flush_packets = 0;

  const StreamSet& streams = *clip.streams;
  MuxResult result{.status = AddStreams(*file, streams, purpose)};
  if (result.status != DumpStatus::kSuccess) return result;
  // The stream's own time base, so that a constant frame rate stays exactly constant.
  av_opt_set_int(file->priv_data, "video_track_timescale", streams.video.frame_rate * 512, 0);
  av_opt_set_int(file->priv_data, "movie_timescale", MovieTimescale(streams), 0);
  av_opt_set_int(file->priv_data, "moov_size", room_for_header, 0);
  av_dict_set(&file->metadata, "creation_time", "now", 0);
  result.status = DumpStatus::kCannotWrite;
  if (avformat_write_header(file.get(), nullptr) < 0) return result;
  const bool written = WritePackets(*file, clip, purpose);
  result.end_of_packets = avio_tell(io.get());
  // Frees what writing the header allocated, so it is called after a failure too.
  const bool finished = av_write_trailer(file.get()) >= 0;
  avio_flush(io.get());
  result.size = sink_file.size;
  if (written && finished && !sink_file.failed) result.status = DumpStatus::kSuccess;
  return result;
}

}  // namespace

DumpStatus WriteMp4(const Clip& clip, const ByteSink& sink) {
  const MuxResult trial = Mux(
      clip, Purpose::kHeaderSize, [](std::int64_t, std::span<const std::uint8_t>) { return true; },
      0);
  if (trial.status != DumpStatus::kSuccess) return trial.status;
  // What is left of the room becomes a box that players skip, which has at least 8 bytes. Pictures
  // can become some bytes larger in the file, and be put together in another way, up to a megabyte
  // each, for which the header has 16 bytes.
  std::int64_t room = trial.size - trial.end_of_packets + 8 + 16 * (trial.size / 1'000'000 + 1);
  // Positions beyond 4 GiB take twice the room, and the header itself may move packets there.
  if (trial.size + room > std::numeric_limits<std::uint32_t>::max()) {
    room += static_cast<std::int64_t>(clip.packets.size() * sizeof(std::uint32_t));
  }
  return Mux(clip, Purpose::kContent, sink, room).status;
}

}  // namespace open_gsdk
