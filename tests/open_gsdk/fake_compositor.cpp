#include "tests/open_gsdk/fake_compositor.h"

#include <atomic>
#include <cstring>
#include <utility>

namespace open_gsdk {
namespace {

using Microsoft::WRL::ComPtr;

// A counted COM object with these interfaces, the first of which it is as IUnknown.
template <typename First, typename... More>
class FakeObject : public First, public More... {
 public:
  explicit FakeObject(SharedCompositor compositor) : compositor_(std::move(compositor)) {
    const std::lock_guard lock(compositor_->mutex);
    ++compositor_->live_objects;
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    *object = nullptr;
    if (id == IID_IUnknown || (id == First::kId && Has(id))) *object = static_cast<First*>(this);
    static_cast<void>(
        ((id == More::kId && Has(id) ? * object = static_cast<More*>(this) : nullptr), ...));
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  // IInspectable's, which not every interface has.
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Winconsistent-missing-override"
#endif
  // NOLINTBEGIN(*-override,*-explicit-virtual-functions)
  virtual HRESULT STDMETHODCALLTYPE GetIids(ULONG* /*count*/, IID** /*ids*/) { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING* /*name*/) { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel* /*level*/) { return E_NOTIMPL; }
  // NOLINTEND(*-override,*-explicit-virtual-functions)
#ifdef __clang__
#pragma clang diagnostic pop
#endif

 protected:
  virtual ~FakeObject() {
    const std::lock_guard lock(compositor_->mutex);
    --compositor_->live_objects;
  }

  // Whether this object has the interface, which a class may leave out.
  virtual bool Has(REFIID /*id*/) const { return true; }

  // Notes a call; one after the object was closed is a mistake.
  void Note(const std::string& call) {
    const std::lock_guard lock(compositor_->mutex);
    compositor_->calls.push_back(call);
    if (closed_) ++compositor_->calls_after_close;
  }

  const SharedCompositor compositor_;
  std::atomic<bool> closed_ = false;

 private:
  std::atomic<ULONG> references_{1};
};

// Hands a new object out as one of its interfaces; the caller owns the only reference.
template <typename Object>
HRESULT GiveAway(Object* made, REFIID id, void** object) {
  const HRESULT result = made->QueryInterface(id, object);
  made->Release();
  return result;
}

// IDirect3DSurface, of which only the way to the texture is asked.
struct ISurface : IInspectable {
  static constexpr IID kId = {
      0x0BF4A146, 0x13C1, 0x4694, {0xBE, 0xE3, 0x7A, 0xBF, 0x15, 0xEA, 0xF5, 0x86}};
};

class FakeSurface final : public FakeObject<ISurface, ICaptureSurfaceAccess> {
 public:
  FakeSurface(SharedCompositor compositor, ComPtr<ID3D11Texture2D> texture)
      : FakeObject(std::move(compositor)), texture_(std::move(texture)) {}
  HRESULT STDMETHODCALLTYPE GetInterface(REFIID id, void** object) override {
    return texture_->QueryInterface(id, object);
  }

 private:
  ComPtr<ID3D11Texture2D> texture_;
};

class FakeFrame final : public FakeObject<ICaptureFrame, ICaptureClosable> {
 public:
  FakeFrame(SharedCompositor compositor, const FakePicture& picture,
            ComPtr<ID3D11Texture2D> texture)
      : FakeObject(std::move(compositor)),
        size_(picture.size),
        time_{picture.time},
        texture_(std::move(texture)) {
    const std::lock_guard lock(compositor_->mutex);
    ++compositor_->open_frames;
  }
  HRESULT STDMETHODCALLTYPE get_Surface(IInspectable** surface) override {
    *surface = new FakeSurface(compositor_, texture_);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_SystemRelativeTime(CaptureTime* time) override {
    *time = time_;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_ContentSize(CaptureSize* size) override {
    *size = size_;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Close() override {
    const std::lock_guard lock(compositor_->mutex);
    --compositor_->open_frames;
    if (closed_.exchange(true)) ++compositor_->calls_after_close;
    return S_OK;
  }

 private:
  const CaptureSize size_;
  const CaptureTime time_;
  ComPtr<ID3D11Texture2D> texture_;
};

class FakeItem final : public FakeObject<ICaptureItem> {
 public:
  using FakeObject::FakeObject;
  HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING* /*name*/) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Size(CaptureSize* size) override {
    const std::lock_guard lock(compositor_->mutex);
    *size = compositor_->item_size;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE add_Closed(ICaptureItemHandler* handler,
                                       EventRegistrationToken* token) override {
    const std::lock_guard lock(compositor_->mutex);
    compositor_->closed_handler = handler;
    token->value = 7;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE remove_Closed(EventRegistrationToken token) override {
    Note("remove_Closed " + std::to_string(token.value));
    const std::lock_guard lock(compositor_->mutex);
    compositor_->leaked_handlers += compositor_->closed_handler.Reset();
    return S_OK;
  }
};

class FakeSession final : public FakeObject<ICaptureSession, ICaptureSessionCursor,
                                            ICaptureSessionBorder, ICaptureClosable> {
 public:
  using FakeObject::FakeObject;
  HRESULT STDMETHODCALLTYPE StartCapture() override {
    Note("StartCapture");
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_IsCursorCaptureEnabled(boolean* /*is*/) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE put_IsCursorCaptureEnabled(boolean enabled) override {
    Note("put_IsCursorCaptureEnabled " + std::to_string(enabled));
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_IsBorderRequired(boolean* /*is*/) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_IsBorderRequired(boolean required) override {
    Note("put_IsBorderRequired " + std::to_string(required));
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Close() override {
    Note("session Close");
    closed_ = true;
    return S_OK;
  }

 private:
  bool Has(REFIID id) const override {
    const std::lock_guard lock(compositor_->mutex);
    if (id == ICaptureSessionCursor::kId) return compositor_->has_cursor_switch;
    if (id == ICaptureSessionBorder::kId) return compositor_->has_border_switch;
    return true;
  }
};

std::string SizeText(CaptureSize size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

class FakePool final : public FakeObject<ICaptureFramePool, ICaptureClosable> {
 public:
  FakePool(SharedCompositor compositor, CapturePixels pixels, std::int32_t buffers,
           CaptureSize size)
      : FakeObject(std::move(compositor)), pixels_(pixels), size_(size) {
    Note("CreateFreeThreaded " + Describe(pixels, buffers, size));
  }
  HRESULT STDMETHODCALLTYPE Recreate(IInspectable* /*device*/, CapturePixels pixels,
                                     std::int32_t buffers, CaptureSize size) override {
    Note("Recreate " + Describe(pixels, buffers, size));
    size_ = size;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE TryGetNextFrame(ICaptureFrame** frame) override {
    *frame = nullptr;
    FakePicture picture;
    ComPtr<ID3D11Device> device;
    {
      const std::lock_guard lock(compositor_->mutex);
      if (closed_) ++compositor_->calls_after_close;
      if (FAILED(compositor_->next_frame)) return compositor_->next_frame;
      if (compositor_->pictures.empty()) return S_OK;
      picture = std::move(compositor_->pictures.front());
      compositor_->pictures.pop_front();
      device = compositor_->device;
    }
    ComPtr<ID3D11Texture2D> texture;
    const HRESULT result = MakeTexture(*device.Get(), picture, texture);
    if (SUCCEEDED(result)) *frame = new FakeFrame(compositor_, picture, texture);
    return result;
  }
  HRESULT STDMETHODCALLTYPE add_FrameArrived(IUnknown* /*handler*/,
                                             EventRegistrationToken* /*token*/) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE remove_FrameArrived(EventRegistrationToken /*token*/) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateCaptureSession(ICaptureItem* /*item*/,
                                                 ICaptureSession** session) override {
    *session = new FakeSession(compositor_);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Close() override {
    Note("pool Close");
    closed_ = true;
    return S_OK;
  }

 private:
  static std::string Describe(CapturePixels pixels, std::int32_t buffers, CaptureSize size) {
    return std::to_string(static_cast<int>(pixels)) + " " + std::to_string(buffers) + " " +
           SizeText(size);
  }

  // The pool's buffers have the pool's size, whatever the content's.
  HRESULT MakeTexture(ID3D11Device& device, const FakePicture& picture,
                      ComPtr<ID3D11Texture2D>& texture) const {
    const UINT pixel_bytes = pixels_ == CapturePixels::kBgra ? 4 : 8;
    const auto width = static_cast<UINT>(size_.width);
    const auto height = static_cast<UINT>(size_.height);
    std::vector<std::uint8_t> bytes = picture.bytes;
    bytes.resize(std::size_t{width} * height * pixel_bytes);
    D3D11_TEXTURE2D_DESC description{};
    description.Width = width;
    description.Height = height;
    description.MipLevels = 1;
    description.ArraySize = 1;
    description.Format = static_cast<DXGI_FORMAT>(pixels_);
    description.SampleDesc.Count = 1;
    description.Usage = D3D11_USAGE_DEFAULT;
    description.BindFlags = D3D11_BIND_SHADER_RESOURCE;
    const D3D11_SUBRESOURCE_DATA content = {bytes.data(), width * pixel_bytes, 0};
    return device.CreateTexture2D(&description, &content, &texture);
  }

  const CapturePixels pixels_;
  CaptureSize size_;
};

// The factories of all three classes.
class FakeFactory final
    : public FakeObject<ICaptureSessionStatics, ICaptureItemFactory, ICaptureFramePoolStatics> {
 public:
  using FakeObject::FakeObject;
  HRESULT STDMETHODCALLTYPE IsSupported(boolean* supported) override {
    const std::lock_guard lock(compositor_->mutex);
    *supported = compositor_->supported ? 1 : 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE CreateForWindow(HWND /*window*/, REFIID id, void** item) override {
    Note("CreateForWindow");
    return Make(id, item);
  }
  HRESULT STDMETHODCALLTYPE CreateForMonitor(HMONITOR /*monitor*/, REFIID id,
                                             void** item) override {
    Note("CreateForMonitor");
    return Make(id, item);
  }
  HRESULT STDMETHODCALLTYPE CreateFreeThreaded(IInspectable* /*device*/, CapturePixels pixels,
                                               std::int32_t buffers, CaptureSize size,
                                               ICaptureFramePool** pool) override {
    *pool = new FakePool(compositor_, pixels, buffers, size);
    return S_OK;
  }

 private:
  HRESULT Make(REFIID id, void** item) const {
    return GiveAway(new FakeItem(compositor_), id, item);
  }
};

HRESULT CreateRealDevice(ID3D11Device** device) {
  return D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr,
                           D3D11_CREATE_DEVICE_BGRA_SUPPORT, nullptr, 0, D3D11_SDK_VERSION, device,
                           nullptr, nullptr);
}

}  // namespace

FakePicture OneColour(CaptureSize size, std::uint32_t bgra, std::int64_t time) {
  FakePicture picture{.size = size, .bytes = {}, .time = time};
  picture.bytes.resize(static_cast<std::size_t>(size.width) *
                       static_cast<std::size_t>(size.height) * sizeof(bgra));
  for (std::size_t i = 0; i < picture.bytes.size(); i += sizeof(bgra)) {
    std::memcpy(picture.bytes.data() + i, &bgra, sizeof(bgra));
  }
  return picture;
}

CaptureSystem FakeSystem(const SharedCompositor& compositor) {
  CaptureSystem system;
  system.activate = [compositor](const wchar_t* /*name*/, REFIID id, void** factory) {
    {
      const std::lock_guard lock(compositor->mutex);
      if (FAILED(compositor->activation)) return compositor->activation;
    }
    return GiveAway(new FakeFactory(compositor), id, factory);
  };
  system.create_device = [compositor](HMONITOR /*monitor*/, ID3D11Device** device) {
    const std::lock_guard lock(compositor->mutex);
    if (compositor->refused_devices > 0) {
      --compositor->refused_devices;
      return DXGI_ERROR_DEVICE_RESET;
    }
    const HRESULT result = CreateRealDevice(device);
    if (SUCCEEDED(result)) compositor->device = *device;
    return result;
  };
  system.wrap_device = [compositor](ID3D11Device* /*device*/, IInspectable** wrapped) {
    *wrapped = new FakeSurface(compositor, nullptr);
    return S_OK;
  };
  system.query_light = [compositor](HMONITOR /*monitor*/) {
    const std::lock_guard lock(compositor->mutex);
    return compositor->light;
  };
  return system;
}

void Deliver(FakeCompositor& compositor, FakePicture picture) {
  const std::lock_guard lock(compositor.mutex);
  compositor.pictures.push_back(std::move(picture));
}

void CloseItem(FakeCompositor& compositor) {
  ComPtr<ICaptureItemHandler> handler;
  {
    const std::lock_guard lock(compositor.mutex);
    handler = compositor.closed_handler;
  }
  handler->Invoke(nullptr, nullptr);
}

std::vector<std::string> TakeCalls(FakeCompositor& compositor) {
  const std::lock_guard lock(compositor.mutex);
  return std::exchange(compositor.calls, {});
}

}  // namespace open_gsdk
