// The priority of threads that read sound devices.
#pragma once

#include <windows.h>

namespace open_gsdk {

// While it lives, the calling thread, which made it, runs before ordinary ones: as the system's
// multimedia scheduler has it for sound or, where there is none, at the highest priority.
class SoundThreadPriority {
 public:
  SoundThreadPriority();
  ~SoundThreadPriority();
  SoundThreadPriority(const SoundThreadPriority&) = delete;
  SoundThreadPriority& operator=(const SoundThreadPriority&) = delete;

 private:
  HANDLE task_ = nullptr;  // the scheduler's
};

}  // namespace open_gsdk
