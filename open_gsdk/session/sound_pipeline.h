// The sound of one track of a session: read from the device that the track is bound to, or silence,
// and encoded, on threads of its own, so that it waits for neither pictures nor other tracks.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "open_gsdk/encoding/audio_encoding.h"
#include "open_gsdk/inputs/audio_devices.h"
#include "open_gsdk/inputs/sound_source.h"
#include "open_gsdk/session/sound_timeline.h"
#include "open_gsdk/session/sound_track.h"

namespace open_gsdk {

class SoundPipeline {
 public:
  // `direction` is that of the devices to which the track can be bound. Throws Failure with
  // kNoEncoder.
  SoundPipeline(const std::string& track, const AudioEncoding& encoding, AudioDirection direction);
  // Stops.
  ~SoundPipeline();
  SoundPipeline(const SoundPipeline&) = delete;
  SoundPipeline& operator=(const SoundPipeline&) = delete;

  [[nodiscard]] const AudioFormat& format() const { return track_.format(); }

  // Takes the sound of this device from now on; any thread, before Start too. An empty text and
  // "Silence" are silence, kDefaultDevice is the system's default device of the direction. The
  // device before is heard until this one gives sound, for a second at most.
  void Bind(const std::string& device_id);

  // Begins with the sound of `start_ns` (on the steady clock); once. `deliver` is called on the
  // pipeline's own threads, one call at a time; each packet begins where the one before ends.
  void Start(std::int64_t start_ns, std::function<void(SoundPacket)> deliver);

  // Ends the threads and waits for them; not from within `deliver`.
  void Stop();

 private:
  // A device with its reading thread, and the number by which its news are known.
  struct Reader;

  // What a reader tells: a block or, without one, whether the device is lost.
  struct News {
    std::uint64_t reader = 0;
    bool lost = false;
    std::optional<SoundBlock> block{};
  };

  void Run();
  bool WaitForNews(std::int64_t deadline_ns, std::deque<News>& news,
                   std::optional<std::string>& wanted);
  void Rebind(const std::string& device_id);
  std::unique_ptr<Reader> StartReader(const std::string& device_id);
  void Push(News news);
  void Take(const News& news, bool overslept);
  void AddBlock(const SoundBlock& block, bool loss);
  void ReplaceReader();
  void Retire(std::unique_ptr<Reader> reader);

  const AudioDirection direction_;
  SoundTrack track_;
  std::thread thread_;

  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopped_ = false;               // guarded by mutex_
  std::optional<std::string> wanted_;  // guarded by mutex_; a device to be bound to
  std::deque<News> news_;              // guarded by mutex_

  // Of the thread; those of all readers that may still run.
  std::unique_ptr<Reader> reader_;
  std::unique_ptr<Reader> next_reader_;  // has given nothing yet
  std::int64_t next_until_ns_ = 0;       // takes the other's place then at the latest
  std::vector<std::unique_ptr<Reader>> retired_;
  std::uint64_t readers_ = 0;  // that there were
  SoundSupply supply_;
  std::int64_t delivering_ns_ = 0;  // what `deliver` took since the thread last woke
};

}  // namespace open_gsdk
