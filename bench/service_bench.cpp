// Plays the host of the built service and, in turn with it, of pipe_floor.exe, and measures both:
//   service_bench frames ROUNDS     frames a second that each takes from the pipe
//   service_bench clips ROUNDS      microseconds from a clip request to its answer
//   service_bench starts ROUNDS     milliseconds until the pipe is open, and from "die" to the end
//   service_bench rest              a session with 60 packets a second, until standard input ends
// The programs and the library that costs nothing are looked for beside this one. Prints a line
// "WHAT service|floor VALUE" for each value; of `rest` the pipe's path once the session runs.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "capture_host/frames.h"
#include "capture_host/host_pipe.h"
#include "capture_host/messages.h"
#include "capture_host/service_process.h"
#include "platform/deadline.h"
#include "platform/text_encoding.h"

namespace {

using capture_host::Frame;
using capture_host::HostPipe;
using capture_host::ServiceProcess;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::chrono::milliseconds kPatience = std::chrono::seconds(30);
constexpr const char* kClipPath = "C:\\clip.mp4";
constexpr std::string_view kClipAnswer = R"({"clip")";

enum class Program { kService, kFloor };

const char* NameOf(Program program) { return program == Program::kService ? "service" : "floor"; }

void Print(const std::string& what, Program program, double value) {
  std::printf("%s %s %.3f\n", what.c_str(), NameOf(program), value);
}

std::filesystem::path Folder() {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
  return std::filesystem::path(path).parent_path();
}

// A program under measurement with the host's end of its pipe. Ends with this object.
class Peer {
 public:
  explicit Peer(Program program, int packets_a_second = 1) {
    capture_host::Error error;
    pipe_ = HostPipe::Create({}, error);
    if (!pipe_) throw std::runtime_error(error.what);
    capture_host::ProcessStart start;
    start.program =
        Folder() / (program == Program::kService ? "CaptureService.exe" : "pipe_floor.exe");
    start.arguments = {pipe_->path()};
    if (program == Program::kService) {
      start.arguments.push_back((Folder() / "bench" / "gsdk.dll").wstring());
      start.variables[L"BENCH_PACKETS_A_SECOND"] = std::to_wstring(packets_a_second);
    }
    const Clock::time_point begin = Clock::now();
    process_ = ServiceProcess::Start(start, error);
    if (!process_) throw std::runtime_error(error.what);
    if (pipe_->AwaitClient(process_->handle(), kPatience) != HostPipe::Arrival::kClient) {
      throw std::runtime_error("the pipe was not opened");
    }
    until_open_ms_ = Milliseconds(Clock::now() - begin).count();
  }

  [[nodiscard]] double until_open_ms() const { return until_open_ms_; }
  [[nodiscard]] const std::wstring& path() const { return pipe_->path(); }

  void Write(std::string_view bytes) {
    if (pipe_->WriteBytes(bytes, kPatience) != 0) throw std::runtime_error("the pipe is closed");
  }

  // The next frame whose text begins with `begin`.
  std::string Await(std::string_view begin) {
    for (;;) {
      Frame frame = pipe_->ReadFrame();
      if (frame.kind != Frame::Kind::kText) throw std::runtime_error("no answer: " + frame.text);
      if (frame.text.starts_with(begin)) return std::move(frame.text);
    }
  }

  // Returns the milliseconds that it took.
  double End() {
    const std::string text = capture_host::DieMessage(0);
    const Clock::time_point begin = Clock::now();
    pipe_->WriteFrame(text, kPatience);
    if (!process_->WaitForExit(kPatience)) throw std::runtime_error("it does not end");
    return Milliseconds(Clock::now() - begin).count();
  }

 private:
  std::unique_ptr<HostPipe> pipe_;
  std::unique_ptr<ServiceProcess> process_;
  double until_open_ms_ = 0;
};

std::string FrameOf(std::string_view text) {
  const auto prefix = capture_host::MakeFramePrefix(static_cast<std::uint32_t>(text.size()));
  return std::string(prefix.data(), prefix.size()).append(text);
}

std::string ClipFrame() { return FrameOf(capture_host::ClipMessage(kClipPath, "1")); }

// Without a session the service answers that there is none.
void AwaitReady(Peer& peer) {
  peer.Write(ClipFrame());
  peer.Await(kClipAnswer);
}

// --- Frames -------------------------------------------------------------------------------------

// A message that changes nothing, of `size` bytes.
std::string IdleMessage(std::size_t size) {
  const std::string begin = R"({"event": {"none": ")";
  const std::string end = R"("}})";
  return begin + std::string(size - begin.size() - end.size(), 'x') + end;
}

// Sends `count` frames as fast as the pipe takes them and a clip request, whose answer says that
// all were taken. Returns the frames a second.
double FramesASecond(Peer& peer, std::size_t size, int count) {
  // Many at once, so that the writing costs little beside the reading.
  constexpr std::size_t kBatchBytes = std::size_t{64} * 1024;
  const std::string frame = FrameOf(IdleMessage(size));
  const int batch_frames = static_cast<int>(kBatchBytes / frame.size());
  std::string batch;
  for (int i = 0; i < batch_frames; ++i) batch += frame;

  const Clock::time_point begin = Clock::now();
  for (int left = count; left > 0; left -= batch_frames) {
    peer.Write(std::string_view(batch).substr(
        0, frame.size() * static_cast<std::size_t>(std::min(left, batch_frames))));
  }
  AwaitReady(peer);
  return count / std::chrono::duration<double>(Clock::now() - begin).count();
}

void MeasureFrames(int rounds) {
  constexpr double kRoundSeconds = 0.15;
  Peer service(Program::kService);
  Peer floor(Program::kFloor);
  AwaitReady(service);
  AwaitReady(floor);
  for (const std::size_t size : {std::size_t{64}, std::size_t{4096}}) {
    constexpr int kFirstCount = 500;
    const int count = static_cast<int>(FramesASecond(floor, size, kFirstCount) * kRoundSeconds);
    FramesASecond(service, size, kFirstCount);
    for (int round = 0; round < rounds; ++round) {
      const std::string what = "frames_" + std::to_string(size);
      Print(what, Program::kService, FramesASecond(service, size, count));
      Print(what, Program::kFloor, FramesASecond(floor, size, count));
    }
  }
  service.End();
  floor.End();
}

// --- Clips --------------------------------------------------------------------------------------

void StartSession(Peer& peer) {
  capture_host::RecorderSettings settings = capture_host::DefaultSettings();
  settings.recording_mode = static_cast<std::int32_t>(capture_host::RecordingMode::kGame);
  settings.game_pid = static_cast<std::int32_t>(GetCurrentProcessId());
  settings.audio_game = "none";
  peer.Write(FrameOf(capture_host::SettingsMessage(settings)));
  peer.Write(FrameOf(capture_host::RestartMessage()));
  peer.Await(R"({"error": "capture settings: )");
  // The rest of the start makes no line.
  for (;;) {
    peer.Write(ClipFrame());
    if (peer.Await(kClipAnswer).find(R"("succeeded": true)") != std::string::npos) return;
    platform::SleepUntil(Clock::now() + std::chrono::milliseconds(100));
  }
}

double AnswerMicroseconds(Peer& peer, const std::string& request) {
  const Clock::time_point begin = Clock::now();
  peer.Write(request);
  peer.Await(kClipAnswer);
  return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

// The two take turns with every request, so that what disturbs one disturbs the other.
void MeasureClips(int rounds) {
  constexpr int kRequests = 400;
  Peer service(Program::kService);
  Peer floor(Program::kFloor);
  StartSession(service);
  const std::string clip = ClipFrame();
  for (int round = 0; round < rounds; ++round) {
    std::map<Program, std::vector<double>> microseconds;
    for (int request = 0; request < kRequests; ++request) {
      microseconds[Program::kService].push_back(AnswerMicroseconds(service, clip));
      microseconds[Program::kFloor].push_back(AnswerMicroseconds(floor, clip));
    }
    for (auto& [program, times] : microseconds) {
      std::sort(times.begin(), times.end());
      Print("clip_p50", program, times[kRequests / 2]);
      Print("clip_p99", program, times[kRequests * 99 / 100]);
    }
  }
  service.End();
  floor.End();
}

// --- Start, end and rest ------------------------------------------------------------------------

void MeasureStarts(int rounds) {
  for (int round = 0; round < rounds; ++round) {
    for (const Program program : {Program::kService, Program::kFloor}) {
      Peer peer(program);
      Print("start", program, peer.until_open_ms());
      AwaitReady(peer);
      Print("end", program, peer.End());
    }
  }
}

void Rest() {
  constexpr int kPacketsASecond = 60;
  Peer service(Program::kService, kPacketsASecond);
  StartSession(service);
  std::printf("%s\n", platform::Utf8FromWide(service.path()).c_str());
  std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
  service.End();
}

int Run(const std::vector<std::string>& arguments) {
  const std::string what = !arguments.empty() ? arguments[0] : "";
  const int rounds = arguments.size() > 1 ? std::atoi(arguments[1].c_str()) : 1;
  if (what == "frames") {
    MeasureFrames(rounds);
  } else if (what == "clips") {
    MeasureClips(rounds);
  } else if (what == "starts") {
    MeasureStarts(rounds);
  } else if (what == "rest") {
    Rest();
  } else {
    std::fprintf(stderr, "service_bench: frames, clips, starts or rest\n");
    return 2;
  }
  return 0;
}

}  // namespace

int main(int argument_count, char** arguments) {
  try {
    return Run({arguments + 1, arguments + argument_count});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "service_bench: %s\n", error.what());
    return 1;
  }
}
