# The portable core: everything that needs no Windows call. Part of the service, and built natively
# for the unit tests, which bring their own answers to the questions that the core asks Windows.
add_library(capture_core STATIC
  capture/capture_library.cpp
  capture/connection_errors.cpp
  capture/input_descriptions.cpp
  capture/session_start.cpp
  capture/session_state.cpp
  capture/video_input.cpp
  diagnostics/error_reporting.cpp
  diagnostics/logging.cpp
  diagnostics/machine_profile_rules.cpp
  service/command_queue.cpp
  service/command_worker.cpp
  service/host_protocol.cpp
  service/main_loop.cpp
  service/message_queue.cpp
  service/recorder_settings.cpp
  service/stop.cpp
  supervision/audio_devices.cpp
  supervision/clip_dump.cpp
  supervision/fatal_failure.cpp
  supervision/packet_watchdog.cpp
  supervision/worker_stop.cpp)
target_include_directories(capture_core PUBLIC ${PROJECT_SOURCE_DIR})
target_compile_definitions(capture_core PRIVATE
  CAPTURE_SERVICE_SENTRY_DSN="${CAPTURE_SERVICE_SENTRY_DSN}")
target_link_libraries(capture_core PUBLIC json11 Threads::Threads PRIVATE project_warnings)
