# vcpkg's libraries as the windows-msvc preset wants them: linked in, with the runtime as DLLs; but
# the error-reporting SDK stays a DLL, in whose place another sentry.dll can be put.
set(VCPKG_TARGET_ARCHITECTURE x64)
set(VCPKG_CRT_LINKAGE dynamic)
set(VCPKG_LIBRARY_LINKAGE static)
if(PORT STREQUAL "sentry-native")
  set(VCPKG_LIBRARY_LINKAGE dynamic)
endif()
