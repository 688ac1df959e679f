# The open capture library, on two monitors and with all of its insides.
add_executable(open_gsdk_test
  ${PROJECT_SOURCE_DIR}/tests/open_gsdk/arguments_test.cpp
  ${PROJECT_SOURCE_DIR}/tests/open_gsdk/client.cpp
  ${PROJECT_SOURCE_DIR}/tests/open_gsdk/clip_test.cpp
  ${PROJECT_SOURCE_DIR}/tests/open_gsdk/lists_test.cpp
  ${PROJECT_SOURCE_DIR}/tests/open_gsdk/module_test.cpp
  ${PROJECT_SOURCE_DIR}/tests/open_gsdk/recording_test.cpp
  ${PROJECT_SOURCE_DIR}/tests/open_gsdk/window.cpp)
target_link_libraries(open_gsdk_test PRIVATE open_gsdk_core GTest::gtest_main project_warnings winmm)
if(MINGW)
  target_link_options(open_gsdk_test PRIVATE -static)
endif()
add_dependencies(open_gsdk_test gsdk)
add_test(NAME windows.open_gsdk COMMAND ${two_monitors} $<TARGET_FILE:open_gsdk_test>)
set_tests_properties(windows.open_gsdk PROPERTIES TIMEOUT 300 LABELS windows)
