// What the demo game plays: a short beep every second, a steady tone, or nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace demo_game {

enum class SoundKind { kNone, kBeep, kTone };

struct SoundChoice {
  SoundKind kind = SoundKind::kNone;
  double hertz = 1000;      // of beep and tone
  std::string device = {};  // UTF-8, the system's endpoint identifier; empty: the default device
};

// "beep", "none" or "tone:HZ". Throws std::runtime_error for any other text.
SoundChoice ReadSoundChoice(const std::string& text);

// Plays on a thread of its own from its construction to its destruction.
class Sound {
 public:
  // Throws std::runtime_error when the device cannot play. Destroyed on the thread that made it.
  explicit Sound(const SoundChoice& choice);
  ~Sound();
  Sound(const Sound&) = delete;
  Sound& operator=(const Sound&) = delete;

  [[nodiscard]] bool beeps() const { return beeps_; }

  // Whether a beep is heard right now on the device. False also when the device is gone, and for
  // the first beep.
  [[nodiscard]] bool BeepIsHeard() const;

 private:
  class Player;
  std::unique_ptr<Player> player_;  // null when there is no sound
  bool beeps_ = false;
};

}  // namespace demo_game
