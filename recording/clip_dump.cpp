#include "recording/clip_dump.h"

#include <memory>
#include <utility>

#include "gsdk/capture_library.h"
#include "platform/blocking_queue.h"
#include "platform/files.h"
#include "protocol/host_answers.h"
#include "recording/session_state.h"

namespace capture_service {
namespace {

// Never destroyed: the clip thread still waits here when the process ends.
platform::BlockingQueue<ClipRequest>& ClipRequestQueue() {
  static auto& queue = *new platform::BlockingQueue<ClipRequest>;
  return queue;
}

}  // namespace

void EnqueueClipRequest(ClipRequest request) { ClipRequestQueue().Push(std::move(request)); }

void RunClipThread() {
  for (;;) ServeClipRequest(ClipRequestQueue().Pop());
}

void ServeClipRequest(const ClipRequest& request) {
  // A dump that is still running when the process ends must not lose the code it runs in.
  const std::shared_ptr<void> loaded = KeepLibraryLoaded();
  gsdk_recorder* const recorder = Session().recorder;
  if (recorder == nullptr || loaded == nullptr) {
    SendClipFailure(request.id, "recorder not initialized");
    return;
  }

  const gsdk_dump_result dump = Library().gsdk_recorder_dump(recorder, request.filepath.c_str());
  if (dump.status == kGsdkDumpSuccess) {
    SendClipResult(request.id, dump.duration, dump.last_timestamp, dump.audio_drop, dump.video_drop,
                   dump.captured_from_hdr != 0);
  } else {
    platform::RemoveFile(request.filepath);
    SendClipFailure(request.id, DumpErrorText(dump.status, request.filepath));
  }
}

std::string DumpErrorText(std::int32_t status, const std::string& filepath) {
  switch (status) {
    case kGsdkDumpEmpty:
      return "clip was empty";
    case kGsdkDumpCannotOpen:
      return "failed to open " + filepath + " for writing";
    case kGsdkDumpBadAudioStream:
      return "Failed to add audio stream.";
    case kGsdkDumpBadVideoStream:
      return "Failed to add video stream.";
    case kGsdkDumpCannotWrite:
      return "Write clip buffer : failed to write full clip buffer.";
    case kGsdkDumpCannotRename:
      return "failed to rename dump file to " + filepath;
    default:
      return "Unexpected error";
  }
}

}  // namespace capture_service
