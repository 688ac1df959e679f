// Pictures from a test instead of the desktop, and a recording that is made with them.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "open_gsdk/encoding/video_encoder.h"
#include "open_gsdk/inputs/picture_source.h"
#include "open_gsdk/replay/encoded_packet.h"
#include "open_gsdk/session/recording.h"
#include "tests/open_gsdk/window.h"

namespace open_gsdk {

// A grey picture, another shade with each New.
class GreyPicture {
 public:
  void New(Size size);
  Image image() const { return {pixels_.data(), size_}; }

 private:
  std::vector<std::uint8_t> pixels_;
  Size size_;
  std::uint8_t shade_ = 0;
};

// Gives what `look` says; it draws the picture before it returns kPicture.
class TestPictures : public PictureSource {
 public:
  using Look = std::function<GrabResult(GreyPicture&)>;

  explicit TestPictures(Look look) : look_(std::move(look)) {}

  GrabResult Grab(const VideoSource& /*source*/) override { return look_(picture_); }
  Image image() const override { return picture_.image(); }

 private:
  Look look_;
  GreyPicture picture_;
};

// A session of 30 frames per second with one sound track.
class TestRecording {
 public:
  // Throws what Recording throws.
  explicit TestRecording(TestPictures::Look look,
                         std::vector<VideoEncoderKind> encoders = VideoEncoderKinds());
  // Stops.
  ~TestRecording();
  TestRecording(const TestRecording&) = delete;
  TestRecording& operator=(const TestRecording&) = delete;

  // Waits until the condition holds of the packets so far, of which there is one at least. Fails
  // the test when it takes a minute.
  void WaitFor(const std::function<bool(const std::vector<SharedPacket>&)>& condition);
  void Stop();

  std::vector<SharedPacket> Packets();
  std::vector<SharedPacket> Packets(std::size_t stream);
  // Each as "CODE MESSAGE".
  std::vector<std::string> Errors();

 private:
  // The source has to exist, although nobody looks at it.
  TestWindow window_{L"test pictures", 320, 200, 0};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<SharedPacket> packets_;
  std::vector<std::string> errors_;
  std::shared_ptr<Recording> recording_;
};

}  // namespace open_gsdk
