// The objects that the scripted capture library hands out, with their names in the call log
// ("session1", "error2") and the figures of what was made and given back. Objects stay allocated
// when they are given back, so that a second time or a later use is noticed and logged as misuse.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "gsdk/gsdk_api.h"

namespace gsdk_double {

enum class Kind { kSession, kProperties, kRecorder, kAudioInput, kError, kText, kPacket, kCount };

struct Object {
  Kind kind = Kind::kCount;
  int number = 0;
  std::atomic<bool> alive = true;
};

}  // namespace gsdk_double

struct gsdk_session : gsdk_double::Object {
  void* threads = nullptr;  // gsdk_double::SessionThreads*, while the session runs
};

struct gsdk_properties : gsdk_double::Object {
  gsdk_error_callback error_callback = nullptr;
  void* error_user_data = nullptr;
  gsdk_packet_callback packet_callback = nullptr;
  void* packet_user_data = nullptr;
};

struct gsdk_recorder : gsdk_double::Object {
  std::atomic<std::uint64_t> packets = 0;
};

struct gsdk_audio_input : gsdk_double::Object {};

struct gsdk_error : gsdk_double::Object {
  std::int32_t code = 0;
  std::optional<std::string> message;
};

// One object serves all packets of a thread, one after the other: packets come at full speed for
// minutes and can't each stay allocated.
struct gsdk_encoded_packet : gsdk_double::Object {
  bool logged = false;
};

namespace gsdk_double {

gsdk_session* NewSession();
gsdk_properties* NewProperties();
gsdk_recorder* NewRecorder();
gsdk_audio_input* NewAudioInput();
gsdk_error* NewError(std::int32_t code, std::optional<std::string> message);
// A zero-terminated copy of `text`.
char* NewText(const std::string& text);
gsdk_encoded_packet* NewPacketOfThread();
// Makes the packet of a thread the next one; counts it.
void RenewPacket(gsdk_encoded_packet* packet);

// The name of `object` for the log: "null", "unknown", or the kind and the number, with "(dead)"
// after it when it was given back before.
std::string NameOf(const void* object);

// `pointer` when it stands for a live object of this library, else null, logged as misuse by
// `call`. A null pointer is no misuse.
template <typename T>
T* Live(T* pointer, const char* call);

// Takes back what `call` was given and counts it; false, logged as misuse, when it is not a live
// object. Null is ignored.
bool GiveBack(Object* object, const char* call);
bool GiveBackText(const char* text, const char* call);

// Like GiveBack without looking the packet up.
bool GiveBackPacket(gsdk_encoded_packet* packet);

// Writes the figures as an "account" line, the second with a "detach" line after it. Both take no
// lock and allocate nothing.
void WriteAccount();
void WriteAccountAndDetach(std::string_view reason);

void LogMisuse(const char* call, const std::string& name);
bool IsLive(const void* object);

template <typename T>
T* Live(T* pointer, const char* call) {
  if (pointer == nullptr || IsLive(pointer)) return pointer;
  LogMisuse(call, NameOf(pointer));
  return nullptr;
}

}  // namespace gsdk_double
