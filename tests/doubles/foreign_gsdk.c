// A capture library of somebody else's: plain C, with declarations of its own, made from nothing
// but the list of functions and the calling convention of 64-bit Windows. It shows that the
// project's interface header says what a library sees.
//
// - A truth value is the lowest byte of the result register; the bytes above it are rubbish here,
// as they may be, and so is the upper half of a 32-bit result.
// - Arguments come in registers, each number in one of its own.
// - A dump's 56 bytes go to where a hidden first argument points; all that the service is not to
// read is rubbish.
//
// It writes its calls in the form of gsdk_double_log.h to the file that GSDK_DOUBLE_LOG names. A
// source of the kind "audio_input" is refused. Once a session's properties are destroyed its thread
// sends a log line and a packet, and, when a file "go" is in the working folder, error 31.

#include <windows.h>

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

static char session, properties, recorder, first_input, second_input, error, packet;
static char audio_list[] = "{\"device_id\": {\"values\": [{\"value\": \"Speakers\"}]}}";

static void (*log_line)(int32_t level, const char* text);
static void (*on_error)(void* user_data, void* error);
static void* error_user_data;
static void (*on_packet)(void* user_data, void* packet);
static void* packet_user_data;

static CRITICAL_SECTION log_lock;
static HANDLE configured;  // signalled once the properties are destroyed
static HANDLE thread;
static volatile LONG ending;

// What a function leaves in the result register for a truth value and for a 32-bit number.
static uint64_t Truth(int truth) { return 0xDEADBEEFCAFEBA00u | (truth ? 1u : 0u); }
static uint64_t Number(int32_t number) { return 0xDEADBEEF00000000u | (uint32_t)number; }

static const char* NameOf(const void* object) {
  if (object == NULL) return "null";
  if (object == &session) return "session";
  if (object == &properties) return "properties";
  if (object == &recorder) return "recorder";
  if (object == &first_input) return "first input";
  if (object == &second_input) return "second input";
  if (object == &error) return "error";
  if (object == &packet) return "packet";
  if (object == audio_list) return "list";
  return "unknown";
}

// Writes `text` as a JSON string.
static void WriteText(FILE* file, const char* text) {
  fputc('"', file);
  for (; *text != '\0'; ++text) {
    if (*text == '"' || *text == '\\') fputc('\\', file);
    fputc(*text, file);
  }
  fputc('"', file);
}

// Writes one line. `arguments` has a letter for each argument that follows: o an object, s a text,
// d a signed and u an unsigned number, each of 32 bits.
static void Log(const char* member, const char* value, const char* arguments, ...) {
  const wchar_t* path = _wgetenv(L"GSDK_DOUBLE_LOG");
  FILE* file = NULL;
  va_list list;  // NOLINT(cppcoreguidelines-init-variables): va_start does
  if (path == NULL) return;
  EnterCriticalSection(&log_lock);
  file = _wfopen(path, L"ab");
  if (file != NULL) {
    const char* separator = "";
    fprintf(file, "{\"%s\": \"%s\", \"args\": [", member, value);
    va_start(list, arguments);
    for (; *arguments != '\0'; ++arguments, separator = ", ") {
      fputs(separator, file);
      if (*arguments == 'o') {
        WriteText(file, NameOf(va_arg(list, const void*)));
      } else if (*arguments == 's') {
        WriteText(file, va_arg(list, const char*));
      } else if (*arguments == 'd') {
        fprintf(file, "%d", va_arg(list, int));
      } else {
        fprintf(file, "%u", va_arg(list, unsigned));
      }
    }
    va_end(list);
    fputs("]}\n", file);
    fclose(file);
  }
  LeaveCriticalSection(&log_lock);
}

static DWORD WINAPI RunSession(void* unused) {
  (void)unused;
  WaitForSingleObject(configured, INFINITE);
  log_line(3, "a line of a foreign library");
  on_packet(packet_user_data, &packet);
  while (!ending && GetFileAttributesW(L"go") == INVALID_FILE_ATTRIBUTES) Sleep(2);
  if (!ending) on_error(error_user_data, &error);
  return 0;
}

uint64_t gsdk_session_create(void** created, void* reserved, void** failure) {
  (void)failure;
  Log("call", "gsdk_session_create", "oo", *created, reserved);
  *created = &session;
  return Truth(1);
}

uint64_t gsdk_session_start(void* started, void* used, void** failure) {
  (void)failure;
  Log("call", "gsdk_session_start", "oo", started, used);
  thread = CreateThread(NULL, 0, RunSession, NULL, 0, NULL);
  return Truth(1);
}

void gsdk_session_destroy(void* destroyed) {
  Log("call", "gsdk_session_destroy", "o", destroyed);
  InterlockedExchange(&ending, 1);
  SetEvent(configured);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

uint64_t gsdk_session_set_video_input(void* changed, const char* type, void** failure) {
  (void)failure;
  Log("call", "gsdk_session_set_video_input", "os", changed, type);
  return Truth(1);
}

uint64_t gsdk_session_update_video_input(void* changed, const char* settings, void** failure) {
  (void)failure;
  Log("call", "gsdk_session_update_video_input", "os", changed, settings);
  return Truth(1);
}

uint64_t gsdk_session_add_audio_input(void* changed, const char* kind, void** input,
                                      void** failure) {
  static int added;
  Log("call", "gsdk_session_add_audio_input", "os", changed, kind);
  if (strcmp(kind, "audio_input") == 0) {
    *failure = &error;
    return Truth(0);
  }
  *input = added++ == 0 ? &first_input : &second_input;
  return Truth(1);
}

uint64_t gsdk_session_update_audio_input_handle(void* changed, void* input, const char* settings,
                                                void** failure) {
  (void)failure;
  Log("call", "gsdk_session_update_audio_input_handle", "oos", changed, input, settings);
  return Truth(1);
}

void* gsdk_session_properties_create(void) {
  Log("call", "gsdk_session_properties_create", "");
  return &properties;
}

void gsdk_session_properties_audio_set_bitrate(void* changed, uint32_t bitrate) {
  Log("call", "gsdk_session_properties_audio_set_bitrate", "ou", changed, bitrate);
}

void gsdk_session_properties_audio_set_samplerate(void* changed, uint32_t samplerate) {
  Log("call", "gsdk_session_properties_audio_set_samplerate", "ou", changed, samplerate);
}

void gsdk_session_properties_video_set_ratecontrol(void* changed, uint32_t mode) {
  Log("call", "gsdk_session_properties_video_set_ratecontrol", "ou", changed, mode);
}

void gsdk_session_properties_video_set_min_quality(void* changed, uint32_t first, uint32_t second,
                                                   uint32_t third) {
  Log("call", "gsdk_session_properties_video_set_min_quality", "ouuu", changed, first, second,
      third);
}

void gsdk_session_properties_video_set_max_quality(void* changed, uint32_t first, uint32_t second,
                                                   uint32_t third) {
  Log("call", "gsdk_session_properties_video_set_max_quality", "ouuu", changed, first, second,
      third);
}

void gsdk_session_properties_video_set_framerate(void* changed, uint32_t frames) {
  Log("call", "gsdk_session_properties_video_set_framerate", "ou", changed, frames);
}

void gsdk_session_properties_video_set_max_height(void* changed, uint32_t height) {
  Log("call", "gsdk_session_properties_video_set_max_height", "ou", changed, height);
}

void gsdk_session_properties_video_set_max_width(void* changed, uint32_t width) {
  Log("call", "gsdk_session_properties_video_set_max_width", "ou", changed, width);
}

void gsdk_session_properties_connection_set_type(void* changed, uint32_t type) {
  Log("call", "gsdk_session_properties_connection_set_type", "ou", changed, type);
}

void gsdk_session_properties_set_error_callback(void* changed, void* user_data,
                                                void (*callback)(void*, void*)) {
  Log("call", "gsdk_session_properties_set_error_callback", "oo", changed, user_data);
  error_user_data = user_data;
  on_error = callback;
}

void gsdk_session_properties_connection_callback_set_callback(void* changed, void* user_data,
                                                              void (*callback)(void*, void*)) {
  Log("call", "gsdk_session_properties_connection_callback_set_callback", "oo", changed, user_data);
  packet_user_data = user_data;
  on_packet = callback;
}

void gsdk_session_properties_destroy(void* destroyed) {
  Log("call", "gsdk_session_properties_destroy", "o", destroyed);
  SetEvent(configured);
}

void gsdk_session_properties_audio_set_tracks_ids(void* changed, uint32_t count,
                                                  const char** names) {
  Log("call", "gsdk_session_properties_audio_set_tracks_ids", "ouss", changed, count, names[0],
      names[count - 1]);
}

void gsdk_logging_set_callback(void (*callback)(int32_t, const char*)) {
  Log("call", "gsdk_logging_set_callback", "");
  log_line = callback;
}

void gsdk_logging_set_global_level(int32_t level) {
  Log("call", "gsdk_logging_set_global_level", "d", level);
}

void gsdk_recorder_set_duration(void* changed, uint32_t milliseconds) {
  Log("call", "gsdk_recorder_set_duration", "ou", changed, milliseconds);
}

void* gsdk_recorder_create(void* used) {
  Log("call", "gsdk_recorder_create", "o", used);
  return &recorder;
}

void gsdk_recorder_destroy(void* destroyed) {
  Log("call", "gsdk_recorder_destroy", "o", destroyed);
}

static void Put(unsigned char* result, size_t offset, int64_t number, size_t size) {
  memcpy(result + offset, &number, size);
}

void* gsdk_recorder_dump(void* result, void* dumped, const char* path) {
  Log("call", "gsdk_recorder_dump", "os", dumped, path);
  memset(result, 0xEE, 56);
  Put(result, 0, 0, 4);            // status
  Put(result, 8, 30001999999, 8);  // duration
  Put(result, 16, -5, 8);          // last timestamp
  Put(result, 32, 1999999, 8);     // audio drop
  Put(result, 40, 3000000, 8);     // video drop
  Put(result, 48, strcmp(path, "hdr.mp4") == 0 ? 0x80 : 0, 1);
  return result;
}

void gsdk_recorder_push_packet(void* fed, void* pushed) {
  Log("call", "gsdk_recorder_push_packet", "oo", fed, pushed);
}

uint64_t gsdk_input_properties(const char* kind, char** text, void** failure) {
  (void)failure;
  Log("call", "gsdk_input_properties", "s", kind);
  *text = audio_list;
  return Truth(1);
}

void gsdk_input_properties_free(char* text) {
  Log("call", "gsdk_input_properties_free", "o", text);
}

void gsdk_err_free(void* freed) { Log("call", "gsdk_err_free", "o", freed); }

const char* gsdk_err_message(void* asked) {
  Log("call", "gsdk_err_message", "o", asked);
  return "out of \xC3\xA4ther";
}

uint64_t gsdk_err_code(void* asked) {
  Log("call", "gsdk_err_code", "o", asked);
  return Number(31);
}

void gsdk_encoded_packet_release(void* released) {
  Log("call", "gsdk_encoded_packet_release", "o", released);
}

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void* process_end) {
  (void)module;
  if (reason == DLL_PROCESS_ATTACH) {
    InitializeCriticalSection(&log_lock);
    configured = CreateEventW(NULL, TRUE, FALSE, NULL);
    return configured != NULL;
  }
  if (reason == DLL_PROCESS_DETACH && process_end == NULL) {
    Log("detach", "free_library", "");
    CloseHandle(configured);
    DeleteCriticalSection(&log_lock);
  }
  return TRUE;
}
