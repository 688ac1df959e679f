#include "open_gsdk/inputs/best_picture_source.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include "open_gsdk/inputs/compositor_source.h"
#include "open_gsdk/inputs/gdi_capture.h"
#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/library_log.h"

namespace open_gsdk {
namespace {

std::string ForcedSource() {
  const char* const value = std::getenv("OPEN_GSDK_SOURCE");
  return value != nullptr ? value : "";
}

class BestSource final : public PictureSource {
 public:
  explicit BestSource(CaptureSystem system) : system_(std::move(system)) {}

  GrabResult Grab(const VideoSource& source) override {
    if (source != chosen_for_) Choose(source);
    return compositor_ ? compositor_->Grab() : gdi_.Grab(source);
  }
  [[nodiscard]] Image image() const override {
    return compositor_ ? compositor_->image() : gdi_.image();
  }
  [[nodiscard]] std::optional<std::int64_t> time_ns() const override {
    return compositor_ ? std::optional(compositor_->time_ns()) : gdi_.time_ns();
  }
  [[nodiscard]] bool hdr() const override { return compositor_ && compositor_->hdr(); }

 private:
  void Choose(const VideoSource& source) {
    chosen_for_ = source;
    compositor_.reset();
    const std::string forced = ForcedSource();
    if (forced == "gdi") {
      Log(LogLevel::kInfo, "pictures by GDI, as OPEN_GSDK_SOURCE says");
      return;
    }
    try {
      compositor_ = std::make_unique<CompositorSource>(source, system_);
      Log(LogLevel::kInfo, compositor_->hdr() ? "pictures by the compositor's capture, from HDR"
                                              : "pictures by the compositor's capture");
    } catch (const Failure& failure) {
      const std::string why =
          std::string("the compositor's capture cannot be had (") + failure.what() + ")";
      if (forced == "compositor") throw Failure(ErrorCode::kCaptureFailed, why);
      Log(LogLevel::kInfo, "pictures by GDI: " + why);
    }
  }

  const CaptureSystem system_;
  std::optional<VideoSource> chosen_for_;
  std::unique_ptr<CompositorSource> compositor_;
  GdiCapture gdi_;
};

}  // namespace

std::unique_ptr<PictureSource> OpenPictureSource(CaptureSystem system) {
  return std::make_unique<BestSource>(std::move(system));
}

}  // namespace open_gsdk
