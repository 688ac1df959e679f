#include "open_gsdk/inputs/compositor_capture.h"

#include <dwmapi.h>

#include <algorithm>
#include <utility>

namespace open_gsdk {
namespace {

using Microsoft::WRL::ComPtr;

// One that the compositor draws into while the other is copied.
constexpr std::int32_t kPoolBuffers = 2;

// The object as another of its interfaces; null when it has no such.
template <typename Interface>
ComPtr<Interface> As(IUnknown* object) {
  ComPtr<Interface> other;
  if (object != nullptr) {
    object->QueryInterface(Interface::kId, reinterpret_cast<void**>(other.GetAddressOf()));
  }
  return other;
}

template <typename Interface>
HRESULT Activate(const CaptureSystem& system, const wchar_t* class_name,
                 ComPtr<Interface>& factory) {
  return system.activate(class_name, Interface::kId,
                         reinterpret_cast<void**>(factory.ReleaseAndGetAddressOf()));
}

void Close(IUnknown* object) {
  if (const auto closable = As<ICaptureClosable>(object)) closable->Close();
}

// Remembers that the captured window or monitor is gone.
class ClosedHandler final : public ICaptureItemHandler {
 public:
  explicit ClosedHandler(std::shared_ptr<std::atomic<bool>> closed) : closed_(std::move(closed)) {}
  virtual ~ClosedHandler() = default;
  ClosedHandler(const ClosedHandler&) = delete;
  ClosedHandler& operator=(const ClosedHandler&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    // Agile: it may be called on any thread.
    if (id != ICaptureItemHandler::kId && id != IID_IUnknown && id != IID_IAgileObject) {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    *object = static_cast<ICaptureItemHandler*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE Invoke(ICaptureItem* /*sender*/, IInspectable* /*none*/) override {
    *closed_ = true;
    return S_OK;
  }

 private:
  std::atomic<ULONG> references_{1};
  std::shared_ptr<std::atomic<bool>> closed_;
};

// The part of the compositor's picture that is recorded: of a window its client area, without title
// bar and borders.
D3D11_BOX AreaOf(HWND window, CaptureSize content) {
  RECT area = {0, 0, content.width, content.height};
  RECT frame{};
  RECT client{};
  POINT origin{};
  if (window != nullptr && GetClientRect(window, &client) && ClientToScreen(window, &origin) &&
      (SUCCEEDED(
           DwmGetWindowAttribute(window, DWMWA_EXTENDED_FRAME_BOUNDS, &frame, sizeof(frame))) ||
       GetWindowRect(window, &frame))) {
    OffsetRect(&client, origin.x - frame.left, origin.y - frame.top);
    RECT inside{};
    if (IntersectRect(&inside, &client, &area)) area = inside;
  }
  return {static_cast<UINT>(area.left),  static_cast<UINT>(area.top),    0,
          static_cast<UINT>(area.right), static_cast<UINT>(area.bottom), 1};
}

}  // namespace

CompositorCapture::~CompositorCapture() {
  Close(session_.Get());
  Close(pool_.Get());
  if (item_.Get() != nullptr && closed_token_.value != 0) item_->remove_Closed(closed_token_);
}

HRESULT CompositorCapture::Start(const CaptureSystem& system, HMONITOR monitor,
                                 CapturePixels pixels) {
  pixels_ = pixels;
  HRESULT result = CreateItem(system, monitor);
  if (SUCCEEDED(result)) result = system.create_device(monitor, &device_);
  if (SUCCEEDED(result)) result = system.wrap_device(device_.Get(), &wrapped_device_);
  if (SUCCEEDED(result)) result = CreatePool(system);
  if (SUCCEEDED(result)) result = StartSession();
  return result;
}

HRESULT CompositorCapture::CheckSupport(const CaptureSystem& system) {
  ComPtr<ICaptureSessionStatics> statics;
  HRESULT result = Activate(system, L"GraphicsCaptureSession", statics);
  boolean supported = 0;
  if (SUCCEEDED(result)) result = statics->IsSupported(&supported);
  if (SUCCEEDED(result) && supported == 0) result = HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED);
  return result;
}

HRESULT CompositorCapture::CreateItem(const CaptureSystem& system, HMONITOR monitor) {
  HRESULT result = CheckSupport(system);
  ComPtr<ICaptureItemFactory> factory;
  if (SUCCEEDED(result)) result = Activate(system, L"GraphicsCaptureItem", factory);
  if (FAILED(result)) return result;

  auto** const item = reinterpret_cast<void**>(item_.ReleaseAndGetAddressOf());
  result = source_.window != nullptr
               ? factory->CreateForWindow(source_.window, ICaptureItem::kId, item)
               : factory->CreateForMonitor(monitor, ICaptureItem::kId, item);
  if (FAILED(result)) return result;
  ComPtr<ICaptureItemHandler> handler;
  // Not Attach, which takes one more reference in mingw-w64's header.
  *handler.GetAddressOf() = new ClosedHandler(closed_);
  return item_->add_Closed(handler.Get(), &closed_token_);
}

HRESULT CompositorCapture::CreatePool(const CaptureSystem& system) {
  ComPtr<ICaptureFramePoolStatics> statics;
  HRESULT result = Activate(system, L"Direct3D11CaptureFramePool", statics);
  if (SUCCEEDED(result)) result = item_->get_Size(&pool_size_);
  if (SUCCEEDED(result)) {
    result = statics->CreateFreeThreaded(wrapped_device_.Get(), pixels_, kPoolBuffers, pool_size_,
                                         &pool_);
  }
  return result;
}

HRESULT CompositorCapture::StartSession() {
  device_->GetImmediateContext(&context_);
  const HRESULT result = pool_->CreateCaptureSession(item_.Get(), &session_);
  if (FAILED(result)) return result;
  // Systems that lack the one or the other always draw the cursor, or the border.
  if (const auto cursor = As<ICaptureSessionCursor>(session_.Get())) {
    cursor->put_IsCursorCaptureEnabled(source_.cursor ? 1 : 0);
  }
  if (const auto border = As<ICaptureSessionBorder>(session_.Get())) {
    border->put_IsBorderRequired(0);
  }
  return session_->StartCapture();
}

HRESULT CompositorCapture::FetchNewest() {
  ComPtr<ICaptureFrame> newest;
  for (;;) {
    ComPtr<ICaptureFrame> next;
    const HRESULT result = pool_->TryGetNextFrame(&next);
    if (FAILED(result)) return result;
    if (next.Get() == nullptr) break;
    Close(newest.Get());
    newest = std::move(next);
  }
  const HRESULT result = newest.Get() != nullptr ? Fetch(*newest.Get()) : S_OK;
  Close(newest.Get());
  return result;
}

HRESULT CompositorCapture::Fetch(ICaptureFrame& frame) {
  constexpr std::int64_t kNsPerUnit = 100;
  CaptureSize content{};
  CaptureTime time{};
  ComPtr<IInspectable> surface;
  HRESULT result = frame.get_ContentSize(&content);
  if (SUCCEEDED(result)) result = frame.get_SystemRelativeTime(&time);
  if (SUCCEEDED(result)) result = frame.get_Surface(&surface);
  if (FAILED(result) || content.width <= 0 || content.height <= 0) return result;
  // A picture of another size does not fit the pool's buffers, the next one will.
  if (content.width != pool_size_.width || content.height != pool_size_.height) {
    pool_size_ = content;
    return pool_->Recreate(wrapped_device_.Get(), pixels_, kPoolBuffers, pool_size_);
  }
  const auto access = As<ICaptureSurfaceAccess>(surface.Get());
  if (access.Get() == nullptr) return E_NOINTERFACE;
  ComPtr<ID3D11Texture2D> picture;
  result = access->GetInterface(IID_PPV_ARGS(&picture));
  if (FAILED(result)) return result;
  return Copy(picture.Get(), AreaOf(source_.window, content), time.duration * kNsPerUnit);
}

// When all textures are under way the picture replaces the last one, so that the card is never
// asked for more than it can give.
HRESULT CompositorCapture::Copy(ID3D11Texture2D* picture, const D3D11_BOX& area,
                                std::int64_t time_ns) {
  const std::size_t count = std::min(count_ + 1, staging_.size());
  Staging& target = staging_.at((first_ + count - 1) % staging_.size());
  const HRESULT result = Prepare(
      target, {static_cast<int>(area.right - area.left), static_cast<int>(area.bottom - area.top)});
  if (FAILED(result)) return result;
  target.time_ns = time_ns;
  context_->CopySubresourceRegion(target.texture.Get(), 0, 0, 0, 0, picture, 0, &area);
  context_->Flush();
  count_ = count;
  return device_->GetDeviceRemovedReason();
}

HRESULT CompositorCapture::Prepare(Staging& target, Size size) const {
  if (target.texture.Get() != nullptr && target.size == size) return S_OK;
  D3D11_TEXTURE2D_DESC description{};
  description.Width = static_cast<UINT>(size.width);
  description.Height = static_cast<UINT>(size.height);
  description.MipLevels = 1;
  description.ArraySize = 1;
  description.Format = static_cast<DXGI_FORMAT>(pixels_);
  description.SampleDesc.Count = 1;
  description.Usage = D3D11_USAGE_STAGING;
  description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  target.size = size;
  return device_->CreateTexture2D(&description, nullptr, target.texture.ReleaseAndGetAddressOf());
}

HRESULT CompositorCapture::ReadArrived(const std::function<void(const ArrivedPicture&)>& read) {
  for (; count_ > 0; --count_) {
    const Staging& oldest = staging_.at(first_);
    D3D11_MAPPED_SUBRESOURCE mapped{};
    const HRESULT result =
        context_->Map(oldest.texture.Get(), 0, D3D11_MAP_READ, D3D11_MAP_FLAG_DO_NOT_WAIT, &mapped);
    if (result == DXGI_ERROR_WAS_STILL_DRAWING) return S_OK;
    if (FAILED(result)) return result;
    read({.rows = static_cast<const std::uint8_t*>(mapped.pData),
          .pitch = mapped.RowPitch,
          .size = oldest.size,
          .time_ns = oldest.time_ns});
    context_->Unmap(oldest.texture.Get(), 0);
    first_ = (first_ + 1) % staging_.size();
  }
  return S_OK;
}

}  // namespace open_gsdk
