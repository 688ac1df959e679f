// Records what a compositor of the test's own shows, red, green and blue for a second each, from an
// HDR monitor, and writes the clip: compositor_clip CLIP. For compositor_clip_test.py, which looks
// at it. Prints the dump's status, and whether the clip says that it was captured from HDR.
#include <chrono>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include "open_gsdk/inputs/monitors.h"
#include "open_gsdk/replay/clip_file.h"
#include "open_gsdk/replay/recorder.h"
#include "open_gsdk/session/recording.h"
#include "open_gsdk/support/library_log.h"
#include "tests/open_gsdk/fake_compositor.h"

namespace open_gsdk {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr CaptureSize kSize = {320, 180};
// Of half floats, white being 80 candelas: red, green, blue, opacity.
constexpr std::uint64_t kOne = 0x3C00;
constexpr std::uint64_t kColours[] = {kOne, kOne << 16, kOne << 32};

FakePicture Shown(std::uint64_t colour) {
  const std::int64_t now_ns =
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
  FakePicture picture{.size = kSize, .bytes = {}, .time = now_ns / 100};
  picture.bytes.resize(std::size_t{320} * 180 * sizeof(colour));
  for (std::size_t i = 0; i < picture.bytes.size(); i += sizeof(colour)) {
    std::memcpy(picture.bytes.data() + i, &colour, sizeof(colour));
  }
  return picture;
}

int RecordClip(const std::string& path) {
  TakeFfmpegLines();
  const auto compositor = std::make_shared<FakeCompositor>();
  compositor->item_size = kSize;
  compositor->light = {.hdr = true, .white_nits = 80.0F};
  VideoSource source;
  source.monitor = ListMonitors().front().name;

  Recorder recorder;
  recorder.SetDuration(60'000);
  SessionProperties properties{.audio_bit_rate = 128'000,
                               .audio_sample_rate = 48'000,
                               .rate_control = 3,
                               .min_quality = 18,
                               .max_quality = 18,
                               .frame_rate = 30,
                               .connection_type = 4,
                               .tracks = {"Silence"}};
  properties.on_packet = [&](const SharedPacket& packet) { recorder.Push(*packet); };
  const auto recording = std::make_shared<Recording>(
      properties, source, std::vector<SoundBinding>{},
      RecordingParts{.pictures = OpenPictureSource(FakeSystem(compositor))});
  Deliver(*compositor, Shown(kColours[0]));
  recording->Start();
  for (const std::uint64_t colour : kColours) {
    const Clock::time_point end = Clock::now() + 1s;
    while (Clock::now() < end) {
      Deliver(*compositor, Shown(colour));
      std::this_thread::sleep_for(15ms);
    }
  }
  recording->Stop();
  const gsdk_dump_result result =
      recorder.Dump([&](const Clip& clip) { return WriteClipFile(clip, path); });
  std::cout << result.status << " " << int{result.captured_from_hdr} << std::endl;
  return result.status == 0 ? 0 : 1;
}

}  // namespace
}  // namespace open_gsdk

int main(int argc, char** argv) { return argc == 2 ? open_gsdk::RecordClip(argv[1]) : 2; }
