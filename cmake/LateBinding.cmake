# Late binding: a DLL of the system that is loaded when one of its functions is first called, not when
# the program starts.
#   bind_late(TARGET DLL FUNCTION ...)
# All functions of the DLL that the program uses have to be listed: one that is not makes the DLL an
# ordinary import again, which the test of the built image notices.
function(bind_late target dll)
  if(MSVC)
    target_link_options(${target} PRIVATE /DELAYLOAD:${dll})
    target_link_libraries(${target} PRIVATE delayimp)
    return()
  endif()
  add_import_library(${target} ${dll} --output-delaylib ${ARGN})
  target_link_libraries(${target} PRIVATE delayimp)
endfunction()

# Imports functions from a DLL, or an API set, that the toolchain has no import library for:
#   bind_to(TARGET DLL FUNCTION ...)
# Visual Studio's own libraries know where they are.
function(bind_to target dll)
  if(NOT MSVC)
    add_import_library(${target} ${dll} --output-lib ${ARGN})
  endif()
endfunction()

# All of the library is linked, and first, so that it goes before those that static libraries bring.
function(add_import_library target dll kind)
  cmake_path(GET dll STEM LAST_ONLY name)
  set(definition ${CMAKE_CURRENT_BINARY_DIR}/${target}_${name}.def)
  set(library ${CMAKE_CURRENT_BINARY_DIR}/lib${target}_${name}.a)
  list(JOIN ARGN "\n  " functions)
  file(CONFIGURE OUTPUT ${definition} CONTENT "LIBRARY ${dll}\nEXPORTS\n  ${functions}\n" @ONLY)
  add_custom_command(
    OUTPUT ${library}
    COMMAND ${CMAKE_DLLTOOL} --input-def ${definition} ${kind} ${library}
    DEPENDS ${definition}
    COMMENT "Making the import library of ${dll}"
    VERBATIM)
  add_custom_target(${target}_${name} DEPENDS ${library})
  add_dependencies(${target} ${target}_${name})
  target_link_options(${target} PRIVATE -Wl,--whole-archive,${library},--no-whole-archive)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${library})
endfunction()
