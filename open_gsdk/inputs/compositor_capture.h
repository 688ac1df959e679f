// One capture of a monitor or a window by the compositor, with everything that is lost when its
// graphics device is: the device, the pool of frames, the pictures on their way from the card.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <wrl/client.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "open_gsdk/encoding/frame_geometry.h"
#include "open_gsdk/inputs/capture_interfaces.h"
#include "open_gsdk/inputs/capture_system.h"
#include "open_gsdk/inputs/video_source.h"

namespace open_gsdk {

// A picture that has come from the card; its rows are valid while it is being read.
struct ArrivedPicture {
  const std::uint8_t* rows;  // in the pixels that the capture was started with
  std::uint32_t pitch;       // bytes from one row to the next
  Size size;
  std::int64_t time_ns;  // when the compositor made it, since the start of the performance counter
};

// For one thread at a time. After a call that has failed the capture is of no more use.
class CompositorCapture {
 public:
  // `closed` is set, on a thread of the system's, when the window or monitor is gone.
  CompositorCapture(VideoSource source, std::shared_ptr<std::atomic<bool>> closed)
      : source_(std::move(source)), closed_(std::move(closed)) {}
  ~CompositorCapture();
  CompositorCapture(const CompositorCapture&) = delete;
  CompositorCapture& operator=(const CompositorCapture&) = delete;

  // Fails when the system has no such interface. Takes no time, unlike what needs a graphics
  // device.
  static HRESULT CheckSupport(const CaptureSystem& system);

  // Begins to capture, once; `monitor` is the source's or the one that shows its window. Fails
  // when the system has no such interface or refuses it.
  HRESULT Start(const CaptureSystem& system, HMONITOR monitor, CapturePixels pixels);

  // Sends the newest frame that the compositor has made, if any, on its way from the card.
  HRESULT FetchNewest();

  // Calls `read` for each picture that has arrived, the oldest first. Never waits for the card.
  HRESULT ReadArrived(const std::function<void(const ArrivedPicture&)>& read);

 private:
  template <typename Interface>
  using ComPtr = Microsoft::WRL::ComPtr<Interface>;

  // A copy may take a card that is busy with a game longer than a picture lasts.
  static constexpr std::size_t kStagingTextures = 3;

  // A picture on its way.
  struct Staging {
    ComPtr<ID3D11Texture2D> texture;
    Size size;
    std::int64_t time_ns = 0;
  };

  HRESULT CreateItem(const CaptureSystem& system, HMONITOR monitor);
  HRESULT CreatePool(const CaptureSystem& system);
  HRESULT StartSession();
  HRESULT Fetch(ICaptureFrame& frame);
  HRESULT Copy(ID3D11Texture2D* picture, const D3D11_BOX& area, std::int64_t time_ns);
  HRESULT Prepare(Staging& target, Size size) const;

  const VideoSource source_;
  const std::shared_ptr<std::atomic<bool>> closed_;
  CapturePixels pixels_ = CapturePixels::kBgra;
  ComPtr<ICaptureItem> item_;
  EventRegistrationToken closed_token_{};
  ComPtr<ID3D11Device> device_;
  ComPtr<ID3D11DeviceContext> context_;
  ComPtr<IInspectable> wrapped_device_;
  ComPtr<ICaptureFramePool> pool_;
  CaptureSize pool_size_{};
  ComPtr<ICaptureSession> session_;

  std::array<Staging, kStagingTextures> staging_;
  std::size_t first_ = 0;  // the oldest picture on its way
  std::size_t count_ = 0;
};

}  // namespace open_gsdk
