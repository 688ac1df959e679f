# The portable core: everything that needs no Windows call. Part of the service, and built natively
# for the unit tests, which bring their own answers to the questions that the core asks Windows.
add_library(capture_core STATIC
  gsdk/capture_library.cpp
  recording/connection_errors.cpp
  recording/input_descriptions.cpp
  recording/session_start.cpp
  recording/session_state.cpp
  recording/video_input.cpp
  diagnostics/error_reporting.cpp
  diagnostics/logging.cpp
  diagnostics/machine_profile_rules.cpp
  protocol/command_queue.cpp
  service/command_worker.cpp
  protocol/host_protocol.cpp
  service/main_loop.cpp
  protocol/message_queue.cpp
  protocol/recorder_settings.cpp
  service/stop.cpp
  recording/audio_devices.cpp
  recording/clip_dump.cpp
  diagnostics/fatal_failure.cpp
  recording/packet_watchdog.cpp
  recording/worker_stop.cpp)
target_include_directories(capture_core PUBLIC ${PROJECT_SOURCE_DIR})
target_compile_definitions(capture_core PRIVATE
  CAPTURE_SERVICE_SENTRY_DSN="${CAPTURE_SERVICE_SENTRY_DSN}")
target_link_libraries(capture_core PUBLIC json11 Threads::Threads PRIVATE project_warnings)
