#include "open_gsdk/inputs/device_events.h"

#include <atomic>

#include "open_gsdk/support/failure.h"

namespace open_gsdk {

// Called on threads of the system, which may hold on to it for a while after it was unregistered:
// so it has a handle of its own.
class DeviceEvents::Listener final : public IMMNotificationClient {
 public:
  explicit Listener(platform::OwnedHandle changed) : changed_(std::move(changed)) {}
  virtual ~Listener() = default;
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (id != __uuidof(IUnknown) && id != __uuidof(IMMNotificationClient)) {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<IMMNotificationClient*>(this);
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR /*id*/, DWORD /*state*/) override {
    return Tell();
  }
  HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR /*id*/) override { return Tell(); }
  HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR /*id*/) override { return Tell(); }
  HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(EDataFlow /*flow*/, ERole /*role*/,
                                                   LPCWSTR /*id*/) override {
    return Tell();
  }
  // Volumes and names: nothing that changes what can be recorded.
  HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR /*id*/,
                                                   const PROPERTYKEY /*key*/) override {
    return S_OK;
  }

 private:
  HRESULT Tell() {
    SetEvent(changed_.get());
    return S_OK;
  }

  std::atomic<ULONG> references_{1};
  platform::OwnedHandle changed_;
};

namespace {

platform::OwnedHandle Duplicate(HANDLE event) {
  HANDLE copy = nullptr;
  if (!DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &copy, 0, FALSE,
                       DUPLICATE_SAME_ACCESS)) {
    throw Failure(ErrorCode::kSystem, "Windows gives no handle for device events");
  }
  return platform::OwnedHandle(copy);
}

}  // namespace

DeviceEvents::DeviceEvents(IMMDeviceEnumerator& enumerator)
    : changed_(CreateEventW(nullptr, FALSE, FALSE, nullptr)), enumerator_(enumerator) {
  if (!changed_) throw Failure(ErrorCode::kSystem, "Windows gives no event for device events");
  ComObject<IMMNotificationClient> listener(new Listener(Duplicate(changed_.get())));
  if (SUCCEEDED(enumerator_.RegisterEndpointNotificationCallback(listener.get()))) {
    listener_ = std::move(listener);
  }
}

DeviceEvents::~DeviceEvents() {
  if (listener_) enumerator_.UnregisterEndpointNotificationCallback(listener_.get());
}

}  // namespace open_gsdk
