# sentry_import: an import library for the functions of the error-reporting SDK that the service
# calls. Who links it binds them by name in whatever sentry.dll lies beside the program, the real one
# or the project's local one. diagnostics/sentry_sdk.h declares them.
set(sentry_def ${PROJECT_SOURCE_DIR}/local_sentry/sentry.def)
if(MSVC)
  set(sentry_import_library ${PROJECT_BINARY_DIR}/sentry_import.lib)
  set(sentry_import_command
    ${CMAKE_AR} /nologo /machine:x64 /def:${sentry_def} /out:${sentry_import_library})
else()
  set(sentry_import_library ${PROJECT_BINARY_DIR}/libsentry_import.a)
  set(sentry_import_command
    ${CMAKE_DLLTOOL} --input-def ${sentry_def} --output-lib ${sentry_import_library})
endif()
add_custom_command(
  OUTPUT ${sentry_import_library}
  COMMAND ${sentry_import_command}
  DEPENDS ${sentry_def}
  COMMENT "Making the import library of sentry.dll"
  VERBATIM)
add_custom_target(sentry_import_file DEPENDS ${sentry_import_library})
add_library(sentry_import INTERFACE)
add_dependencies(sentry_import sentry_import_file)
target_link_libraries(sentry_import INTERFACE ${sentry_import_library})

# sentry_sdk: what the service links. The SDK itself, with its own header, where it is installed;
# else the above.
find_package(sentry CONFIG QUIET)
add_library(sentry_sdk INTERFACE)
if(sentry_FOUND)
  message(STATUS "The error-reporting SDK: ${sentry_DIR}")
  target_link_libraries(sentry_sdk INTERFACE sentry::sentry)
  target_compile_definitions(sentry_sdk INTERFACE CAPTURE_SERVICE_HAS_SENTRY_SDK)
  # Later SDKs mark functions that the service calls as deprecated; they still do what is wanted.
  if(MSVC)
    target_compile_options(sentry_sdk INTERFACE /wd4996)
  else()
    target_compile_options(sentry_sdk INTERFACE -Wno-deprecated-declarations)
  endif()
else()
  target_link_libraries(sentry_sdk INTERFACE sentry_import)
endif()
