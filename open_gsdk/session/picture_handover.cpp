#include "open_gsdk/session/picture_handover.h"

#include <utility>

#include "open_gsdk/support/steady_time.h"
#include "platform/deadline.h"

namespace open_gsdk {

bool PictureHandover::WaitForRoom() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return closed_ || pictures_.size() < kRoom; });
  return !closed_;
}

void PictureHandover::Put(TakenPicture picture) {
  {
    const std::lock_guard lock(mutex_);
    pictures_.push_back(std::move(picture));
  }
  changed_.notify_all();
}

std::optional<TakenPicture> PictureHandover::Take(std::int64_t deadline_ns) {
  std::optional<TakenPicture> taken;
  {
    std::unique_lock lock(mutex_);
    platform::WaitUntil(changed_, lock, SteadyPoint(deadline_ns),
                        [this] { return closed_ || !pictures_.empty(); });
    if (closed_ || pictures_.empty()) return std::nullopt;
    taken = std::move(pictures_.front());
    pictures_.pop_front();
  }
  changed_.notify_all();
  return taken;
}

void PictureHandover::Close() {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
  }
  changed_.notify_all();
}

bool PictureHandover::closed() {
  const std::lock_guard lock(mutex_);
  return closed_;
}

}  // namespace open_gsdk
