# The parts of the open capture library that need neither Windows nor FFmpeg.
add_executable(open_gsdk_portable_test
  ${PROJECT_SOURCE_DIR}/tests/open_gsdk/frame_test.cpp
  ${PROJECT_SOURCE_DIR}/tests/open_gsdk/properties_test.cpp
  ${PROJECT_SOURCE_DIR}/tests/open_gsdk/recorder_test.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/replay/clip.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/session/frame_clock.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/encoding/frame_geometry.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/replay/packet_ring.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/replay/recorder.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/session/session_properties.cpp)
target_include_directories(open_gsdk_portable_test PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(open_gsdk_portable_test PRIVATE project_warnings Threads::Threads
  GTest::gtest_main)
gtest_discover_tests(open_gsdk_portable_test
  TEST_PREFIX "${build_folder}."
  DISCOVERY_TIMEOUT 60
  PROPERTIES TIMEOUT 60 LABELS unit)
