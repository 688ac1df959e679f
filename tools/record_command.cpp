#include "tools/record_command.h"

#include <algorithm>
#include <cstdio>
#include <system_error>

#include "platform/text_encoding.h"
#include "tools/wait_line.h"

namespace host_tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;
using capture_host::ClipAnswer;
using capture_host::RecorderSettings;

// 3 s until a restart begins and five attempts, 1 s apart, to set the video input, with room for a
// slow machine.
constexpr seconds kStartLimit{30};
// The session starts a moment after it is announced, and its first frame later still.
constexpr milliseconds kStartMargin{1'000};
// Restarts of the session start the count anew; this bounds them altogether.
constexpr seconds kRestartAllowance{120};
constexpr seconds kClipLimit{60};
constexpr int kProgressCells = 30;

void StartRecording(HostSession& session, const RecorderSettings& settings) {
  session.Send(capture_host::SettingsMessage(settings));
  session.Send(capture_host::RestartMessage());
}

bool IsAnnouncement(const Event& event) {
  const auto* const line = std::get_if<capture_host::LogLine>(&event.answer);
  return line != nullptr && capture_host::AnnouncesRecording(*line);
}

// Ends the command for the events that no step of a recording can go on after.
void FailIfOver(HostSession& session, const Event& event, const std::string& while_doing) {
  if (event.kind == Event::Kind::kClosed) session.FailBecauseEnded(while_doing);
  if (event.kind == Event::Kind::kInterrupted) {
    throw CommandFailure("Interrupted while " + while_doing + "; no clip was saved.");
  }
}

void AwaitAnnouncement(HostSession& session, Inbox& inbox, Transcript& transcript) {
  const std::string doing = "the recording was starting";
  WaitLine line(transcript, "Waiting for the recording to start");
  const Clock::time_point deadline = Clock::now() + kStartLimit;
  while (const auto event = line.Pop(inbox, deadline)) {
    FailIfOver(session, *event, doing);
    if (IsAnnouncement(*event)) return;
  }
  throw CommandFailure("The recording did not start within " + std::to_string(kStartLimit.count()) +
                       " s. The lines above say why not.");
}

std::string ProgressText(double elapsed, double total) {
  const int cells = static_cast<int>(elapsed / total * kProgressCells);
  char text[128];
  std::snprintf(text, sizeof(text), "Recording [%s%s] %.1f of %.0f s",
                std::string(static_cast<std::size_t>(cells), '#').c_str(),
                std::string(static_cast<std::size_t>(kProgressCells - cells), '.').c_str(), elapsed,
                total);
  return text;
}

void FillBuffer(HostSession& session, Inbox& inbox, Transcript& transcript, int length_s) {
  const std::string doing = "its buffer was filling";
  Clock::time_point began = Clock::now();
  const Clock::time_point give_up = began + seconds(length_s) + kRestartAllowance;
  int seconds_shown = -1;
  while (true) {
    const Clock::time_point now = Clock::now();
    const std::chrono::duration<double> elapsed = now - began;
    if (elapsed >= seconds(length_s) + kStartMargin) break;
    if (now >= give_up) {
      throw CommandFailure("The recording keeps starting over; no clip of " +
                           std::to_string(length_s) + " s can be had.");
    }
    const double shown = std::min(elapsed.count(), static_cast<double>(length_s));
    const bool whole_second = static_cast<int>(shown) != seconds_shown;
    seconds_shown = static_cast<int>(shown);
    transcript.Progress(ProgressText(shown, length_s), whole_second);
    const auto event = inbox.PopUntil(now + kProgressInterval);
    if (!event) continue;
    FailIfOver(session, *event, doing);
    if (IsAnnouncement(*event)) {
      transcript.Note("The recording started over; the buffer fills anew.");
      began = Clock::now();
    }
  }
  transcript.EndProgress();
}

ClipAnswer RequestClip(HostSession& session, Inbox& inbox, Transcript& transcript,
                       const std::filesystem::path& clip) {
  const std::string id = "clip-1";
  const std::string doing = "it was writing the clip";
  session.Send(capture_host::ClipMessage(platform::Utf8FromWide(clip.wstring()), id));
  WaitLine line(transcript, "Waiting for the clip");
  const Clock::time_point deadline = Clock::now() + kClipLimit;
  while (const auto event = line.Pop(inbox, deadline)) {
    FailIfOver(session, *event, doing);
    const auto* const answer = std::get_if<ClipAnswer>(&event->answer);
    if (answer == nullptr || answer->id != id) continue;
    if (!answer->succeeded) {
      throw CommandFailure("The service could not write the clip: " + answer->error + ". " +
                           capture_host::OutcomeOf(*answer).advice);
    }
    return *answer;
  }
  throw CommandFailure("The service did not answer the clip request within " +
                       std::to_string(kClipLimit.count()) + " s.");
}

void PrintFigures(Transcript& transcript, const ClipAnswer& answer, std::uintmax_t size) {
  char text[64];
  std::snprintf(text, sizeof(text), "Duration:        %.3f s", answer.duration_ms / 1000.0);
  transcript.Result(text);
  transcript.Result("Last timestamp:  " + std::to_string(answer.last_timestamp_ns) + " ns");
  transcript.Result("Audio dropped:   " + std::to_string(answer.audio_drop_ms) + " ms");
  transcript.Result("Video dropped:   " + std::to_string(answer.video_drop_ms) + " ms");
  transcript.Result(std::string("From HDR:        ") + (answer.captured_from_hdr ? "yes" : "no"));
  transcript.Result("File size:       " + std::to_string(size) + " bytes");
}

}  // namespace

void RecordClip(HostSession& session, Inbox& inbox, Transcript& transcript,
                const RecorderSettings& settings, const std::filesystem::path& clip) {
  StartRecording(session, settings);
  AwaitAnnouncement(session, inbox, transcript);
  FillBuffer(session, inbox, transcript, settings.record_length);
  const ClipAnswer answer = RequestClip(session, inbox, transcript, clip);
  session.Send(capture_host::DieMessage(0));
  const std::uint32_t status = session.AwaitEnd();

  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(clip, error);
  const std::string path = platform::Utf8FromWide(clip.wstring());
  if (error) throw CommandFailure("The service reported a clip, but there is no file " + path);
  PrintFigures(transcript, answer, size);
  if (status != 0) {
    throw CommandFailure("The clip " + path + " is written. " + capture_host::DescribeExit(status));
  }
  transcript.Result(path);
}

std::uint32_t WatchRecording(HostSession& session, Inbox& inbox, Transcript& transcript,
                             const RecorderSettings& settings,
                             std::optional<std::chrono::seconds> limit) {
  StartRecording(session, settings);
  WaitLine line(transcript, "Watching", limit);
  const Clock::time_point end = limit ? Clock::now() + *limit : Clock::time_point::max();
  while (true) {
    const auto event = line.Pop(inbox, end);
    if (event && event->kind == Event::Kind::kClosed) break;
    if (event && event->kind != Event::Kind::kInterrupted) continue;
    session.Send(capture_host::DieMessage(0));
    break;
  }
  return session.AwaitEnd();
}

}  // namespace host_tools
