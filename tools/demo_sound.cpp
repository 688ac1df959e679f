#include <initguid.h>
// The identifiers that initguid.h defines come with the headers below it.
#include <windows.h>

#include <audioclient.h>
#include <mmdeviceapi.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <numbers>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/owned_handle.h"
#include "platform/text_encoding.h"
#include "tools/demo_sound.h"

namespace demo_game {
namespace {

constexpr double kAmplitude = 0.5;
constexpr double kBeepSeconds = 0.1;
constexpr double kBeepInterval = 1;
// In units of 100 ns. Wine's clock of a device does not count what waits in the sound server, which
// is the more the longer the buffer is.
constexpr REFERENCE_TIME kBuffer = 300'000;
constexpr double kHundredNsPerSecond = 1e7;

struct Releaser {
  void operator()(IUnknown* object) const { object->Release(); }
};
template <typename Interface>
using ComObject = std::unique_ptr<Interface, Releaser>;

struct TaskMemoryFreer {
  void operator()(void* memory) const { CoTaskMemFree(memory); }
};

void Check(HRESULT result, const char* what) {
  if (SUCCEEDED(result)) return;
  std::array<char, 128> text{};
  std::snprintf(text.data(), text.size(), "Cannot play sound: %s failed with 0x%08X.", what,
                static_cast<unsigned>(result));
  throw std::runtime_error(text.data());
}

// COM for the calling thread.
struct ComApartment {
  ComApartment() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
  ~ComApartment() { CoUninitialize(); }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;
};

ComObject<IMMDevice> FindDevice(const std::string& id) {
  void* raw = nullptr;
  Check(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL,
                         __uuidof(IMMDeviceEnumerator), &raw),
        "opening the sound system");
  const ComObject<IMMDeviceEnumerator> devices(static_cast<IMMDeviceEnumerator*>(raw));
  IMMDevice* device = nullptr;
  Check(id.empty() ? devices->GetDefaultAudioEndpoint(eRender, eConsole, &device)
                   : devices->GetDevice(platform::WideFromUtf8(id).c_str(), &device),
        "finding the device");
  return ComObject<IMMDevice>(device);
}

template <typename Interface>
ComObject<Interface> Service(IAudioClient& client) {
  void* raw = nullptr;
  Check(client.GetService(__uuidof(Interface), &raw), "GetService");
  return ComObject<Interface>(static_cast<Interface*>(raw));
}

bool IsFloat(const WAVEFORMATEX& format) {
  if (format.wBitsPerSample != 32) return false;
  if (format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT) return true;
  return format.wFormatTag == WAVE_FORMAT_EXTENSIBLE &&
         reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format).SubFormat.Data1 ==
             WAVE_FORMAT_IEEE_FLOAT;
}

bool IsInBeep(double seconds) {
  return seconds >= 0 && std::fmod(seconds, kBeepInterval) < kBeepSeconds;
}

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
        ready_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    Open();
    thread_ = std::thread([this] { Run(); });
  }

  ~Player() {
    SetEvent(stop_.get());
    thread_.join();
    client_->Stop();
  }
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  // How much the device has played until now.
  [[nodiscard]] double PlayedSeconds() const {
    UINT64 frequency = 0;
    UINT64 position = 0;
    UINT64 at = 0;
    if (FAILED(clock_->GetFrequency(&frequency)) || FAILED(clock_->GetPosition(&position, &at)) ||
        position == 0) {
      return -1;
    }
    LARGE_INTEGER ticks{};
    LARGE_INTEGER now{};
    QueryPerformanceFrequency(&ticks);
    QueryPerformanceCounter(&now);
    const double since = static_cast<double>(now.QuadPart) / static_cast<double>(ticks.QuadPart) -
                         static_cast<double>(at) / kHundredNsPerSecond;
    return static_cast<double>(position) / static_cast<double>(frequency) + since;
  }

 private:
  void Open() {
    const auto device = FindDevice(choice_.device);
    void* raw = nullptr;
    Check(device->Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, &raw), "Activate");
    client_.reset(static_cast<IAudioClient*>(raw));
    WAVEFORMATEX* raw_format = nullptr;
    Check(client_->GetMixFormat(&raw_format), "GetMixFormat");
    const std::unique_ptr<WAVEFORMATEX, TaskMemoryFreer> format(raw_format);
    // Windows mixes in this format only.
    if (!IsFloat(*format)) {
      throw std::runtime_error("Cannot play sound: the device mixes no floats.");
    }
    channels_ = format->nChannels;
    rate_ = format->nSamplesPerSec;
    Check(client_->Initialize(AUDCLNT_SHAREMODE_SHARED, AUDCLNT_STREAMFLAGS_EVENTCALLBACK, kBuffer,
                              0, format.get(), nullptr),
          "Initialize");
    Check(client_->SetEventHandle(ready_.get()), "SetEventHandle");
    Check(client_->GetBufferSize(&buffer_frames_), "GetBufferSize");
    render_ = Service<IAudioRenderClient>(*client_);
    clock_ = Service<IAudioClock>(*client_);
    Fill();
    Check(client_->Start(), "Start");
  }

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
    if (FAILED(client_->GetCurrentPadding(&waiting)) || waiting >= buffer_frames_) return;
    const UINT32 frames = buffer_frames_ - waiting;
    BYTE* bytes = nullptr;
    if (FAILED(render_->GetBuffer(frames, &bytes))) return;
    auto* samples = reinterpret_cast<float*>(bytes);
    for (UINT32 frame = 0; frame < frames; ++frame, ++written_) {
      const float sample = SampleAt(written_);
      for (unsigned channel = 0; channel < channels_; ++channel) *samples++ = sample;
    }
    render_->ReleaseBuffer(frames, 0);
  }

  [[nodiscard]] float SampleAt(std::uint64_t frame) const {
    const double seconds = static_cast<double>(frame) / rate_;
    if (choice_.kind == SoundKind::kBeep && !IsInBeep(seconds)) return 0;
    return static_cast<float>(kAmplitude *
                              std::sin(2 * std::numbers::pi * choice_.hertz * seconds));
  }

  // Of the thread that makes the player and destroys it; for as long as anything of it is there.
  const ComApartment apartment_;
  const SoundChoice choice_;
  platform::OwnedHandle stop_;
  platform::OwnedHandle ready_;
  ComObject<IAudioClient> client_;
  ComObject<IAudioRenderClient> render_;
  ComObject<IAudioClock> clock_;
  unsigned channels_ = 0;
  double rate_ = 0;
  UINT32 buffer_frames_ = 0;
  std::uint64_t written_ = 0;
  std::thread thread_;
};

Sound::Sound(const SoundChoice& choice) {
  if (choice.kind == SoundKind::kNone) return;
  player_ = std::make_unique<Player>(choice);
  beeps_ = choice.kind == SoundKind::kBeep;
}

Sound::~Sound() = default;

bool Sound::BeepIsHeard() const { return beeps_ && IsInBeep(player_->PlayedSeconds()); }

}  // namespace demo_game
