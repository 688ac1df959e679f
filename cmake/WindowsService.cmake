# The Windows edge and the service itself.
include(SentryImport)

# The parts of the edge that ask Windows something and know nothing of the service.
add_library(capture_windows STATIC
  capture/capture_library_loader.cpp
  capture/game_state.cpp
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
  supervision/monitor_tracker.cpp)
target_compile_definitions(capture_windows PUBLIC UNICODE NOMINMAX WIN32_LEAN_AND_MEAN
  _WIN32_WINNT=0x0A00)
target_link_libraries(capture_windows
  PUBLIC capture_core
  PRIVATE project_warnings ole32 oleaut32 wbemuuid advapi32 version shell32 shlwapi user32)

# sentry.dll is bound by name; the import library serves both halves of the program.
target_link_libraries(capture_core PUBLIC sentry_sdk)

string(REPLACE "." "," version_numbers "${PROJECT_VERSION}.0")
add_executable(CaptureService WIN32 service/main.cpp service/CaptureService.rc)
set_source_files_properties(service/CaptureService.rc PROPERTIES
  COMPILE_DEFINITIONS
    "CAPTURE_SERVICE_VERSION_NUMBERS=${version_numbers};CAPTURE_SERVICE_VERSION_TEXT=\"${PROJECT_VERSION}.0\""
  OBJECT_DEPENDS ${PROJECT_SOURCE_DIR}/service/CaptureService.manifest)
target_link_libraries(CaptureService PRIVATE capture_windows project_warnings shell32 shlwapi)
if(MINGW)
  target_link_options(CaptureService PRIVATE -municode -static
    -Wl,--dynamicbase,--high-entropy-va,--nxcompat)
else()
  # The manifest is in the resource file.
  target_link_options(CaptureService PRIVATE /MANIFEST:NO /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT)
endif()
