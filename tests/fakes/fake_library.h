// A capture library for the unit tests: every call is a line of the transcript, objects are counted
// and named in order ("session1", "error2"), and any call can be made to fail, to throw or to run
// something of the test.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "gsdk/capture_library.h"

namespace core_test {

// All calls of a function, where the number of one is asked for.
inline constexpr int kEveryTime = 0;

class FakeLibrary {
 public:
  // A table of functions that end up here. The module is any object; `module` may stand for it.
  static std::unique_ptr<capture_service::CaptureLibrary> MakeTable(
      std::shared_ptr<void> module = std::make_shared<int>());

  // Forgets all rules, numbers and objects; lists are as below.
  void Reset();

  // Makes the n-th call (from 1) of this function fail with an error object of this code and text.
  void Fail(const std::string& function, int n, std::int32_t code, const std::string& message);
  // Makes the n-th call run `action` before it does anything else. It may throw.
  void OnCall(const std::string& function, int n, std::function<void()> action);
  // What gsdk_input_properties gives for this kind; none is a null text.
  void SetList(const std::string& kind, std::optional<std::string> text);
  // What a dump gives from now on.
  void SetDumpResult(const gsdk_dump_result& result);

  // Objects as the library makes them for callbacks; the callee frees them.
  gsdk_error* NewError(std::int32_t code, const std::string& message);
  static gsdk_encoded_packet* NewPacket();

  // Lines for packets take time and memory; off for the tests of the packet path itself.
  void RecordPackets(bool record) { record_packets_ = record; }

  // The names of all objects that are not destroyed, in order; empty when nothing is left.
  [[nodiscard]] std::vector<std::string> LiveObjects();
  [[nodiscard]] std::int64_t LivePackets() const { return live_packets_; }
  [[nodiscard]] std::int64_t PushedPackets() const { return pushed_packets_; }

  // What the service has registered; null before.
  struct Callbacks {
    gsdk_error_callback error = nullptr;
    gsdk_packet_callback packet = nullptr;
    void* packet_user_data = nullptr;
  };
  [[nodiscard]] Callbacks RegisteredCallbacks();

 private:
  friend struct FakeLibraryTable;

  struct Rule {
    std::string function;
    int n = kEveryTime;
    std::function<void()> action;
    bool fails = false;
    std::int32_t code = 0;
    std::string message;
  };

  // Counts a call, runs its actions, records its line and returns its failure, if any. `text` is
  // the call with its arguments; `result` is added to the line unless the call fails.
  gsdk_error* Call(const std::string& function, const std::string& arguments,
                   const std::string& result = {});
  std::optional<std::string> List(const std::string& kind);

  // Names and forgets objects.
  std::string Add(void* object, const std::string& kind);
  std::string NextName(const std::string& kind);
  std::string NameOf(const void* object);
  void Remove(const void* object);

  std::mutex mutex_;
  std::vector<Rule> rules_;
  std::map<std::string, int> calls_;
  std::map<std::string, int> made_;
  std::map<const void*, std::string> live_;
  std::map<std::string, std::optional<std::string>> lists_;
  gsdk_dump_result dump_result_{};
  Callbacks callbacks_;

  std::atomic<bool> record_packets_ = true;
  std::atomic<std::int64_t> live_packets_ = 0;
  std::atomic<std::int64_t> pushed_packets_ = 0;
};

// The one library of the process; never destroyed.
FakeLibrary& Fake();

}  // namespace core_test
