# sentry_sdk: what the service links to reach the error-reporting SDK. The SDK itself where it is
# installed. Elsewhere an import library for the functions that the service calls: the program binds
# them by name in whatever sentry.dll lies beside it, the real one or the project's local one.
find_package(sentry CONFIG QUIET)
add_library(sentry_sdk INTERFACE)
if(sentry_FOUND)
  target_link_libraries(sentry_sdk INTERFACE sentry::sentry)
  target_compile_definitions(sentry_sdk INTERFACE CAPTURE_SERVICE_HAS_SENTRY_SDK)
else()
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
  add_custom_target(sentry_import DEPENDS ${sentry_import_library})
  add_dependencies(sentry_sdk sentry_import)
  target_link_libraries(sentry_sdk INTERFACE ${sentry_import_library})
endif()
