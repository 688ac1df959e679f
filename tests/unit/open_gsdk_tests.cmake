# The parts of the open capture library that need neither Windows nor FFmpeg.
add_executable(open_gsdk_portable_test
  open_gsdk_frame_test.cpp
  open_gsdk_properties_test.cpp
  open_gsdk_recorder_test.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/clip.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/frame_clock.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/frame_geometry.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/packet_ring.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/recorder.cpp
  ${PROJECT_SOURCE_DIR}/open_gsdk/session_properties.cpp)
target_include_directories(open_gsdk_portable_test PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(open_gsdk_portable_test PRIVATE project_warnings Threads::Threads
  GTest::gtest_main)
gtest_discover_tests(open_gsdk_portable_test
  TEST_PREFIX "${build_folder}."
  DISCOVERY_TIMEOUT 60
  PROPERTIES TIMEOUT 60 LABELS unit)
