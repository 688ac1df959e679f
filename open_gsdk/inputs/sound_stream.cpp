#include "open_gsdk/inputs/sound_stream.h"

#include <mmreg.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/steady_time.h"

namespace open_gsdk {
namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
// Windows counts in units of 100 ns. What the device keeps for a thread that the machine keeps
// waiting.
constexpr REFERENCE_TIME kBuffer = 10'000'000;
// A device's own time is believed when it is at most this much before the arrival.
constexpr std::int64_t kMostLatencyNs = 300'000'000;

void Check(HRESULT result, const char* what) {
  if (SUCCEEDED(result)) return;
  std::array<char, 16> code{};
  std::snprintf(code.data(), code.size(), "0x%08X", static_cast<unsigned>(result));
  throw Failure(ErrorCode::kInputNotReady, std::string(what) + " failed with " + code.data());
}

using OwnedWaveFormat = std::unique_ptr<WAVEFORMATEX, TaskMemoryFreer>;

std::optional<SampleKind> KindOf(const WAVEFORMATEX& format) {
  WORD tag = format.wFormatTag;
  if (tag == WAVE_FORMAT_EXTENSIBLE && format.cbSize >= 22) {
    // The tag is what the subtypes of all such formats begin with.
    tag = static_cast<WORD>(reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format).SubFormat.Data1);
  }
  if (tag == WAVE_FORMAT_IEEE_FLOAT && format.wBitsPerSample == 32) return SampleKind::kFloat32;
  if (tag != WAVE_FORMAT_PCM) return std::nullopt;
  switch (format.wBitsPerSample) {
    case 16:
      return SampleKind::kInt16;
    case 24:
      return SampleKind::kInt24;
    case 32:
      return SampleKind::kInt32;
    default:
      return std::nullopt;
  }
}

SoundFormat ReadFormat(const WAVEFORMATEX& format) {
  const auto kind = KindOf(format);
  if (!kind || format.nChannels == 0 || format.nSamplesPerSec == 0) {
    throw Failure(ErrorCode::kInputNotReady, "the device has an unknown kind of samples");
  }
  SoundFormat read{.sample_rate = static_cast<int>(format.nSamplesPerSec),
                   .channels = format.nChannels,
                   .kind = *kind};
  if (format.wFormatTag == WAVE_FORMAT_EXTENSIBLE && format.cbSize >= 22) {
    read.channel_mask = reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format).dwChannelMask;
  }
  return read;
}

// The counter's time in units of 100 ns, as sound devices give it, on the steady clock.
std::int64_t SteadyNsOf(std::uint64_t counter_time) {
  LARGE_INTEGER frequency{};
  LARGE_INTEGER counter{};
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&counter);
  const std::int64_t now = counter.QuadPart / frequency.QuadPart * 10'000'000 +
                           counter.QuadPart % frequency.QuadPart * 10'000'000 / frequency.QuadPart;
  return SteadyNowNs() - (now - static_cast<std::int64_t>(counter_time)) * 100;
}

// When the first of the samples was taken: by the device's clock where that can be, else as long
// before their arrival as they last.
std::int64_t ObservedNs(std::int64_t arrival_ns, std::int64_t duration_ns, DWORD flags,
                        std::uint64_t counter_time) {
  const std::int64_t latest_ns = arrival_ns - duration_ns;
  if ((flags & AUDCLNT_BUFFERFLAGS_TIMESTAMP_ERROR) != 0 || counter_time == 0) return latest_ns;
  const std::int64_t said_ns = SteadyNsOf(counter_time);
  return said_ns < latest_ns - kMostLatencyNs ? latest_ns : std::min(said_ns, latest_ns);
}

}  // namespace

SoundStream::SoundStream(IMMDevice& endpoint, AudioDirection direction)
    : ready_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
  if (!ready_) throw Failure(ErrorCode::kInputNotReady, "Windows gives no event");
  Open(endpoint, direction);
}

SoundStream::~SoundStream() { client_->Stop(); }

void SoundStream::Open(IMMDevice& endpoint, AudioDirection direction) {
  void* raw = nullptr;
  Check(endpoint.Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, &raw), "Activate");
  client_.reset(static_cast<IAudioClient*>(raw));
  WAVEFORMATEX* raw_format = nullptr;
  Check(client_->GetMixFormat(&raw_format), "GetMixFormat");
  const OwnedWaveFormat mix(raw_format);
  format_ = ReadFormat(*mix);
  const DWORD flags =
      AUDCLNT_STREAMFLAGS_EVENTCALLBACK |
      (direction == AudioDirection::kOutput ? DWORD{AUDCLNT_STREAMFLAGS_LOOPBACK} : DWORD{0});
  Check(client_->Initialize(AUDCLNT_SHAREMODE_SHARED, flags, kBuffer, 0, mix.get(), nullptr),
        "Initialize");
  Check(client_->SetEventHandle(ready_.get()), "SetEventHandle");
  Check(client_->GetService(__uuidof(IAudioCaptureClient), &raw), "GetService");
  capture_.reset(static_cast<IAudioCaptureClient*>(raw));
  Check(client_->Start(), "Start");
}

bool SoundStream::Read(const RunHandler& handle) {
  SoundRun run;
  std::vector<std::uint8_t> bytes;
  for (;;) {
    UINT32 available = 0;
    if (FAILED(capture_->GetNextPacketSize(&available))) return false;
    if (available == 0) break;
    BYTE* data = nullptr;
    UINT32 frames = 0;
    DWORD flags = 0;
    UINT64 position = 0;
    UINT64 counter_time = 0;
    const HRESULT result = capture_->GetBuffer(&data, &frames, &flags, &position, &counter_time);
    if (FAILED(result)) return false;
    if (result == AUDCLNT_S_BUFFER_EMPTY || frames == 0) break;
    const std::int64_t arrival_ns = SteadyNowNs();
    const bool discontinuity = (flags & AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY) != 0;
    const auto start = static_cast<std::int64_t>(position);
    if (run.frames > 0 && (discontinuity || start != run.position + run.frames)) {
      handle(run, std::exchange(bytes, {}));
      run = {};
    }
    if (run.frames == 0) run = {.position = start, .discontinuity = discontinuity};
    const std::int64_t before_ns = run.frames * kNsPerSecond / format_.sample_rate;
    const std::int64_t duration_ns = frames * kNsPerSecond / format_.sample_rate;
    const std::int64_t observed_ns =
        ObservedNs(arrival_ns, duration_ns, flags, counter_time) - before_ns;
    run.observed_ns = run.frames == 0 ? observed_ns : std::min(run.observed_ns, observed_ns);
    run.frames += frames;
    const std::size_t size = frames * FrameBytes(format_);
    if ((flags & AUDCLNT_BUFFERFLAGS_SILENT) != 0) {
      bytes.resize(bytes.size() + size);
    } else {
      bytes.insert(bytes.end(), data, data + size);
    }
    if (FAILED(capture_->ReleaseBuffer(frames))) return false;
  }
  // Wine goes on waking the reader of a device that is gone.
  if (run.frames == 0) return IsAlive();
  handle(run, std::move(bytes));
  return true;
}

bool SoundStream::IsAlive() {
  UINT32 padding = 0;
  return SUCCEEDED(client_->GetCurrentPadding(&padding));
}

}  // namespace open_gsdk
