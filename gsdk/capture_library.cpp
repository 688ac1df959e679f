#include "gsdk/capture_library.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace capture_service {
namespace {

struct InstalledLibrary {
  std::atomic<CaptureLibrary*> table = nullptr;
  std::mutex mutex;  // guards table->module
};

InstalledLibrary& Installed() {
  static auto& installed = *new InstalledLibrary;
  return installed;
}

// Lets the library go when the process's static objects are destroyed.
struct ModuleReleaser {
  ModuleReleaser() = default;
  ModuleReleaser(const ModuleReleaser&) = delete;
  ModuleReleaser& operator=(const ModuleReleaser&) = delete;
  ~ModuleReleaser() {
    InstalledLibrary& installed = Installed();
    CaptureLibrary* const table = installed.table;
    if (table == nullptr) return;
    // Unloaded after the lock is gone: the library's own code runs then.
    std::shared_ptr<void> module;
    const std::lock_guard lock(installed.mutex);
    module.swap(table->module);
  }
};

const ModuleReleaser module_releaser;

}  // namespace

void InstallCaptureLibrary(std::unique_ptr<CaptureLibrary> library) {
  delete Installed().table.exchange(library.release());
}

const CaptureLibrary& Library() { return *Installed().table; }

std::shared_ptr<void> KeepLibraryLoaded() {
  InstalledLibrary& installed = Installed();
  const std::lock_guard lock(installed.mutex);
  return installed.table.load()->module;
}

gsdk_error** LibraryError::Out() {
  Free();
  return &error_;
}

std::int32_t LibraryError::Code() const {
  return error_ != nullptr ? Library().gsdk_err_code(error_) : 0;
}

std::string LibraryError::Message() const {
  const char* const message = error_ != nullptr ? Library().gsdk_err_message(error_) : nullptr;
  return message != nullptr ? message : "";
}

void LibraryError::Free() {
  if (gsdk_error* const error = std::exchange(error_, nullptr)) Library().gsdk_err_free(error);
}

}  // namespace capture_service
