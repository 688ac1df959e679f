// What the compositor's capture needs of the system: the activation of its classes, a Direct3D
// device, and how bright a monitor is. Tests give objects of their own in its place.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <inspectable.h>

#include <functional>

namespace open_gsdk {

// How a monitor shows colours.
struct MonitorLight {
  bool hdr = false;
  // What white is on an HDR monitor to programs that know nothing of HDR; the system's own unit
  // is 80 candelas per square metre.
  float white_nits = 80.0F;
};

// Each function is called on the thread that takes the pictures.
struct CaptureSystem {
  // The factory of a class of Windows.Graphics.Capture, such as L"GraphicsCaptureItem", as the
  // interface `id`.
  std::function<HRESULT(const wchar_t* class_name, REFIID id, void** factory)> activate;
  // A device on the adapter that drives the monitor.
  std::function<HRESULT(HMONITOR monitor, ID3D11Device** device)> create_device;
  // The device as the capture interface takes it.
  std::function<HRESULT(ID3D11Device* device, IInspectable** wrapped)> wrap_device;
  std::function<MonitorLight(HMONITOR monitor)> query_light;
};

// Windows itself. Its libraries are loaded when they are first asked for, so that a system without
// them only lacks the compositor's capture. Any thread.
CaptureSystem WindowsCaptureSystem();

}  // namespace open_gsdk
