// What a replay buffer of a minute costs: time and memory, as ratios that hold on a slow machine as
// on a fast one.
//   dump_bench [FOLDER]    files are written to FOLDER, the temporary folder by default
// Prints each ratio with its limit; ends with 1 when one is missed.
#include <windows.h>

#include <psapi.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "open_gsdk/replay/clip_file.h"
#include "open_gsdk/replay/recorder.h"
#include "platform/deadline.h"
#include "platform/owned_handle.h"
#include "platform/text_encoding.h"
#include "tests/open_gsdk/packets.h"

namespace open_gsdk {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFrameRate = 30;
constexpr std::size_t kTracks = 3;
constexpr std::size_t kSoundSize = 341;  // 128 kbit/s
constexpr int kBufferSeconds = 60;
constexpr int kRounds = 5;

// Gives out the packets of a recording one after the other.
class Encoder {
 public:
  explicit Encoder(std::size_t bits_per_second) {
    streams_ = DescribedStreams(1280, 720, kFrameRate, kTracks);
    // Every tenth part of a second's bytes is the key frame's.
    const std::size_t second = bits_per_second / 8;
    key_size_ = second / 10;
    picture_size_ = (second - key_size_) / (kFrameRate - 1);
    // No byte is 0, as encoders see to it, so that nothing looks like the start of another unit.
    std::mt19937 random(1);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same bytes each time
    std::uniform_int_distribution<int> byte(1, 255);
    noise_.resize(2 * key_size_ + kSoundSize);
    std::generate(noise_.begin(), noise_.end(),
                  [&] { return static_cast<std::uint8_t>(byte(random)); });
  }

  // The pictures come at their time, the sound a tenth of a second later.
  EncodedPacket Next() {
    const std::int64_t picture_ns = pictures_ * 1'000'000'000 / kFrameRate;
    const std::int64_t sound_ns = SoundNs(sounds_ / std::int64_t{kTracks} + 1) + 100 * kMs;
    due_ns_ = std::min(picture_ns, sound_ns);
    if (sound_ns <= picture_ns) {
      const std::int64_t number = sounds_++;
      EncodedPacket packet = TestSound(streams_, static_cast<std::size_t>(number) % kTracks,
                                       number / std::int64_t{kTracks}, 0, Payload(kSoundSize));
      packet.data.front() = 0x21;  // a pair of channels
      return packet;
    }
    const bool key_frame = pictures_++ % kFrameRate == 0;
    EncodedPacket packet =
        TestPicture(streams_, 0, key_frame, Payload(key_frame ? key_size_ : picture_size_));
    packet.time_ns = picture_ns;
    packet.duration_ns = 1'000'000'000 / kFrameRate;
    const std::uint8_t unit = key_frame ? 0x65 : 0x41;
    const std::uint8_t start[] = {0, 0, 0, 1, unit};
    std::copy(std::begin(start), std::end(start), packet.data.begin());
    return packet;
  }

  // When the last packet came, from the beginning of the recording on.
  [[nodiscard]] std::int64_t due_ns() const { return due_ns_; }

 private:
  std::vector<std::uint8_t> Payload(std::size_t size) {
    const std::size_t begin = (++payloads_ * 1009) % (noise_.size() - size);
    const auto first = noise_.begin() + static_cast<std::ptrdiff_t>(begin);
    return {first, first + static_cast<std::ptrdiff_t>(size)};
  }

  std::shared_ptr<StreamSet> streams_;
  std::size_t key_size_ = 0;
  std::size_t picture_size_ = 0;
  std::vector<std::uint8_t> noise_;
  std::size_t payloads_ = 0;
  std::int64_t pictures_ = 0;
  std::int64_t sounds_ = 0;
  std::int64_t due_ns_ = 0;
};

// Returns the bytes of the packets.
std::size_t PushUntil(Recorder& recorder, Encoder& encoder, int second) {
  std::size_t bytes = 0;
  while (encoder.due_ns() < second * std::int64_t{1'000'000'000}) {
    const auto packet = std::make_shared<const EncodedPacket>(encoder.Next());
    recorder.Push(*packet);
    bytes += packet->data.size();
  }
  return bytes;
}

bool failed = false;

// `rounds` are what single rounds came to, for the spread; `measured` is what counts.
void Report(const std::string& what, double measured, double limit,
            const std::vector<double>& rounds) {
  const bool holds = measured <= limit;
  std::printf("%-64s %6.2f  limit %.2f  %s  rounds", what.c_str(), measured, limit,
              holds ? "holds" : "MISSED");
  for (const double round : rounds) std::printf(" %.2f", round);
  std::printf("\n");
  if (!holds) failed = true;
}

double Least(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

// The ratio of the least of each, over rounds that took turns.
void ReportLeast(const std::string& what, const std::vector<double>& ours,
                 const std::vector<double>& floor, double limit) {
  std::vector<double> rounds;
  for (std::size_t round = 0; round < ours.size(); ++round) {
    rounds.push_back(ours[round] / floor[round]);
  }
  Report(what, Least(ours) / Least(floor), limit, rounds);
}

std::size_t PrivateBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters.PagefileUsage;  // Windows's name for memory that is the process's own
}

void MeasureMemory(Recorder& recorder, const std::string& what, std::size_t bits_per_second) {
  constexpr int kWarmUpSeconds = 5;
  recorder.SetDuration(kBufferSeconds * 1000);
  Encoder encoder(bits_per_second);
  PushUntil(recorder, encoder, kWarmUpSeconds);
  const std::size_t before = PrivateBytes();
  const std::size_t bytes = PushUntil(recorder, encoder, kBufferSeconds);
  const std::size_t grown = PrivateBytes() - before;
  const double ratio = static_cast<double>(grown) / static_cast<double>(bytes);
  Report("memory grown from second 5 to 60 / bytes of the packets, " + what, ratio, 1.10, {ratio});
}

// The time in milliseconds.
template <typename Call>
double TimeOf(const Call& call) {
  const Clock::time_point begin = Clock::now();
  call();
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

DumpStatus Dump(Recorder& recorder, const std::string& path) {
  return static_cast<DumpStatus>(
      recorder.Dump([&](const Clip& clip) { return WriteClipFile(clip, path); }).status);
}

std::vector<std::uint8_t> ReadWhole(const std::wstring& path) {
  const platform::OwnedHandle file = platform::OwnFile(
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  LARGE_INTEGER size{};
  if (!file || !GetFileSizeEx(file.get(), &size)) return {};
  std::vector<std::uint8_t> content(static_cast<std::size_t>(size.QuadPart));
  DWORD read = 0;
  ReadFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &read, nullptr);
  content.resize(read);
  return content;
}

void WriteAndFlush(const std::wstring& path, const std::vector<std::uint8_t>& content) {
  const platform::OwnedHandle file = platform::OwnFile(
      CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  if (!file) return;
  constexpr std::size_t kBlock = std::size_t{1024} * 1024;
  for (std::size_t begin = 0; begin < content.size(); begin += kBlock) {
    DWORD written = 0;
    WriteFile(file.get(), content.data() + begin,
              static_cast<DWORD>(std::min(kBlock, content.size() - begin)), &written, nullptr);
  }
  FlushFileBuffers(file.get());
}

void MeasureDump(const std::string& folder) {
  Recorder recorder;
  recorder.SetDuration(kBufferSeconds * 1000);
  Encoder encoder(8'000'000);
  PushUntil(recorder, encoder, kBufferSeconds + 1);
  const std::string path = folder + "dump_bench.mp4";
  const std::wstring clip = platform::WideFromUtf8(path);
  const std::wstring copy = platform::WideFromUtf8(folder + "dump_bench.copy");
  std::vector<double> dumps_ms;
  std::vector<double> writes_ms;
  std::size_t size = 0;
  for (int round = 0; round < kRounds; ++round) {
    DeleteFileW(clip.c_str());
    dumps_ms.push_back(TimeOf([&] {
      if (Dump(recorder, path) != DumpStatus::kSuccess) failed = true;
    }));
    const std::vector<std::uint8_t> content = ReadWhole(clip);
    size = content.size();
    DeleteFileW(copy.c_str());
    writes_ms.push_back(TimeOf([&] { WriteAndFlush(copy, content); }));
  }
  DeleteFileW(clip.c_str());
  DeleteFileW(copy.c_str());
  std::printf("a dump of %.1f MB takes %.0f ms, writing and flushing as many %.0f ms\n",
              static_cast<double>(size) / 1e6, Least(dumps_ms), Least(writes_ms));
  ReportLeast("dump of 60 s with three tracks / write and flush", dumps_ms, writes_ms, 2.0);
}

// The longest time in milliseconds between the ends of two pushes, of packets that come at their
// real times for a few seconds.
double LongestGapMs(Recorder& recorder, Encoder& encoder) {
  constexpr std::int64_t kLengthNs = std::int64_t{3} * 1'000'000'000;
  const std::int64_t first_ns = encoder.due_ns();
  const Clock::time_point begin = Clock::now();
  Clock::time_point last = begin;
  double longest_ms = 0;
  while (encoder.due_ns() - first_ns < kLengthNs) {
    const EncodedPacket packet = encoder.Next();
    platform::SleepUntil(begin + std::chrono::duration_cast<Clock::duration>(
                                     std::chrono::nanoseconds(encoder.due_ns() - first_ns)));
    recorder.Push(packet);
    const Clock::time_point now = Clock::now();
    longest_ms =
        std::max(longest_ms, std::chrono::duration<double, std::milli>(now - last).count());
    last = now;
  }
  return longest_ms;
}

void MeasureGaps(const std::string& folder) {
  Recorder recorder;
  recorder.SetDuration(kBufferSeconds * 1000);
  Encoder encoder(8'000'000);
  PushUntil(recorder, encoder, kBufferSeconds + 1);
  std::vector<double> without_ms;
  std::vector<double> with_ms;
  for (int round = 0; round < kRounds; ++round) {
    without_ms.push_back(LongestGapMs(recorder, encoder));
    std::thread dumper([&] {
      platform::SleepUntil(Clock::now() + std::chrono::seconds(1));
      const std::string path = folder + "dump_bench.mp4";
      if (Dump(recorder, path) != DumpStatus::kSuccess) failed = true;
      DeleteFileW(platform::WideFromUtf8(path).c_str());
    });
    with_ms.push_back(LongestGapMs(recorder, encoder));
    dumper.join();
  }
  std::printf("longest gap between packets %.1f ms without, %.1f ms with a dump\n",
              Least(without_ms), Least(with_ms));
  ReportLeast("longest gap between packets with a dump / without", with_ms, without_ms, 1.2);
}

std::string TemporaryFolder() {
  std::wstring folder(MAX_PATH, L'\0');
  folder.resize(GetTempPathW(MAX_PATH, folder.data()));
  return platform::Utf8FromWide(folder);
}

}  // namespace
}  // namespace open_gsdk

int main(int argument_count, char** arguments) {
  using namespace open_gsdk;  // NOLINT(google-build-using-namespace): it is this file's own
  const std::string folder =
      argument_count > 1 ? std::string(arguments[1]) + "\\" : TemporaryFolder();
  {
    // First, and both kept, so that nothing that was freed can be used again.
    Recorder large;
    Recorder small;
    MeasureMemory(large, "8 Mbit/s", 8'000'000);
    MeasureMemory(small, "2 Mbit/s", 2'000'000);
  }
  MeasureDump(folder);
  MeasureGaps(folder);
  return failed ? 1 : 0;
}
