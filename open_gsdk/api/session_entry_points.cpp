// The entry points for sessions and their inputs.
#include <windows.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

#include "gsdk/gsdk_api.h"
#include "open_gsdk/api/entry_point.h"
#include "open_gsdk/api/handles.h"
#include "open_gsdk/inputs/input_lists.h"
#include "open_gsdk/session/session.h"
#include "open_gsdk/support/library_log.h"

namespace open_gsdk {
namespace {

// A library whose threads run, or have left data for their end, must not be unloaded under them:
// from the first session on it stays until the process ends.
void KeepLoaded() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(&KeepLoaded), &module);
}

std::shared_ptr<Session> FindSession(const gsdk_session* session) {
  return FindOrThrow(Sessions(), session, "session");
}

// The texts that were given out and not yet given back.
struct Texts {
  std::mutex mutex;
  std::unordered_map<char*, std::unique_ptr<char[]>> live;
};

Texts& GivenTexts() {
  static Texts& texts = *new Texts;
  return texts;
}

char* GiveText(const std::string& text) {
  auto copy = std::make_unique<char[]>(text.size() + 1);
  std::memcpy(copy.get(), text.c_str(), text.size() + 1);
  char* const key = copy.get();
  Texts& texts = GivenTexts();
  const std::lock_guard lock(texts.mutex);
  texts.live.emplace(key, std::move(copy));
  return key;
}

}  // namespace
}  // namespace open_gsdk

using namespace open_gsdk;  // NOLINT(google-build-using-namespace): the interface has no namespace

extern "C" {

bool gsdk_session_create(gsdk_session** session, void* /*reserved*/, gsdk_error** error) {
  return Try(error, [&] {
    CheckArgument(session, "session");
    KeepLoaded();
    TakeFfmpegLines();
    *session = Sessions().Add(std::make_shared<Session>());
  });
}

bool gsdk_session_start(gsdk_session* session, gsdk_properties* properties, gsdk_error** error) {
  return Try(error, [&] {
    const auto found = FindSession(session);
    found->Start(*FindOrThrow(Properties(), properties, "properties"));
  });
}

void gsdk_session_destroy(gsdk_session* session) {
  Quietly([&] {
    const auto removed = Sessions().Remove(session);
    if (!removed) return;
    removed->Stop();
    AudioInputs().RemoveIf([&](const AudioInput& input) { return input.session == removed.get(); });
  });
}

bool gsdk_session_set_video_input(gsdk_session* session, const char* type, gsdk_error** error) {
  return Try(error, [&] {
    CheckArgument(type, "type");
    FindSession(session)->SetVideoInput(type);
  });
}

bool gsdk_session_update_video_input(gsdk_session* session, const char* settings,
                                     gsdk_error** error) {
  return Try(error, [&] {
    CheckArgument(settings, "settings");
    FindSession(session)->UpdateVideoInput(settings);
  });
}

bool gsdk_session_add_audio_input(gsdk_session* session, const char* kind, gsdk_audio_input** input,
                                  gsdk_error** error) {
  return Try(error, [&] {
    CheckArgument(kind, "kind");
    CheckArgument(input, "input");
    const auto found = FindSession(session);
    const std::size_t number = found->AddAudioInput(kind);
    *input = AudioInputs().Add(std::make_shared<const AudioInput>(AudioInput{found.get(), number}));
  });
}

bool gsdk_session_update_audio_input_handle(gsdk_session* session, gsdk_audio_input* input,
                                            const char* settings, gsdk_error** error) {
  return Try(error, [&] {
    CheckArgument(settings, "settings");
    const auto found = FindSession(session);
    const auto found_input = FindOrThrow(AudioInputs(), input, "audio input");
    if (found_input->session != found.get()) {
      throw Failure(ErrorCode::kInvalidHandle, "not an audio input of this session");
    }
    found->UpdateAudioInput(found_input->number, settings);
  });
}

bool gsdk_input_properties(const char* kind, char** text, gsdk_error** error) {
  return Try(error, [&] {
    CheckArgument(kind, "kind");
    CheckArgument(text, "text");
    *text = GiveText(InputListText(kind));
  });
}

void gsdk_input_properties_free(char* text) {
  Quietly([&] {
    Texts& texts = GivenTexts();
    const std::lock_guard lock(texts.mutex);
    texts.live.erase(text);
  });
}

}  // extern "C"
