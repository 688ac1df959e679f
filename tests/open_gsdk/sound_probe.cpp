// Records a window with sound, as a line of text on the standard input asks for it, and answers
// each line with one line. For sound_test.py, which makes the sound and reads the clips:
//   list KIND                 the JSON text of the list
//   picture RATE WIDTH HEIGHT the window of the next recording, which changes all the time, and how
//                             many pictures a second of it are recorded; else 20 of a small, still
//                             one
//   record [KIND DEVICE ...]  starts; one track for each pair
//   bind TRACK DEVICE         binds a track, counted from 0, to another device
//   default DEVICE            makes it the system's default output for Wine, as its user would; the
//                             time of that in nanoseconds
//   dump PATH                 status, duration, lost sound, lost pictures, and the time of the
//                             recording's first picture; all in nanoseconds
//   stop                      for each track: packets, those that do not join on, the average and
//                             the worst lateness of the last sample in microseconds, lost
//                             nanoseconds
// DEVICE is "-" for none. Times are on the steady clock.
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/api/handles.h"
#include "open_gsdk/support/steady_time.h"
#include "platform/text_encoding.h"
#include "tests/open_gsdk/window.h"

namespace open_gsdk {
namespace {

struct TrackFigures {
  std::int64_t packets = 0;
  std::int64_t unjoined = 0;
  std::int64_t late_ns = 0;
  std::int64_t worst_late_ns = 0;
  std::int64_t lost_ns = 0;
  std::int64_t end_ns = 0;
};

class Probe {
 public:
  ~Probe() { Stop(); }
  Probe() { window_.emplace(L"sound probe", 64, 64, RGB(0, 0, 255)); }
  Probe(const Probe&) = delete;
  Probe& operator=(const Probe&) = delete;

  void SetPicture(std::uint32_t frame_rate, int width, int height) {
    frame_rate_ = frame_rate;
    window_.emplace(L"sound probe", width, height, RGB(0, 0, 255));
    window_->Animate();
    std::cout << "set" << std::endl;
  }

  void Record(std::istream& arguments) {
    gsdk_session_create(&session_, nullptr, nullptr);
    std::string kind;
    std::string device;
    std::vector<std::string> names;
    while (arguments >> kind >> device) {
      inputs_.push_back(nullptr);
      gsdk_session_add_audio_input(session_, kind.c_str(), &inputs_.back(), nullptr);
      Bind(inputs_.size() - 1, device);
      names.push_back("Track " + std::to_string(names.size() + 1));
    }
    figures_.resize(names.size());
    gsdk_properties* properties = Properties(names);
    recorder_ = gsdk_recorder_create(properties);
    gsdk_recorder_set_duration(recorder_, 60'000);
    gsdk_session_set_video_input(session_, "window", nullptr);
    const std::string source =
        "{\"window\": {\"hwnd\": " + std::to_string(window_->number()) + "}}";
    gsdk_session_update_video_input(session_, source.c_str(), nullptr);
    std::cout << (gsdk_session_start(session_, properties, nullptr) ? "started" : "failed")
              << std::endl;
    gsdk_session_properties_destroy(properties);
  }

  bool Bind(std::size_t track, const std::string& device) {
    const std::string settings =
        "{\"device_id\": \"" + (device == "-" ? "" : device) + "\", \"use_device_timing\": false}";
    return gsdk_session_update_audio_input_handle(session_, inputs_.at(track), settings.c_str(),
                                                  nullptr);
  }

  void Dump(const std::string& path) {
    const gsdk_dump_result result = gsdk_recorder_dump(recorder_, path.c_str());
    const std::lock_guard lock(mutex_);
    std::cout << result.status << " " << result.duration << " " << result.audio_drop << " "
              << result.video_drop << " " << first_picture_ns_.value_or(0) << std::endl;
  }

  void Stop() {
    gsdk_session_destroy(session_);
    gsdk_recorder_destroy(recorder_);
    inputs_.clear();
    figures_.clear();
    first_picture_ns_.reset();
    session_ = nullptr;
    recorder_ = nullptr;
  }

  void TellFigures() {
    const std::lock_guard lock(mutex_);
    for (const TrackFigures& track : figures_) {
      std::cout << track.packets << " " << track.unjoined << " "
                << track.late_ns / std::max<std::int64_t>(track.packets, 1) / 1000 << " "
                << track.worst_late_ns / 1000 << " " << track.lost_ns << " ";
    }
    std::cout << std::endl;
  }

 private:
  gsdk_properties* Properties(const std::vector<std::string>& names) {
    gsdk_properties* properties = gsdk_session_properties_create();
    gsdk_session_properties_video_set_framerate(properties, frame_rate_);
    std::vector<const char*> texts;
    for (const std::string& name : names) texts.push_back(name.c_str());
    gsdk_session_properties_audio_set_tracks_ids(
        properties, static_cast<std::uint32_t>(texts.size()), texts.data());
    gsdk_session_properties_connection_callback_set_callback(properties, this, OnPacket);
    return properties;
  }

  static void OnPacket(void* probe, gsdk_encoded_packet* packet) {
    auto& self = *static_cast<Probe*>(probe);
    const SharedPacket content = Packets().Find(packet);
    gsdk_recorder_push_packet(self.recorder_, packet);
    gsdk_encoded_packet_release(packet);
    const std::lock_guard lock(self.mutex_);
    if (content->IsVideo()) {
      if (!self.first_picture_ns_) self.first_picture_ns_ = content->time_ns;
      return;
    }
    TrackFigures& track = self.figures_.at(content->stream - 1);
    const std::int64_t end_ns = content->time_ns + content->duration_ns;
    const std::int64_t late_ns = SteadyNowNs() - end_ns;
    if (track.packets > 0 && content->time_ns != track.end_ns) ++track.unjoined;
    ++track.packets;
    track.late_ns += late_ns;
    track.worst_late_ns = std::max(track.worst_late_ns, late_ns);
    track.lost_ns += content->dropped_ns;
    track.end_ns = end_ns;
  }

  std::optional<TestWindow> window_;
  std::uint32_t frame_rate_ = 20;
  gsdk_session* session_ = nullptr;
  gsdk_recorder* recorder_ = nullptr;
  std::vector<gsdk_audio_input*> inputs_;
  std::mutex mutex_;
  std::vector<TrackFigures> figures_;             // guarded by mutex_ while it records
  std::optional<std::int64_t> first_picture_ns_;  // likewise
};

// By the registry value that Wine's own configuration program sets.
void SetDefaultOutput(const std::string& device) {
  constexpr wchar_t kDriver[] = LR"(Software\Wine\Drivers\winepulse.drv)";
  constexpr wchar_t kValue[] = L"DefaultOutput";
  const std::wstring id = platform::WideFromUtf8(device);
  const std::int64_t now_ns = SteadyNowNs();
  const LSTATUS result =
      device == "-" ? RegDeleteKeyValueW(HKEY_CURRENT_USER, kDriver, kValue)
                    : RegSetKeyValueW(HKEY_CURRENT_USER, kDriver, kValue, REG_SZ, id.c_str(),
                                      static_cast<DWORD>((id.size() + 1) * sizeof(wchar_t)));
  std::cout << (result == ERROR_SUCCESS ? now_ns : 0) << std::endl;
}

void Obey(Probe& probe, const std::string& line) {
  std::istringstream words(line);
  std::string command;
  words >> command;
  if (command == "list") {
    std::string kind;
    words >> kind;
    char* text = nullptr;
    gsdk_input_properties(kind.c_str(), &text, nullptr);
    std::cout << (text == nullptr ? "" : text) << std::endl;
    gsdk_input_properties_free(text);
  } else if (command == "picture") {
    std::uint32_t frame_rate = 0;
    int width = 0;
    int height = 0;
    words >> frame_rate >> width >> height;
    probe.SetPicture(frame_rate, width, height);
  } else if (command == "default") {
    std::string device;
    words >> device;
    SetDefaultOutput(device);
  } else if (command == "record") {
    probe.Record(words);
  } else if (command == "bind") {
    std::size_t track = 0;
    std::string device;
    words >> track >> device;
    std::cout << (probe.Bind(track, device) ? "bound" : "failed") << std::endl;
  } else if (command == "dump") {
    std::string path;
    std::getline(words >> std::ws, path);
    probe.Dump(path);
  } else if (command == "stop") {
    probe.TellFigures();
    probe.Stop();
  }
}

}  // namespace
}  // namespace open_gsdk

int main() {
  gsdk_logging_set_global_level(2);
  gsdk_logging_set_callback([](std::int32_t /*level*/, const char* text) {
    std::cerr << open_gsdk::SteadyNowNs() / 1'000'000 << " " << text << std::endl;
  });
  open_gsdk::Probe probe;
  std::string line;
  while (std::getline(std::cin, line)) {
    while (!line.empty() && line.back() == '\r') line.pop_back();
    open_gsdk::Obey(probe, line);
  }
  return 0;
}
