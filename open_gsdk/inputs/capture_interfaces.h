// The interfaces of Windows.Graphics.Capture, as far as they are called. mingw-w64's own header has
// only the session's, so they are declared here for every compiler: names without their namespaces,
// the identifiers and the order of the functions being the system's.
#pragma once

#include <windows.h>

#include <eventtoken.h>
#include <inspectable.h>

#include <cstdint>

namespace open_gsdk {

struct CaptureSize {
  std::int32_t width;
  std::int32_t height;
};

// In units of 100 ns.
struct CaptureTime {
  std::int64_t duration;
};

// Of the system's DirectXPixelFormat, whose numbers are those of DXGI_FORMAT.
enum class CapturePixels : std::int32_t { kHalfFloats = 10, kBgra = 87 };

// NOLINTBEGIN(cppcoreguidelines-virtual-class-destructor): COM's interfaces have none.

struct ICaptureItem;

// ITypedEventHandler<GraphicsCaptureItem*, IInspectable*>
struct ICaptureItemHandler : IUnknown {
  static constexpr IID kId = {
      0xE9C610C0, 0xA68C, 0x5BD9, {0x80, 0x21, 0x85, 0x89, 0x34, 0x6E, 0xEE, 0xE2}};
  virtual HRESULT STDMETHODCALLTYPE Invoke(ICaptureItem* sender, IInspectable* arguments) = 0;
};

// IGraphicsCaptureItem
struct ICaptureItem : IInspectable {
  static constexpr IID kId = {
      0x79C3F95B, 0x31F7, 0x4EC2, {0xA4, 0x64, 0x63, 0x2E, 0xF5, 0xD3, 0x07, 0x60}};
  virtual HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING* name) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Size(CaptureSize* size) = 0;
  virtual HRESULT STDMETHODCALLTYPE add_Closed(ICaptureItemHandler* handler,
                                               EventRegistrationToken* token) = 0;
  virtual HRESULT STDMETHODCALLTYPE remove_Closed(EventRegistrationToken token) = 0;
};

// IGraphicsCaptureItemInterop, of the factory of Windows.Graphics.Capture.GraphicsCaptureItem
struct ICaptureItemFactory : IUnknown {
  static constexpr IID kId = {
      0x3628E81B, 0x3CAC, 0x4C60, {0xB7, 0xF4, 0x23, 0xCE, 0x0E, 0x0C, 0x33, 0x56}};
  virtual HRESULT STDMETHODCALLTYPE CreateForWindow(HWND window, REFIID id, void** item) = 0;
  virtual HRESULT STDMETHODCALLTYPE CreateForMonitor(HMONITOR monitor, REFIID id, void** item) = 0;
};

// IGraphicsCaptureSession
struct ICaptureSession : IInspectable {
  static constexpr IID kId = {
      0x814E42A9, 0xF70F, 0x4AD7, {0x93, 0x9B, 0xFD, 0xDC, 0xC6, 0xEB, 0x88, 0x0D}};
  virtual HRESULT STDMETHODCALLTYPE StartCapture() = 0;
};

// IGraphicsCaptureSession2, Windows 10 2004
struct ICaptureSessionCursor : IInspectable {
  static constexpr IID kId = {
      0x2C39AE40, 0x7D2E, 0x5044, {0x80, 0x4E, 0x8B, 0x67, 0x99, 0xD4, 0xCF, 0x9E}};
  virtual HRESULT STDMETHODCALLTYPE get_IsCursorCaptureEnabled(boolean* enabled) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_IsCursorCaptureEnabled(boolean enabled) = 0;
};

// IGraphicsCaptureSession3, Windows 11
struct ICaptureSessionBorder : IInspectable {
  static constexpr IID kId = {
      0xF2CDD966, 0x22AE, 0x5EA1, {0x95, 0x96, 0x3A, 0x28, 0x93, 0x44, 0xC3, 0xBE}};
  virtual HRESULT STDMETHODCALLTYPE get_IsBorderRequired(boolean* required) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_IsBorderRequired(boolean required) = 0;
};

// IGraphicsCaptureSessionStatics
struct ICaptureSessionStatics : IInspectable {
  static constexpr IID kId = {
      0x2224A540, 0x5974, 0x49AA, {0xB2, 0x32, 0x08, 0x82, 0x53, 0x6F, 0x4C, 0xB5}};
  virtual HRESULT STDMETHODCALLTYPE IsSupported(boolean* supported) = 0;
};

// IDirect3D11CaptureFrame
struct ICaptureFrame : IInspectable {
  static constexpr IID kId = {
      0xFA50C623, 0x38DA, 0x4B32, {0xAC, 0xF3, 0xFA, 0x97, 0x34, 0xAD, 0x80, 0x0E}};
  virtual HRESULT STDMETHODCALLTYPE get_Surface(IInspectable** surface) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_SystemRelativeTime(CaptureTime* time) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ContentSize(CaptureSize* size) = 0;
};

// IDirect3D11CaptureFramePool; what comes after these is not called.
struct ICaptureFramePool : IInspectable {
  static constexpr IID kId = {
      0x24EB6D22, 0x1975, 0x422E, {0x82, 0xE7, 0x78, 0x0D, 0xBD, 0x8D, 0xDF, 0x24}};
  virtual HRESULT STDMETHODCALLTYPE Recreate(IInspectable* device, CapturePixels pixels,
                                             std::int32_t buffers, CaptureSize size) = 0;
  virtual HRESULT STDMETHODCALLTYPE TryGetNextFrame(ICaptureFrame** frame) = 0;
  virtual HRESULT STDMETHODCALLTYPE add_FrameArrived(IUnknown* handler,
                                                     EventRegistrationToken* token) = 0;
  virtual HRESULT STDMETHODCALLTYPE remove_FrameArrived(EventRegistrationToken token) = 0;
  virtual HRESULT STDMETHODCALLTYPE CreateCaptureSession(ICaptureItem* item,
                                                         ICaptureSession** session) = 0;
};

// IDirect3D11CaptureFramePoolStatics2
struct ICaptureFramePoolStatics : IInspectable {
  static constexpr IID kId = {
      0x589B103F, 0x6BBC, 0x5DF5, {0xA9, 0x91, 0x02, 0xE2, 0x8B, 0x3B, 0x66, 0xD5}};
  virtual HRESULT STDMETHODCALLTYPE CreateFreeThreaded(IInspectable* device, CapturePixels pixels,
                                                       std::int32_t buffers, CaptureSize size,
                                                       ICaptureFramePool** pool) = 0;
};

// IDirect3DDevice, which is only handed on
inline constexpr IID kCaptureDeviceId = {
    0xA37624AB, 0x8D5F, 0x4650, {0x9D, 0x3E, 0x9E, 0xAE, 0x3D, 0x9B, 0xC6, 0x70}};

// IClosable
struct ICaptureClosable : IInspectable {
  static constexpr IID kId = {
      0x30D5A829, 0x7FA4, 0x4026, {0x83, 0xBB, 0xD7, 0x5B, 0xAE, 0x4E, 0xA9, 0x9E}};
  virtual HRESULT STDMETHODCALLTYPE Close() = 0;
};

// IDirect3DDxgiInterfaceAccess: from a surface to its texture
struct ICaptureSurfaceAccess : IUnknown {
  static constexpr IID kId = {
      0xA9B3D012, 0x3DF2, 0x4EE3, {0xB8, 0xD1, 0x86, 0x95, 0xF4, 0x57, 0xD3, 0xC1}};
  virtual HRESULT STDMETHODCALLTYPE GetInterface(REFIID id, void** object) = 0;
};

// NOLINTEND(cppcoreguidelines-virtual-class-destructor)

}  // namespace open_gsdk
