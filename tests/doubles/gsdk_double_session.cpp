#include "tests/doubles/gsdk_double_session.h"

#include <windows.h>

#include <chrono>
#include <optional>
#include <utility>

#include "tests/doubles/gsdk_double_log.h"
#include "tests/doubles/gsdk_double_objects.h"
#include "tests/doubles/gsdk_double_script.h"

namespace gsdk_double {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr milliseconds kPollInterval{2};

constinit std::atomic<gsdk_log_callback> log_callback = nullptr;

// Set once the library stays loaded until the process ends.
constinit std::atomic<bool> pinned = false;

// Keeps the library loaded as long as a thread of it, or a thread inside it, runs.
class ModuleReference {
 public:
  ModuleReference() {
    if (pinned) return;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<const wchar_t*>(&NewSession), &module_);
  }
  ~ModuleReference() {
    if (module_ != nullptr) FreeLibrary(module_);
  }
  ModuleReference(const ModuleReference&) = delete;
  ModuleReference& operator=(const ModuleReference&) = delete;

 private:
  HMODULE module_ = nullptr;
};

// Of the session that was started last, for the steps of the unloading.
struct Callbacks {
  gsdk_error_callback error = nullptr;
  void* error_user_data = nullptr;
  gsdk_packet_callback packet = nullptr;
  void* packet_user_data = nullptr;
};
constinit Callbacks last_callbacks;

Callbacks CallbacksOf(const gsdk_properties& properties) {
  return {.error = properties.error_callback,
          .error_user_data = properties.error_user_data,
          .packet = properties.packet_callback,
          .packet_user_data = properties.packet_user_data};
}

void PinModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<const wchar_t*>(&NewSession), &module);
  pinned = true;
}

// Keeps the system's loader busy, as a thread does that is loading a large library: meanwhile no
// library is loaded or unloaded, no thread begins or ends, and the process doesn't end either.
void HoldLoaderLock(milliseconds length) {
  using Lock = LONG(NTAPI*)(ULONG flags, ULONG * state, ULONG_PTR * cookie);
  using Unlock = LONG(NTAPI*)(ULONG flags, ULONG_PTR cookie);
  const HMODULE system = GetModuleHandleW(L"ntdll.dll");
  // The way over a pointer without a type keeps compilers from comparing the two types.
  const auto find = [system](const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(system, name));
  };
  ULONG_PTR cookie = 0;
  reinterpret_cast<Lock>(find("LdrLockLoaderLock"))(0, nullptr, &cookie);
  WriteLine({{"loader_lock", true}});
  std::this_thread::sleep_for(length);
  reinterpret_cast<Unlock>(find("LdrUnlockLoaderLock"))(0, cookie);
}

// Runs the steps of one thread of a session, or of the unloading.
class StepRunner {
 public:
  StepRunner(const Callbacks& callbacks, std::shared_ptr<std::atomic<bool>> stop)
      : callbacks_(callbacks), stop_(std::move(stop)) {}

  void Run(const json11::Json::array& steps) {
    for (const json11::Json& step : steps) {
      if (*stop_) return;
      RunStep(step);
    }
  }

 private:
  void RunStep(const json11::Json& step) {
    if (step["sleep_ms"].is_number()) {
      SleepFor(milliseconds(step["sleep_ms"].int_value()));
    } else if (step["wait_file"].is_string()) {
      while (!*stop_ && !ScriptFileExists(step["wait_file"].string_value())) {
        SleepFor(kPollInterval);
      }
    } else if (step["packets"].is_number()) {
      SendPackets(step);
    } else if (step["error"].is_number()) {
      SendErrors(step);
    } else if (step.object_items().contains("log")) {
      SendLog(step);
    } else if (step["loader_lock_ms"].is_number()) {
      HoldLoaderLock(milliseconds(step["loader_lock_ms"].int_value()));
    } else if (step["account"].bool_value()) {
      WriteAccount();
    } else {
      WriteLine({{"script_error", "unknown step " + step.dump()}});
    }
  }

  void SleepFor(microseconds length) const {
    const auto deadline = std::chrono::steady_clock::now() + length;
    while (!*stop_) {
      const auto left = deadline - std::chrono::steady_clock::now();
      if (left <= std::chrono::nanoseconds::zero()) return;
      std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(left, milliseconds(20)));
    }
  }

  void SendPackets(const json11::Json& step) {
    const std::int64_t count = ReadInt64(step["packets"]);
    const microseconds interval(step["interval_us"].int_value());
    if (packet_ == nullptr) packet_ = NewPacketOfThread();
    for (std::int64_t sent = 0; (count < 0 || sent < count) && !*stop_; ++sent) {
      packet_->logged = packets_++ < LoggedPackets();
      RenewPacket(packet_);
      if (packet_->logged) WriteLine({{"callback", "packet"}, {"state", "enter"}});
      callbacks_.packet(callbacks_.packet_user_data, packet_);
      if (packet_->logged) WriteLine({{"callback", "packet"}, {"state", "leave"}});
      if (packet_->alive) LogMisuse("packet callback leak", NameOf(packet_));
      if (interval.count() > 0) SleepFor(interval);
    }
  }

  void SendErrors(const json11::Json& step) {
    const int count = step["count"].is_number() ? step["count"].int_value() : 1;
    const microseconds interval(step["interval_us"].int_value());
    for (int sent = 0; (count < 0 || sent < count) && !*stop_; ++sent) {
      SendError(step);
      if (interval.count() > 0) SleepFor(interval);
    }
  }

  void SendError(const json11::Json& step) const {
    gsdk_error* error = nullptr;
    if (!step["error_object"].is_bool() || step["error_object"].bool_value()) {
      const json11::Json& message = step["message"];
      error = NewError(step["error"].int_value(),
                       message.is_string() ? std::optional(message.string_value()) : std::nullopt);
    }
    WriteLine({{"callback", "error"}, {"state", "enter"}, {"error", NameOf(error)}});
    callbacks_.error(callbacks_.error_user_data, error);
    WriteLine({{"callback", "error"}, {"state", "leave"}});
  }

  void SendLog(const json11::Json& step) {
    const int count = step["count"].is_number() ? step["count"].int_value() : 1;
    const microseconds interval(step["interval_us"].int_value());
    const bool numbered = step["numbered"].bool_value();
    for (int sent = 0; (count < 0 || sent < count) && !*stop_; ++sent) {
      CallLogCallback(
          step["level"].int_value(),
          numbered ? step["log"].string_value() + " " + std::to_string(sent + 1) : step["log"]);
      if (interval.count() > 0) SleepFor(interval);
    }
  }

  Callbacks callbacks_;
  std::shared_ptr<std::atomic<bool>> stop_;
  gsdk_encoded_packet* packet_ = nullptr;
  std::uint64_t packets_ = 0;
};

}  // namespace

void SetLogCallback(gsdk_log_callback callback) { log_callback = callback; }

void CallLogCallback(std::int32_t level, const json11::Json& text) {
  const gsdk_log_callback callback = log_callback;
  if (callback == nullptr) return;
  callback(level, text.is_string() ? text.string_value().c_str() : nullptr);
}

void Delay(const json11::Json& entry) {
  for (const json11::Json& line : entry["log"].array_items()) CallLogCallback(1, line);
  const microseconds random = NextRandomDelay();
  const bool hang = entry["hang"].bool_value();
  const std::string file = entry["wait_file"].string_value();
  if (!hang && file.empty() && !entry["sleep_ms"].is_number() && random.count() == 0) return;
  const ModuleReference reference;
  std::this_thread::sleep_for(random);
  while (hang || (!file.empty() && !ScriptFileExists(file))) {
    std::this_thread::sleep_for(kPollInterval);
  }
  std::this_thread::sleep_for(milliseconds(entry["sleep_ms"].int_value()));
}

void RunUnloadSteps() {
  StepRunner(last_callbacks, std::make_shared<std::atomic<bool>>(false))
      .Run(UnloadSteps().array_items());
}

SessionThreads::SessionThreads(const json11::Json& plan, const gsdk_properties& properties) {
  last_callbacks = CallbacksOf(properties);
  for (const json11::Json& thread : plan["threads"].array_items()) {
    const bool survives = thread["survives_destroy"].bool_value();
    if (survives) PinModule();
    auto stop = survives ? std::make_shared<std::atomic<bool>>(false) : stop_;
    std::thread started([runner = StepRunner(last_callbacks, std::move(stop)), thread]() mutable {
      const ModuleReference reference;
      const LibraryThreadName name;
      runner.Run(thread["steps"].array_items());
    });
    if (survives) {
      started.detach();
    } else {
      threads_.push_back(std::move(started));
    }
  }
}

SessionThreads::~SessionThreads() {
  *stop_ = true;
  for (std::thread& thread : threads_) thread.join();
}

}  // namespace gsdk_double
