#include "open_gsdk/inputs/sound_source.h"

#include <array>
#include <utility>

#include "open_gsdk/inputs/sound_thread.h"
#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/library_log.h"
#include "open_gsdk/support/steady_time.h"

namespace open_gsdk {
namespace {

// How often a device that is not there is looked for without being told that devices changed: Wine
// does not tell, and Windows tells before the device can be opened.
constexpr DWORD kRetryMs = 1000;
// How soon a device that gives nothing is asked whether it is still there. Wine's just stop.
constexpr DWORD kCheckMs = 500;
// What a device gives first may come late and is only used to learn its times, so that they need no
// correction that can be heard.
constexpr std::int64_t kSettlingNs = 200'000'000;

}  // namespace

SoundSource::SoundSource(AudioDirection direction, std::string id, std::string label,
                         Handlers handlers)
    : direction_(direction),
      id_(std::move(id)),
      label_(std::move(label)),
      handlers_(std::move(handlers)),
      stop_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
  if (!stop_) throw Failure(ErrorCode::kSystem, "Windows gives no event");
}

void SoundSource::Run() {
  const ComApartment apartment;
  const SoundThreadPriority priority;
  const auto enumerator = OpenDeviceEnumerator();
  if (!enumerator) {
    Log(LogLevel::kWarning, label_ + " is silent: there is no sound system");
    return;
  }
  const DeviceEvents events(*enumerator);
  bool lost = false;
  do {
    if (auto device = Open(*enumerator)) {
      if (lost) handlers_.on_lost(false);
      lost = Listen(std::move(*device), *enumerator, events.changed());
      if (lost) handlers_.on_lost(true);
    }
  } while (!WaitForStop(events.changed()));
}

std::optional<SoundSource::Device> SoundSource::Open(IMMDeviceEnumerator& enumerator) {
  try {
    const auto endpoint = FindEndpoint(enumerator, direction_, id_);
    if (!endpoint) throw Failure(ErrorCode::kInputNotReady, "there is no such device");
    auto stream = std::make_unique<SoundStream>(*endpoint, direction_);
    const SoundFormat& format = stream->format();
    Log(LogLevel::kInfo, label_ + " records \"" + EndpointName(*endpoint) + "\" (" +
                             std::to_string(format.sample_rate) +
                             " Hz, channels: " + std::to_string(format.channels) + ")");
    trouble_.clear();
    const int sample_rate = format.sample_rate;
    return Device{std::move(stream), EndpointId(*endpoint), DeviceClock(sample_rate),
                  SteadyNowNs() + kSettlingNs};
  } catch (const Failure& failure) {
    if (trouble_ != failure.what()) {
      trouble_ = failure.what();
      Log(LogLevel::kWarning,
          label_ + " is silent: device \"" + id_ + "\" cannot be opened: " + trouble_);
    }
    return std::nullopt;
  }
}

// Returns true when the device is lost, false when the source is stopped. A new default device
// takes the place of the old one when its times are good.
bool SoundSource::Listen(Device device, IMMDeviceEnumerator& enumerator, HANDLE changed) {
  std::optional<Device> next;
  for (;;) {
    const std::array<HANDLE, 4> handles = {stop_.get(), changed, device.stream->ready(),
                                           next ? next->stream->ready() : nullptr};
    const DWORD woken =
        WaitForMultipleObjects(next ? 4 : 3, handles.data(), FALSE, kCheckMs) - WAIT_OBJECT_0;
    if (woken == 0) return false;
    if (woken == 1) FollowDefault(device, next, enumerator);
    if (woken == 3) Read(*next);
    bool alive = woken == 2 ? Read(device) : device.stream->IsAlive();
    if (next && SteadyNowNs() >= next->settled_ns) {
      device = std::move(*next);
      next.reset();
      alive = device.stream->IsAlive();
    }
    if (!alive) {
      Log(LogLevel::kWarning, label_ + " has lost its device");
      return true;
    }
  }
}

// Opens the system's default device as `next`, unless that is open already.
void SoundSource::FollowDefault(const Device& device, std::optional<Device>& next,
                                IMMDeviceEnumerator& enumerator) {
  if (id_ != kDefaultDevice) return;
  const auto endpoint = FindEndpoint(enumerator, direction_, id_);
  if (!endpoint) return;
  const std::string id = EndpointId(*endpoint);
  if (id == (next ? next->id : device.id)) return;
  next.reset();
  if (id != device.id) next = Open(enumerator);
}

bool SoundSource::Read(Device& device) const {
  return device.stream->Read([&](const SoundRun& run, std::vector<std::uint8_t> bytes) {
    const DeviceClock::Dating dating = device.clock.Date(run);
    if (SteadyNowNs() < device.settled_ns) return;
    const bool fresh = std::exchange(device.fresh, false);
    handlers_.on_block({.format = device.stream->format(),
                        .time_ns = dating.time_ns,
                        .frames = run.frames,
                        .jump = dating.jump || fresh,
                        // What a device gives first follows nothing.
                        .lost = run.discontinuity && !fresh,
                        .bytes = std::move(bytes)});
  });
}

// Waits until it is time to look for the device again; true when the source is to stop instead.
bool SoundSource::WaitForStop(HANDLE changed) const {
  const std::array<HANDLE, 2> handles = {stop_.get(), changed};
  return WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                                kRetryMs) == WAIT_OBJECT_0;
}

}  // namespace open_gsdk
