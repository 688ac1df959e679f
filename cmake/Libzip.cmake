# libzip, as the target `libzip`: vcpkg's package where there is one, else the static libraries that
# scripts/setup built for the mingw target.
add_library(libzip INTERFACE)
if(MSVC)
  find_package(libzip CONFIG REQUIRED)
  target_link_libraries(libzip INTERFACE libzip::zip)
else()
  set(libzip_root ${PROJECT_SOURCE_DIR}/.deps/libzip)
  if(NOT EXISTS ${libzip_root}/lib/libzip.a)
    message(FATAL_ERROR "libzip for Windows is missing: run scripts/setup first.")
  endif()
  target_include_directories(libzip SYSTEM INTERFACE ${libzip_root}/include)
  target_link_libraries(libzip INTERFACE
    ${libzip_root}/lib/libzip.a ${libzip_root}/lib/libz.a advapi32)
endif()
