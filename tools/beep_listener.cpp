#include "tools/beep_listener.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace demo_game {
namespace {

constexpr REFERENCE_TIME kBuffer = 10'000'000;  // 1 s, in units of 100 ns
constexpr float kLoud = 0.1F;
// A beep that falters is one beep.
constexpr double kQuietSeconds = 0.5;
constexpr double kForgottenSeconds = 3;
// How much faster or slower than the system's counter a device's clock may be.
constexpr double kDrift = 0.0003;

double NowSeconds() {
  LARGE_INTEGER frequency{};
  LARGE_INTEGER counter{};
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&counter);
  return static_cast<double>(counter.QuadPart) / static_cast<double>(frequency.QuadPart);
}

}  // namespace

BeepListener::BeepListener(IMMDevice& device)
    : stop_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      ready_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      sound_(OpenSoundClient(device, AUDCLNT_STREAMFLAGS_LOOPBACK, kBuffer, ready_.get())),
      capture_(SoundService<IAudioCaptureClient>(*sound_.client)) {
  CheckSound(sound_.client->Start(), "Start");
  thread_ = std::thread([this] { Run(); });
}

BeepListener::~BeepListener() {
  SetEvent(stop_.get());
  thread_.join();
  sound_.client->Stop();
}

bool BeepListener::BeepIsHeard() const {
  const double beep_time = beep_time_;
  const double since = NowSeconds() - beep_time;
  return beep_time != 0 && since >= 0 && since < kForgottenSeconds &&
         std::fmod(since, kBeepInterval) < kBeepSeconds;
}

void BeepListener::Run() {
  const ComApartment apartment;
  SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_HIGHEST);
  const std::array<HANDLE, 2> handles = {stop_.get(), ready_.get()};
  while (WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                                INFINITE) == WAIT_OBJECT_0 + 1) {
    Read();
  }
}

// Takes all that the device has; nothing, when it is gone.
void BeepListener::Read() {
  BYTE* data = nullptr;
  UINT32 frames = 0;
  DWORD flags = 0;
  UINT64 position = 0;
  while (capture_->GetBuffer(&data, &frames, &flags, &position, nullptr) == S_OK && frames > 0) {
    // The last of the samples was heard right now, or a while ago.
    const double lasted = frames / sound_.rate;
    const double seen = NowSeconds() - lasted - static_cast<double>(position) / sound_.rate;
    const bool anew = !listening_ || (flags & AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY) != 0;
    offset_ = anew ? seen : std::min(seen, offset_ + lasted * kDrift);
    listening_ = true;
    if ((flags & AUDCLNT_BUFFERFLAGS_SILENT) == 0) {
      Hear(reinterpret_cast<const float*>(data), frames, position);
    }
    if (heard_any_) beep_time_ = offset_ + static_cast<double>(beep_position_) / sound_.rate;
    if (FAILED(capture_->ReleaseBuffer(frames))) return;
  }
}

void BeepListener::Hear(const float* samples, UINT32 frames, std::uint64_t position) {
  const auto quiet = static_cast<std::uint64_t>(kQuietSeconds * sound_.rate);
  for (UINT32 frame = 0; frame < frames; ++frame) {
    if (std::abs(samples[std::size_t{frame} * sound_.channels]) < kLoud) continue;
    const std::uint64_t at = position + frame;
    if (!heard_any_ || at - loud_position_ > quiet) beep_position_ = at;
    heard_any_ = true;
    loud_position_ = at;
  }
}

}  // namespace demo_game
