#include "open_gsdk/inputs/sound_thread.h"

namespace open_gsdk {
namespace {

using SetCharacteristics = HANDLE(WINAPI*)(LPCWSTR, LPDWORD);
using RevertCharacteristics = BOOL(WINAPI*)(HANDLE);

// The scheduler's library, which not every edition of Windows has. It stays loaded.
struct Scheduler {
  SetCharacteristics set = nullptr;
  RevertCharacteristics revert = nullptr;
};

template <typename Function>
Function Bind(HMODULE library, const char* name) {
  // A function pointer of another type is not what the linter takes it for.
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

const Scheduler& LoadScheduler() {
  static const Scheduler scheduler = [] {
    const HMODULE library = LoadLibraryExW(L"avrt.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (library == nullptr) return Scheduler{};
    return Scheduler{Bind<SetCharacteristics>(library, "AvSetMmThreadCharacteristicsW"),
                     Bind<RevertCharacteristics>(library, "AvRevertMmThreadCharacteristics")};
  }();
  return scheduler;
}

}  // namespace

SoundThreadPriority::SoundThreadPriority() {
  const Scheduler& scheduler = LoadScheduler();
  DWORD index = 0;
  if (scheduler.set != nullptr && scheduler.revert != nullptr) {
    task_ = scheduler.set(L"Pro Audio", &index);
  }
  if (task_ == nullptr) SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_HIGHEST);
}

SoundThreadPriority::~SoundThreadPriority() {
  const RevertCharacteristics revert = LoadScheduler().revert;
  if (task_ != nullptr && revert != nullptr) {
    revert(task_);
  } else {
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_NORMAL);
  }
}

}  // namespace open_gsdk
