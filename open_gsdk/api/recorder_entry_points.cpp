// The entry points for recorders and packets, errors and logging.
#include <memory>
#include <string>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/api/entry_point.h"
#include "open_gsdk/api/handles.h"
#include "open_gsdk/replay/clip.h"
#include "open_gsdk/replay/clip_file.h"
#include "open_gsdk/replay/recorder.h"
#include "open_gsdk/support/library_log.h"

using namespace open_gsdk;  // NOLINT(google-build-using-namespace): the interface has no namespace

extern "C" {

gsdk_recorder* gsdk_recorder_create(gsdk_properties* properties) {
  gsdk_recorder* handle = nullptr;
  Quietly([&] {
    if (Properties().Find(properties)) handle = Recorders().Add(std::make_shared<Recorder>());
  });
  return handle;
}

void gsdk_recorder_destroy(gsdk_recorder* recorder) {
  Quietly([&] { Recorders().Remove(recorder); });
}

void gsdk_recorder_set_duration(gsdk_recorder* recorder, std::uint32_t milliseconds) {
  Quietly([&] {
    if (const auto found = Recorders().Find(recorder)) found->SetDuration(milliseconds);
  });
}

void gsdk_recorder_push_packet(gsdk_recorder* recorder, gsdk_encoded_packet* packet) {
  Quietly([&] {
    const auto found = Recorders().Find(recorder);
    const auto content = Packets().Find(packet);
    if (found && content) found->Push(*content);
  });
}

gsdk_dump_result gsdk_recorder_dump(gsdk_recorder* recorder, const char* path) {
  gsdk_dump_result result{};
  result.status = static_cast<std::int32_t>(DumpStatus::kUnexpected);
  Quietly([&] {
    const std::string target = path == nullptr ? "" : path;
    if (const auto found = Recorders().Find(recorder)) {
      result = found->Dump([&](const Clip& clip) { return WriteClipFile(clip, target); });
    }
    if (result.status != 0) {
      Log(LogLevel::kWarning,
          "dump to \"" + target + "\" failed with status " + std::to_string(result.status));
    }
  });
  return result;
}

void gsdk_encoded_packet_release(gsdk_encoded_packet* packet) {
  Quietly([&] { Packets().Remove(packet); });
}

void gsdk_err_free(gsdk_error* error) {
  Quietly([&] { Errors().Remove(error); });
}

const char* gsdk_err_message(gsdk_error* error) {
  const char* message = "";
  Quietly([&] {
    if (const auto found = Errors().Find(error)) message = found->message.c_str();
  });
  return message;
}

std::int32_t gsdk_err_code(gsdk_error* error) {
  std::int32_t code = 0;
  Quietly([&] {
    if (const auto found = Errors().Find(error)) code = static_cast<std::int32_t>(found->code);
  });
  return code;
}

void gsdk_logging_set_callback(gsdk_log_callback callback) { SetLogCallback(callback); }

void gsdk_logging_set_global_level(std::int32_t level) { SetLogLevel(level); }

}  // extern "C"
