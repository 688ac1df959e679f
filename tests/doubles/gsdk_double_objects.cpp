#include "tests/doubles/gsdk_double_objects.h"

#include <array>
#include <charconv>
#include <cstring>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "tests/doubles/gsdk_double_log.h"

namespace gsdk_double {
namespace {

constexpr auto kKinds = static_cast<std::size_t>(Kind::kCount);
constexpr std::array<std::string_view, kKinds> kKindNames = {
    "session", "properties", "recorder", "audio_input", "error", "text", "packet"};

struct Figures {
  std::array<std::atomic<std::uint64_t>, kKinds> made = {};
  std::array<std::atomic<std::uint64_t>, kKinds> given_back = {};
  std::atomic<std::uint64_t> misuses = 0;
};

constinit Figures figures;

struct Registry {
  std::mutex mutex;  // guards all below
  std::map<const void*, Object*> objects;
  std::array<int, kKinds> numbers = {};
};

// Never destroyed, as are the objects: library threads may still ask while the process ends.
Registry& TheRegistry() {
  static Registry& registry = *new Registry;
  return registry;
}

void Register(const void* address, Object* object, Kind kind) {
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  object->kind = kind;
  object->number = ++registry.numbers[static_cast<std::size_t>(kind)];
  registry.objects[address] = object;
}

template <typename T>
T* New(Kind kind) {
  auto* object = new T;
  Register(object, object, kind);
  ++figures.made[static_cast<std::size_t>(kind)];
  return object;
}

Object* Find(const void* address) {
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  const auto found = registry.objects.find(address);
  return found == registry.objects.end() ? nullptr : found->second;
}

bool GiveBackAddress(const void* address, const char* call) {
  if (address == nullptr) return false;
  Object* object = Find(address);
  if (object == nullptr || !object->alive.exchange(false)) {
    LogMisuse(call, NameOf(address));
    return false;
  }
  ++figures.given_back[static_cast<std::size_t>(object->kind)];
  return true;
}

// A text of fixed capacity, for use where nothing may be allocated; what doesn't fit is left out.
class FixedText {
 public:
  FixedText& operator<<(std::string_view text) {
    length_ += text.copy(buffer_.data() + length_, buffer_.size() - length_);
    return *this;
  }
  FixedText& operator<<(std::uint64_t number) {
    std::array<char, 20> digits = {};
    auto* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return *this << std::string_view(digits.data(), end);
  }
  std::string_view View() const { return {buffer_.data(), length_}; }

 private:
  std::array<char, 1024> buffer_ = {};
  std::size_t length_ = 0;
};

}  // namespace

gsdk_session* NewSession() { return New<gsdk_session>(Kind::kSession); }
gsdk_properties* NewProperties() { return New<gsdk_properties>(Kind::kProperties); }
gsdk_recorder* NewRecorder() { return New<gsdk_recorder>(Kind::kRecorder); }
gsdk_audio_input* NewAudioInput() { return New<gsdk_audio_input>(Kind::kAudioInput); }

gsdk_error* NewError(std::int32_t code, std::optional<std::string> message) {
  auto* error = New<gsdk_error>(Kind::kError);
  error->code = code;
  error->message = std::move(message);
  return error;
}

char* NewText(const std::string& text) {
  auto* copy = new char[text.size() + 1];
  std::memcpy(copy, text.c_str(), text.size() + 1);
  Register(copy, new Object, Kind::kText);
  ++figures.made[static_cast<std::size_t>(Kind::kText)];
  return copy;
}

gsdk_encoded_packet* NewPacketOfThread() {
  auto* packet = new gsdk_encoded_packet;
  Register(packet, packet, Kind::kPacket);
  packet->alive = false;
  return packet;
}

void RenewPacket(gsdk_encoded_packet* packet) {
  packet->alive = true;
  ++figures.made[static_cast<std::size_t>(Kind::kPacket)];
}

std::string NameOf(const void* object) {
  if (object == nullptr) return "null";
  const Object* found = Find(object);
  if (found == nullptr) return "unknown";
  const std::string name = std::string(kKindNames[static_cast<std::size_t>(found->kind)]) +
                           std::to_string(found->number);
  return found->alive ? name : name + "(dead)";
}

bool IsLive(const void* object) {
  const Object* found = Find(object);
  return found != nullptr && found->alive;
}

bool GiveBack(Object* object, const char* call) { return GiveBackAddress(object, call); }
bool GiveBackText(const char* text, const char* call) { return GiveBackAddress(text, call); }

bool GiveBackPacket(gsdk_encoded_packet* packet) {
  if (packet == nullptr || !packet->alive.exchange(false)) {
    LogMisuse("gsdk_encoded_packet_release", NameOf(packet));
    return false;
  }
  ++figures.given_back[static_cast<std::size_t>(Kind::kPacket)];
  return true;
}

void LogMisuse(const char* call, const std::string& name) {
  ++figures.misuses;
  WriteLine({{"misuse", call + (" of " + name)}});
}

void WriteAccount() {
  FixedText text;
  text << "{\"account\": {";
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    text << "\"" << kKindNames[kind] << "\": [" << figures.made[kind].load() << ", "
         << figures.given_back[kind].load() << "], ";
  }
  text << "\"misuses\": " << figures.misuses.load() << "}}\n";
  WriteRawLine(text.View());
}

void WriteAccountAndDetach(std::string_view reason) {
  WriteAccount();
  FixedText text;
  text << "{\"detach\": \"" << reason << "\"}\n";
  WriteRawLine(text.View());
}

}  // namespace gsdk_double
