#include "open_gsdk/session/sound_pipeline.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <utility>

#include "open_gsdk/session/own_thread.h"
#include "open_gsdk/support/failure.h"
#include "open_gsdk/support/library_log.h"
#include "open_gsdk/support/steady_time.h"
#include "platform/deadline.h"

namespace open_gsdk {
namespace {

// How long the device before is heard while the next one gives nothing.
constexpr std::int64_t kHandoverNs = 1'000'000'000;
// Ten seconds of blocks: what waits while the user's packet callback does not return.
constexpr std::size_t kMostNews = 1000;

bool IsSilence(const std::string& device_id) { return device_id.empty() || device_id == "Silence"; }

}  // namespace

struct SoundPipeline::Reader {
  Reader(std::uint64_t own_number, AudioDirection direction, const std::string& device_id,
         const std::string& label, SoundSource::Handlers handlers)
      : number(own_number), source(direction, device_id, label, std::move(handlers)) {}
  ~Reader() {
    source.Stop();
    if (thread.joinable()) thread.join();
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  const std::uint64_t number;
  SoundSource source;
  std::atomic<bool> ended{false};
  std::thread thread;
};

SoundPipeline::SoundPipeline(const std::string& track, const AudioEncoding& encoding,
                             AudioDirection direction)
    : direction_(direction), track_(track, encoding) {}

SoundPipeline::~SoundPipeline() { Stop(); }

void SoundPipeline::Bind(const std::string& device_id) {
  const std::lock_guard lock(mutex_);
  wanted_ = device_id;
  changed_.notify_all();
}

void SoundPipeline::Start(std::int64_t start_ns, std::function<void(SoundPacket)> deliver) {
  track_.Start(start_ns, [this, deliver = std::move(deliver)](SoundPacket packet) {
    const std::int64_t begin_ns = SteadyNowNs();
    deliver(std::move(packet));
    delivering_ns_ += SteadyNowNs() - begin_ns;
  });
  thread_ = StartOwnThread([this] {
    try {
      Run();
    } catch (const std::exception& error) {
      Log(LogLevel::kError, "track \"" + format().name + "\" ended: " + error.what());
    }
  });
}

void SoundPipeline::Stop() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
  reader_.reset();
  next_reader_.reset();
  retired_.clear();
}

void SoundPipeline::Run() {
  std::deque<News> news;
  std::optional<std::string> wanted;
  for (std::int64_t woken_ns = SteadyNowNs();;) {
    const std::int64_t deadline_ns = track_.NextPacketEndNs() + GraceNs(supply_, SteadyNowNs());
    if (!WaitForNews(deadline_ns, news, wanted)) return;
    // The process may be stopped while this thread works as well as while it waits.
    const std::int64_t ready_ns =
        std::exchange(woken_ns, SteadyNowNs()) + std::exchange(delivering_ns_, 0);
    const bool overslept = HasOverslept(std::max(deadline_ns, ready_ns), woken_ns);
    if (wanted) Rebind(*std::exchange(wanted, std::nullopt));
    for (const News& item : news) Take(item, overslept);
    news.clear();
    if (next_reader_ && woken_ns > next_until_ns_) ReplaceReader();
    track_.FillUntil(woken_ns - GraceNs(supply_, woken_ns), IsLoss(supply_, overslept));
  }
}

// Waits until there is something to do, or the time has come; false when the pipeline is stopped.
bool SoundPipeline::WaitForNews(std::int64_t deadline_ns, std::deque<News>& news,
                                std::optional<std::string>& wanted) {
  std::unique_lock lock(mutex_);
  platform::WaitUntil(changed_, lock, SteadyPoint(deadline_ns),
                      [this] { return stopped_ || wanted_ || !news_.empty(); });
  news.swap(news_);
  wanted.swap(wanted_);
  return !stopped_;
}

void SoundPipeline::Rebind(const std::string& device_id) {
  std::erase_if(retired_, [](const auto& reader) { return reader->ended.load(); });
  Retire(std::move(next_reader_));
  if (IsSilence(device_id)) {
    Retire(std::move(reader_));
    supply_ = {};
    return;
  }
  next_reader_ = StartReader(device_id);
  next_until_ns_ = SteadyNowNs() + kHandoverNs;
  if (!reader_) ReplaceReader();
}

std::unique_ptr<SoundPipeline::Reader> SoundPipeline::StartReader(const std::string& device_id) {
  const std::uint64_t number = ++readers_;
  SoundSource::Handlers handlers;
  handlers.on_block = [this, number](SoundBlock block) {
    Push({.reader = number, .block = std::move(block)});
  };
  handlers.on_lost = [this, number](bool lost) { Push({.reader = number, .lost = lost}); };
  auto reader = std::make_unique<Reader>(number, direction_, device_id,
                                         "track \"" + format().name + "\"", std::move(handlers));
  reader->thread = StartOwnThread([this, reader = reader.get()] {
    try {
      reader->source.Run();
    } catch (const std::exception& error) {
      Log(LogLevel::kError, "track \"" + format().name + "\" is silent: " + error.what());
    }
    reader->ended = true;
  });
  return reader;
}

void SoundPipeline::Push(News news) {
  const std::lock_guard lock(mutex_);
  if (news_.size() == kMostNews) {
    news_.pop_front();
    // What takes its place is known to be missing something before it.
    if (news_.front().block) news_.front().block->lost = news_.front().block->jump = true;
  }
  news_.push_back(std::move(news));
  changed_.notify_all();
}

void SoundPipeline::Take(const News& news, bool overslept) {
  if (next_reader_ && news.reader == next_reader_->number && news.block) ReplaceReader();
  if (!reader_ || news.reader != reader_->number) return;
  if (news.block) {
    AddBlock(*news.block, news.block->lost || IsLoss(supply_, overslept));
    supply_.heard_ns = SteadyNowNs();
  } else {
    // Until now the sound of the device was missing.
    if (supply_.lost) track_.FillUntil(SteadyNowNs() - GraceNs(supply_, SteadyNowNs()), true);
    supply_.lost = news.lost;
  }
}

// A device whose samples cannot be used is as good as none.
void SoundPipeline::AddBlock(const SoundBlock& block, bool loss) {
  try {
    track_.Add(block, loss);
  } catch (const Failure& failure) {
    Log(LogLevel::kWarning, "track \"" + format().name + "\" is silent: " + failure.what());
    Rebind("");
  }
}

void SoundPipeline::ReplaceReader() {
  Retire(std::move(reader_));
  reader_ = std::move(next_reader_);
  supply_ = {.bound = true};
}

// Its thread may be waiting for a slow device, and is not waited for.
void SoundPipeline::Retire(std::unique_ptr<Reader> reader) {
  if (!reader) return;
  reader->source.Stop();
  retired_.push_back(std::move(reader));
}

}  // namespace open_gsdk
