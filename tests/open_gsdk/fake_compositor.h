// The compositor's capture as the tests link it: objects of their own behind its interfaces, which
// hand out real textures of the caller's device with the pixels that a test has set.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <wrl/client.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "open_gsdk/inputs/capture_interfaces.h"
#include "open_gsdk/inputs/capture_system.h"

namespace open_gsdk {

// A picture that the compositor will deliver; its bytes are rows of `pixel_bytes` each pixel.
struct FakePicture {
  CaptureSize size;
  std::vector<std::uint8_t> bytes;
  std::int64_t time = 0;  // in units of 100 ns
};

// A picture of one colour (blue, green, red, opacity).
FakePicture OneColour(CaptureSize size, std::uint32_t bgra, std::int64_t time = 0);

// What a test sets and looks at. Shared by all objects of one fake system; any thread.
struct FakeCompositor {
  std::mutex mutex;  // guards all of it

  // Answers.
  HRESULT activation = S_OK;
  bool supported = true;
  bool has_cursor_switch = true;
  bool has_border_switch = true;
  CaptureSize item_size{64, 48};
  int refused_devices = 0;    // so many devices can't be created
  HRESULT next_frame = S_OK;  // what asking for a frame comes to
  MonitorLight light;
  std::deque<FakePicture> pictures;  // not yet delivered

  // What happened.
  std::vector<std::string> calls;
  int live_objects = 0;
  int calls_after_close = 0;
  unsigned long leaked_handlers = 0;  // references that others hold after the handler's removal
  int open_frames = 0;                // delivered and not yet closed
  Microsoft::WRL::ComPtr<ICaptureItemHandler> closed_handler;
  Microsoft::WRL::ComPtr<ID3D11Device> device;  // the newest
};

using SharedCompositor = std::shared_ptr<FakeCompositor>;

// The system whose compositor it is.
CaptureSystem FakeSystem(const SharedCompositor& compositor);

void Deliver(FakeCompositor& compositor, FakePicture picture);

// The captured window or monitor goes away.
void CloseItem(FakeCompositor& compositor);

// The calls so far, taken off.
std::vector<std::string> TakeCalls(FakeCompositor& compositor);

}  // namespace open_gsdk
