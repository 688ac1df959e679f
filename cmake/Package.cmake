# What is shipped: `cmake --install` puts it into a folder, `cpack` into one ZIP.
#   bin/     the service with the open capture library and the local sentry.dll, and the tools
#   symbols/ their symbols, found by build id (mingw builds)
#   lib/, include/  the client library for hosts, with a package for find_package(capture_host)
#   doc/     documents, and the notices of all that is linked in
install(TARGETS CaptureService open_gsdk local_sentry host_console demo_game
  RUNTIME DESTINATION bin
  LIBRARY DESTINATION bin
  ARCHIVE EXCLUDE_FROM_ALL DESTINATION lib)
install(TARGETS capture_host protocol platform json11 ARCHIVE DESTINATION lib)

# What capture_host/service.h includes, and nothing else.
install(FILES
  capture_host/answers.h
  capture_host/error.h
  capture_host/events.h
  capture_host/exit_status.h
  capture_host/messages.h
  capture_host/pending_clips.h
  capture_host/restart_policy.h
  capture_host/service.h
  capture_host/service_launch.h
  DESTINATION include/capture_host)
install(FILES protocol/host_message.h protocol/recorder_settings.h DESTINATION include/protocol)

include(CMakePackageConfigHelpers)
configure_package_config_file(cmake/capture_host-config.cmake.in
  ${PROJECT_BINARY_DIR}/capture_host-config.cmake
  INSTALL_DESTINATION lib/cmake/capture_host
  NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/capture_host-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/capture_host-config.cmake
  ${PROJECT_BINARY_DIR}/capture_host-config-version.cmake
  DESTINATION lib/cmake/capture_host)

install(FILES CHANGELOG.md CONTRIBUTING.md README.md DESTINATION doc)
install(DIRECTORY docs/ DESTINATION doc/docs)
install(DIRECTORY examples/ DESTINATION doc/examples FILES_MATCHING PATTERN "*.cpp")

# The licences' own texts, as the packages bring them; docs/licences.md says what each is for.
set(notices
  /usr/share/common-licenses/GPL-2 GPL-2.txt
  /usr/share/common-licenses/LGPL-2.1 LGPL-2.1.txt
  /usr/share/doc/libcli11-dev/copyright CLI11.txt
  /usr/share/doc/gcc-mingw-w64-base/copyright GCC.txt
  /usr/share/doc/mingw-w64-x86-64-dev/copyright mingw-w64.txt)
while(notices)
  list(POP_FRONT notices file name)
  if(EXISTS ${file})
    install(FILES ${file} DESTINATION doc/notices RENAME ${name})
  endif()
endwhile()
foreach(dependency IN ITEMS ffmpeg7 libzip)
  if(EXISTS ${PROJECT_SOURCE_DIR}/.deps/${dependency}/notices)
    install(DIRECTORY .deps/${dependency}/notices/ DESTINATION doc/notices)
  endif()
endforeach()
if(json11_dir)
  install(FILES ${json11_dir}/json11.hpp DESTINATION doc/notices RENAME json11.txt)
endif()

# The programs are shipped without symbols; these go into files of their own, which a debugger finds
# by the build id that both have.
if(MINGW)
  install(CODE "
    set(objcopy \"${CMAKE_OBJCOPY}\")
    set(strip \"${CMAKE_STRIP}\")
    set(programs CaptureService.exe gsdk.dll sentry.dll host_console.exe demo_game.exe)")
  install(CODE [[
    set(root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
    file(MAKE_DIRECTORY "${root}/symbols")
    foreach(program IN LISTS programs)
      set(debug "${root}/symbols/${program}.debug")
      execute_process(COMMAND ${objcopy} --only-keep-debug "${root}/bin/${program}" "${debug}"
        COMMAND_ERROR_IS_FATAL ANY)
      execute_process(COMMAND ${strip} --strip-all "${root}/bin/${program}"
        COMMAND_ERROR_IS_FATAL ANY)
      execute_process(COMMAND ${objcopy} "--add-gnu-debuglink=${debug}" "${root}/bin/${program}"
        COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
  ]])
endif()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME CaptureService)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_FILE_NAME CaptureService-${PROJECT_VERSION}-windows-x64)
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
