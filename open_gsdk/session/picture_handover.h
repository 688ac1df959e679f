// The queue between the thread that takes pictures and the one that encodes them, so that each can
// be held up for a moment without holding up the other. It is short, so that no picture waits for
// long.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

#include "open_gsdk/encoding/video_encoder.h"
#include "open_gsdk/support/ffmpeg.h"

namespace open_gsdk {

// A picture as it goes to the encoder.
struct TakenPicture {
  Frame frame;
  std::int64_t number = 0;  // of the frame at which it was taken
  std::int64_t lost = 0;    // frames that were lost right before it
  bool from_hdr = false;    // what it shows is shown in HDR
  // The encoder for this picture and those after it; null for the one of the picture before.
  std::unique_ptr<VideoEncoder> encoder = nullptr;
};

// One thread puts, one takes; any thread may close. Pictures that are left when it closes are lost.
class PictureHandover {
 public:
  // Pictures that wait at most. With one, beside busy processes, each thread also waits for the
  // other's turn.
  static constexpr std::size_t kRoom = 2;

  // Waits until a picture can be put; false once it is closed.
  bool WaitForRoom();

  // To be called once there is room.
  void Put(TakenPicture picture);

  // Waits for the oldest picture until `deadline_ns` on the steady clock; none then, or once it is
  // closed.
  std::optional<TakenPicture> Take(std::int64_t deadline_ns);

  void Close();
  bool closed();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<TakenPicture> pictures_;  // guarded by mutex_
  bool closed_ = false;                // guarded by mutex_
};

}  // namespace open_gsdk
