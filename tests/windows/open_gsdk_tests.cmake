# The open capture library, on two monitors and with all of its insides.
add_executable(open_gsdk_test
  open_gsdk_arguments_test.cpp
  open_gsdk_client.cpp
  open_gsdk_clip_test.cpp
  open_gsdk_lists_test.cpp
  open_gsdk_module_test.cpp
  open_gsdk_recording_test.cpp
  open_gsdk_window.cpp)
target_link_libraries(open_gsdk_test PRIVATE open_gsdk_core GTest::gtest_main project_warnings winmm)
if(MINGW)
  target_link_options(open_gsdk_test PRIVATE -static)
endif()
add_dependencies(open_gsdk_test gsdk)
add_test(NAME windows.open_gsdk COMMAND ${two_monitors} $<TARGET_FILE:open_gsdk_test>)
set_tests_properties(windows.open_gsdk PROPERTIES TIMEOUT 300 LABELS windows)
