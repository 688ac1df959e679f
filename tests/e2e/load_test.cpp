// As much as a pipe takes: clip requests, settings and log lines by the thousand, and a host that
// does not read for a while. Every request is answered once and in order, and no line is lost.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <iostream>
#include <map>
#include <thread>

#include "capture_host/frames.h"
#include "tests/e2e/service_test.h"

namespace e2e {
namespace {

using std::chrono::steady_clock;

constexpr int kClips = 10'000;
constexpr int kLogThreads = 8;
constexpr int kLinesOfAThread = 2'000;
constexpr int kSettings = 20'000;
constexpr std::chrono::seconds kSilence{20};
// Far above what a loaded machine needs for all of it.
constexpr std::chrono::minutes kWholeLimit{5};

std::string FrameBytes(const Json& message) {
  const std::string text = message.dump();
  const capture_host::FramePrefix prefix =
      capture_host::MakeFramePrefix(static_cast<std::uint32_t>(text.size()));
  return std::string(prefix.begin(), prefix.end()) + text;
}

std::string ClipAnswer(int number) {
  return R"({"clip": {"audio_drop": 0, "captured_from_hdr": false, "duration": 0, "id": ")" +
         std::to_string(number) + R"(", "last_ts": "0", "succeeded": true, "video_drop": 0}})";
}

std::string LogText(int thread, int line) {
  return Line("thread " + std::to_string(thread) + " " + std::to_string(line));
}

// A session whose library threads all write their lines once the file "go" is there.
Json LoudSession() {
  Json::array threads;
  for (int thread = 0; thread < kLogThreads; ++thread) {
    threads.push_back(
        Json::object{{"steps", Json::array{Json::object{{"wait_file", "go"}},
                                           Json::object{{"log", "thread " + std::to_string(thread)},
                                                        {"count", kLinesOfAThread},
                                                        {"numbered", true}}}}});
  }
  threads.push_back(
      Json::object{{"steps", Json::array{Json::object{{"packets", -1}, {"interval_us", 16'667}}}}});
  return Json::object{{"sessions", Json::array{Json::object{{"threads", threads}}}}};
}

// How many frames of a burst go into a write.
enum Cut : int {
  kSplit = 0,  // each frame in two writes, its length and its text, as a host sends them
  kWhole = 1,
  kMerged = 100,
};

class Load : public ServiceTest {
 protected:
  static void SendAll(ServiceRun& run, Cut cut, int first, int last,
                      const std::function<Json(int)>& message) {
    std::string bytes;
    for (int number = first; number < last; ++number) {
      if (cut == kSplit) {
        run.Send(message(number));
        continue;
      }
      bytes += FrameBytes(message(number));
      const bool full = (number - first + 1) % cut == 0;
      if (!full && number + 1 != last) continue;
      run.Pipe().SendBytes(bytes);
      bytes.clear();
    }
  }

  static Json ClipNumber(int number) { return Clip("clip.mp4", std::to_string(number)); }

  static bool WaitForTexts(ServiceRun& run, std::size_t count) {
    return run.Pipe().WaitFor([&](const Texts& texts) { return texts.size() >= count; },
                              kWholeLimit);
  }

  // What came, taken apart: the answers to clips, and each thread's lines.
  static void ExpectEverythingOnceAndInOrder(const Texts& texts, int clips) {
    int next_clip = 0;
    std::map<int, int> next_line;
    for (const std::string& text : texts) {
      if (text.starts_with(R"({"clip")")) {
        ASSERT_EQ(text, ClipAnswer(next_clip++));
        continue;
      }
      const std::size_t thread = text.find("thread ");
      ASSERT_NE(thread, std::string::npos) << text;
      const int number = text.at(thread + 7) - '0';
      ASSERT_EQ(text, LogText(number, ++next_line[number]));
    }
    EXPECT_EQ(next_clip, clips);
    for (int thread = 0; thread < kLogThreads; ++thread) {
      EXPECT_EQ(next_line[thread], kLinesOfAThread) << "thread " << thread;
    }
  }

  // A service whose session runs; the texts of its start are `start_texts`.
  ServiceRun& StartLoudService(RunOptions options, std::size_t& start_texts) {
    options.script = LoudSession();
    const bool reads = options.read_pipe;
    ServiceRun& run = StartRecordingService(std::move(options), Settings());
    start_texts = 1;  // the capture settings
    if (reads) {
      EXPECT_TRUE(run.WaitForTextCount(start_texts));
    }
    return run;
  }

  static Texts After(const Texts& texts, std::size_t count) {
    return {texts.begin() + static_cast<std::ptrdiff_t>(std::min(count, texts.size())),
            texts.end()};
  }
};

TEST_F(Load, EveryClipIsAnsweredOnceAndInOrderAndNoLineIsLost) {
  std::size_t start_texts = 0;
  ServiceRun& run = StartLoudService({}, start_texts);
  run.Touch("go");
  const auto begin = steady_clock::now();
  SendAll(run, kSplit, 0, 3'000, ClipNumber);
  SendAll(run, kWhole, 3'000, 6'000, ClipNumber);
  SendAll(run, kMerged, 6'000, kClips, ClipNumber);
  const std::size_t expected = kClips + kLogThreads * kLinesOfAThread;
  ASSERT_TRUE(WaitForTexts(run, start_texts + expected)) << run.Texts().size();
  const std::chrono::duration<double> taken = steady_clock::now() - begin;
  ExpectEverythingOnceAndInOrder(After(run.Texts(), start_texts), kClips);
  ExpectCleanDie(run);
  std::cout << "hunt: " << kClips << " clip requests, split, whole and merged, with " << kLogThreads
            << " library threads of " << kLinesOfAThread
            << " lines each: all answered once and in order, no line lost, in " << taken.count()
            << " s\n";
}

TEST_F(Load, TwentyThousandSettingsAreMergedInOrder) {
  ServiceRun& run = Start();
  const auto begin = steady_clock::now();
  // Each message changes one of two numbers, so that one that is lost or late shows in the other.
  const auto message = [](int number) {
    return RecorderSettings(
        Json::object{{number % 2 == 0 ? "video_fps" : "record_length", number + 1}});
  };
  run.Send(RecorderSettings(Settings()));
  SendAll(run, kSplit, 0, 5'000, message);
  SendAll(run, kWhole, 5'000, 10'000, message);
  SendAll(run, kMerged, 10'000, kSettings, message);
  run.Send(Restart());
  ASSERT_TRUE(run.WaitForCall("gsdk_session_start"));
  const std::chrono::duration<double> taken = steady_clock::now() - begin;
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_session_properties_video_set_framerate"),
            Texts{"gsdk_session_properties_video_set_framerate(properties1, 19999)"});
  EXPECT_EQ(run.Calls().CallsThatStart("gsdk_recorder_set_duration"),
            Texts{"gsdk_recorder_set_duration(recorder1, 20000000)"});
  ExpectCleanDie(run);
  std::cout << "hunt: " << kSettings << " settings: merged in order, in effect "
            << taken.count() - 3 << " s later (without the wait of a restart)\n";
}

TEST_F(Load, AHostThatDoesNotReadForAWhileLosesNothing) {
  // Given a pipe that holds little
  std::size_t start_texts = 0;
  ServiceRun& run = StartLoudService({.pipe_buffer_bytes = 4096, .read_pipe = false}, start_texts);
  const auto begin = steady_clock::now();
  run.Touch("go");
  SendAll(run, kSplit, 0, kClips, ClipNumber);
  const std::chrono::duration<double> sent = steady_clock::now() - begin;
  std::this_thread::sleep_until(begin + kSilence);
  run.Pipe().StartReading();
  const std::size_t expected = kClips + kLogThreads * kLinesOfAThread;
  ASSERT_TRUE(WaitForTexts(run, start_texts + expected)) << run.Texts().size();
  const std::chrono::duration<double> read = steady_clock::now() - begin - kSilence;
  ExpectEverythingOnceAndInOrder(After(run.Texts(), start_texts), kClips);
  run.Send(Die(0));
  EXPECT_EQ(run.WaitForExit(), 0U);
  std::cout << "hunt: a host that does not read for " << kSilence.count() << " s while it sends "
            << kClips << " clip requests (taken in " << sent.count()
            << " s) and the library writes " << kLogThreads * kLinesOfAThread
            << " lines: all came, in " << read.count() << " s from then on\n";
}

}  // namespace
}  // namespace e2e
