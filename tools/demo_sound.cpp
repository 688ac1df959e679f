#include "tools/demo_sound.h"

#include <windows.h>

#include <array>
#include <cmath>
#include <numbers>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/owned_handle.h"
#include "tools/beep_listener.h"
#include "tools/sound_device.h"

namespace demo_game {
namespace {

constexpr double kAmplitude = 0.5;
// Half a second, in units of 100 ns: a busy machine keeps a thread waiting, and the sound goes on.
constexpr REFERENCE_TIME kBuffer = 5'000'000;

}  // namespace

SoundChoice ReadSoundChoice(const std::string& text) {
  if (text == "none") return {};
  if (text == "beep") return {.kind = SoundKind::kBeep};
  constexpr std::string_view kTone = "tone:";
  SoundChoice choice{.kind = SoundKind::kTone};
  if (text.starts_with(kTone)) {
    std::istringstream number(text.substr(kTone.size()));
    number >> choice.hertz;
    const bool whole = number && number.get() == std::istringstream::traits_type::eof();
    if (whole && choice.hertz >= 20 && choice.hertz <= 20'000) return choice;
  }
  throw std::runtime_error("\"" + text + "\" is not beep, none, or tone:HZ with 20 to 20000 Hz.");
}

class Sound::Player {
 public:
  explicit Player(SoundChoice choice)
      : choice_(std::move(choice)),
        stop_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
        ready_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
        device_(FindPlayingDevice(choice_.device)),
        sound_(OpenSoundClient(*device_, 0, kBuffer, ready_.get())),
        render_(SoundService<IAudioRenderClient>(*sound_.client)) {
    CheckSound(sound_.client->GetBufferSize(&buffer_frames_), "GetBufferSize");
    if (choice_.kind == SoundKind::kBeep) listener_.emplace(*device_);
    Fill();
    CheckSound(sound_.client->Start(), "Start");
    thread_ = std::thread([this] { Run(); });
  }

  ~Player() {
    SetEvent(stop_.get());
    thread_.join();
    sound_.client->Stop();
  }
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  [[nodiscard]] bool BeepIsHeard() const { return listener_ && listener_->BeepIsHeard(); }

 private:
  void Run() {
    const ComApartment apartment;
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_HIGHEST);
    const std::array<HANDLE, 2> handles = {stop_.get(), ready_.get()};
    while (WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                                  INFINITE) == WAIT_OBJECT_0 + 1) {
      Fill();
    }
  }

  // Gives the device as much as it takes; nothing, when it is gone.
  void Fill() {
    UINT32 waiting = 0;
    if (FAILED(sound_.client->GetCurrentPadding(&waiting)) || waiting >= buffer_frames_) return;
    const UINT32 frames = buffer_frames_ - waiting;
    BYTE* bytes = nullptr;
    if (FAILED(render_->GetBuffer(frames, &bytes))) return;
    auto* samples = reinterpret_cast<float*>(bytes);
    for (UINT32 frame = 0; frame < frames; ++frame, ++written_) {
      const float sample = SampleAt(written_);
      for (unsigned channel = 0; channel < sound_.channels; ++channel) *samples++ = sample;
    }
    render_->ReleaseBuffer(frames, 0);
  }

  [[nodiscard]] float SampleAt(std::uint64_t frame) const {
    const double seconds = static_cast<double>(frame) / sound_.rate;
    const bool pauses = choice_.kind == SoundKind::kBeep;
    if (pauses && std::fmod(seconds, kBeepInterval) >= kBeepSeconds) return 0;
    return static_cast<float>(kAmplitude *
                              std::sin(2 * std::numbers::pi * choice_.hertz * seconds));
  }

  // Of the thread that makes the player and destroys it; for as long as anything of it is there.
  const ComApartment apartment_;
  const SoundChoice choice_;
  platform::OwnedHandle stop_;
  platform::OwnedHandle ready_;
  const ComObject<IMMDevice> device_;
  const SoundClient sound_;
  const ComObject<IAudioRenderClient> render_;
  UINT32 buffer_frames_ = 0;
  std::optional<BeepListener> listener_;  // of a player of beeps
  std::uint64_t written_ = 0;
  std::thread thread_;
};

Sound::Sound(const SoundChoice& choice) {
  if (choice.kind == SoundKind::kNone) return;
  player_ = std::make_unique<Player>(choice);
  beeps_ = choice.kind == SoundKind::kBeep;
}

Sound::~Sound() = default;

bool Sound::BeepIsHeard() const { return beeps_ && player_->BeepIsHeard(); }

}  // namespace demo_game
