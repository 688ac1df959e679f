// The threads of a started session of the scripted capture library: they deliver packets,
// connection errors and log lines as the script's entry for the session says.
#pragma once

#include <atomic>
#include <json11.hpp>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "gsdk/gsdk_api.h"

namespace gsdk_double {

// Sets the callback for log lines.
void SetLogCallback(gsdk_log_callback callback);

// Gives `text` (null when the JSON value is no text) to the log callback on this thread.
void CallLogCallback(std::int32_t level, const json11::Json& text);

// Does what a rule's or a dump's "log", "wait_file", "sleep_ms" and "hang" say, and takes the time
// that the script's "random_delay" adds.
void Delay(const json11::Json& entry);

// Takes the script's steps of the unloading on this thread, with the callbacks of the session that
// was started last.
void RunUnloadSteps();

class SessionThreads {
 public:
  // Starts the threads of `plan`, an entry of the script's "sessions". The callbacks are copied
  // from `properties`.
  SessionThreads(const json11::Json& plan, const gsdk_properties& properties);
  // Ends and joins the threads, but for those that the script lets survive.
  ~SessionThreads();
  SessionThreads(const SessionThreads&) = delete;
  SessionThreads& operator=(const SessionThreads&) = delete;

 private:
  std::shared_ptr<std::atomic<bool>> stop_ = std::make_shared<std::atomic<bool>>(false);
  std::vector<std::thread> threads_;
};

}  // namespace gsdk_double
