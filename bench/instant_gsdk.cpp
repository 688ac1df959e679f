// A capture library that costs nothing, so that what the service costs shows: every call succeeds
// at once, a dump too. Its session delivers packets on a thread of its own, as many a second as the
// environment variable BENCH_PACKETS_A_SECOND says.
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "gsdk/gsdk_api.h"
#include "platform/deadline.h"

namespace {

gsdk_packet_callback packet_callback = nullptr;
void* packet_user_data = nullptr;

// What the handles point to; nobody looks at it.
char objects[4];
template <typename T>
T* Object(int number) {
  return reinterpret_cast<T*>(&objects[number]);
}

struct Delivery {
  std::mutex mutex;  // guards stop
  std::condition_variable stop_changed;
  bool stop = false;
  std::thread thread;
};

Delivery& TheDelivery() {
  static auto& delivery = *new Delivery;
  return delivery;
}

std::chrono::nanoseconds PacketInterval() {
  const char* const text = std::getenv("BENCH_PACKETS_A_SECOND");
  const int rate = text != nullptr ? std::atoi(text) : 0;
  return std::chrono::nanoseconds(std::chrono::seconds(1)) / (rate > 0 ? rate : 1);
}

void DeliverPackets() {
  const std::chrono::nanoseconds interval = PacketInterval();
  Delivery& delivery = TheDelivery();
  auto due = std::chrono::steady_clock::now();
  std::unique_lock lock(delivery.mutex);
  while (!delivery.stop) {
    lock.unlock();
    packet_callback(packet_user_data, Object<gsdk_encoded_packet>(3));
    lock.lock();
    due += interval;
    platform::WaitUntil(delivery.stop_changed, lock, due, [&] { return delivery.stop; });
  }
}

}  // namespace

bool gsdk_session_create(gsdk_session** session, void* /*reserved*/, gsdk_error** /*error*/) {
  *session = Object<gsdk_session>(0);
  return true;
}

bool gsdk_session_start(gsdk_session* /*session*/, gsdk_properties* /*properties*/,
                        gsdk_error** /*error*/) {
  TheDelivery().stop = false;
  TheDelivery().thread = std::thread(DeliverPackets);
  return true;
}

void gsdk_session_destroy(gsdk_session* /*session*/) {
  Delivery& delivery = TheDelivery();
  if (!delivery.thread.joinable()) return;
  {
    const std::lock_guard lock(delivery.mutex);
    delivery.stop = true;
  }
  delivery.stop_changed.notify_one();
  delivery.thread.join();
}

bool gsdk_session_set_video_input(gsdk_session* /*session*/, const char* /*type*/,
                                  gsdk_error** /*error*/) {
  return true;
}

bool gsdk_session_update_video_input(gsdk_session* /*session*/, const char* /*settings*/,
                                     gsdk_error** /*error*/) {
  return true;
}

bool gsdk_session_add_audio_input(gsdk_session* /*session*/, const char* /*kind*/,
                                  gsdk_audio_input** input, gsdk_error** /*error*/) {
  *input = nullptr;
  return true;
}

bool gsdk_session_update_audio_input_handle(gsdk_session* /*session*/, gsdk_audio_input* /*input*/,
                                            const char* /*settings*/, gsdk_error** /*error*/) {
  return true;
}

gsdk_properties* gsdk_session_properties_create() { return Object<gsdk_properties>(1); }
void gsdk_session_properties_audio_set_bitrate(gsdk_properties* /*properties*/,
                                               std::uint32_t /*bitrate*/) {}
void gsdk_session_properties_audio_set_samplerate(gsdk_properties* /*properties*/,
                                                  std::uint32_t /*samplerate*/) {}
void gsdk_session_properties_video_set_ratecontrol(gsdk_properties* /*properties*/,
                                                   std::uint32_t /*mode*/) {}
void gsdk_session_properties_video_set_min_quality(gsdk_properties* /*properties*/,
                                                   std::uint32_t /*i*/, std::uint32_t /*p*/,
                                                   std::uint32_t /*b*/) {}
void gsdk_session_properties_video_set_max_quality(gsdk_properties* /*properties*/,
                                                   std::uint32_t /*i*/, std::uint32_t /*p*/,
                                                   std::uint32_t /*b*/) {}
void gsdk_session_properties_video_set_framerate(gsdk_properties* /*properties*/,
                                                 std::uint32_t /*fps*/) {}
void gsdk_session_properties_video_set_max_height(gsdk_properties* /*properties*/,
                                                  std::uint32_t /*pixels*/) {}
void gsdk_session_properties_video_set_max_width(gsdk_properties* /*properties*/,
                                                 std::uint32_t /*pixels*/) {}
void gsdk_session_properties_connection_set_type(gsdk_properties* /*properties*/,
                                                 std::uint32_t /*type*/) {}
void gsdk_session_properties_set_error_callback(gsdk_properties* /*properties*/,
                                                void* /*user_data*/,
                                                gsdk_error_callback /*callback*/) {}
void gsdk_session_properties_connection_callback_set_callback(gsdk_properties* /*properties*/,
                                                              void* user_data,
                                                              gsdk_packet_callback callback) {
  packet_callback = callback;
  packet_user_data = user_data;
}
void gsdk_session_properties_destroy(gsdk_properties* /*properties*/) {}
void gsdk_session_properties_audio_set_tracks_ids(gsdk_properties* /*properties*/,
                                                  std::uint32_t /*count*/,
                                                  const char* const* /*names*/) {}

void gsdk_logging_set_callback(gsdk_log_callback /*callback*/) {}
void gsdk_logging_set_global_level(std::int32_t /*level*/) {}

gsdk_recorder* gsdk_recorder_create(gsdk_properties* /*properties*/) {
  return Object<gsdk_recorder>(2);
}
void gsdk_recorder_destroy(gsdk_recorder* /*recorder*/) {}
void gsdk_recorder_set_duration(gsdk_recorder* /*recorder*/, std::uint32_t /*milliseconds*/) {}
void gsdk_recorder_push_packet(gsdk_recorder* /*recorder*/, gsdk_encoded_packet* /*packet*/) {}
void gsdk_encoded_packet_release(gsdk_encoded_packet* /*packet*/) {}
gsdk_dump_result gsdk_recorder_dump(gsdk_recorder* /*recorder*/, const char* /*path*/) {
  gsdk_dump_result result{};
  result.duration = 1'000'000'000;
  result.last_timestamp = 1'000'000'000;
  return result;
}

bool gsdk_input_properties(const char* /*kind*/, char** text, gsdk_error** /*error*/) {
  static char no_devices[] = R"({"device_id": {"values": []}})";
  *text = no_devices;
  return true;
}
void gsdk_input_properties_free(char* /*text*/) {}
void gsdk_err_free(gsdk_error* /*error*/) {}
const char* gsdk_err_message(gsdk_error* /*error*/) { return ""; }
std::int32_t gsdk_err_code(gsdk_error* /*error*/) { return 0; }
