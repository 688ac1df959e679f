# The Windows edge and the service itself.
include(SentryImport)

# The parts of the edge that ask Windows something and know nothing of the service.
add_library(capture_windows STATIC
  gsdk/capture_library_loader.cpp
  recording/game_state.cpp
  diagnostics/file_version.cpp
  diagnostics/machine_profile.cpp
  diagnostics/machine_profile_wmi.cpp
  diagnostics/process_elevation.cpp
  platform/fail_fast.cpp
  platform/files.cpp
  platform/registry_key.cpp
  platform/text_encoding.cpp
  platform/windows_failure.cpp
  service/pipe_channel.cpp
  recording/monitor_tracker.cpp)
target_compile_definitions(capture_windows PUBLIC UNICODE NOMINMAX WIN32_LEAN_AND_MEAN
  _WIN32_WINNT=0x0A00)
target_link_libraries(capture_windows
  PUBLIC capture_core
  PRIVATE project_warnings ole32 oleaut32 wbemuuid advapi32 version shell32 shlwapi user32)

# The core asks the edge its questions, and reports through sentry.dll, which is bound by name.
target_link_libraries(capture_core PUBLIC sentry_sdk INTERFACE capture_windows)

string(REPLACE "." "," version_numbers "${PROJECT_VERSION}.0")
set(service_resources ${CMAKE_BINARY_DIR}/CaptureService.rc)
configure_file(${PROJECT_SOURCE_DIR}/service/CaptureService.rc.in ${service_resources} @ONLY)
set_source_files_properties(${service_resources} PROPERTIES
  OBJECT_DEPENDS ${PROJECT_SOURCE_DIR}/service/CaptureService.manifest)
add_executable(CaptureService WIN32 service/main.cpp ${service_resources})
target_link_libraries(CaptureService PRIVATE capture_windows project_warnings shell32 shlwapi)
if(MINGW)
  target_link_options(CaptureService PRIVATE -municode -static
    -Wl,--dynamicbase,--high-entropy-va,--nxcompat)
else()
  # The manifest is in the resource file.
  target_link_options(CaptureService PRIVATE /MANIFEST:NO /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT)
endif()
