# The tests that are scripts: they need a Linux machine with Wine.

# Records the demo game with everything that is built, and checks the clip. Alone, since it compares
# what was drawn with what was captured.
add_test(NAME e2e.Recording
  COMMAND /usr/bin/python3 -B ${CMAKE_CURRENT_LIST_DIR}/recording_test.py
    ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
set_tests_properties(e2e.Recording PROPERTIES TIMEOUT 400 RUN_SERIAL TRUE)

# Checks what went over the pipes of the end-to-end tests, where they were told to keep it.
add_test(NAME e2e.Messages
  COMMAND bash -c "[[ -d $CAPTURE_SERVICE_TRAFFIC ]] || exit 77; exec \"$@\" \"$CAPTURE_SERVICE_TRAFFIC\"" _
    /usr/bin/python3 -B ${CMAKE_CURRENT_LIST_DIR}/check_messages.py
    ${PROJECT_SOURCE_DIR}/docs/host-messages.schema.json)
set_tests_properties(e2e.Messages PROPERTIES FIXTURES_REQUIRED traffic SKIP_RETURN_CODE 77)

# What the service is as a file.
add_test(NAME e2e.Image
  COMMAND /usr/bin/python3 -B ${CMAKE_CURRENT_LIST_DIR}/image_test.py
    ${CMAKE_OBJDUMP} $<TARGET_FILE:CaptureService>)

# The desktops of scripts/run and of the tests.
add_test(NAME e2e.Desktop
  COMMAND /usr/bin/python3 -B ${CMAKE_CURRENT_LIST_DIR}/desktop_test.py)

# What is shipped, tried by somebody who has nothing but the package.
add_test(NAME e2e.Package
  COMMAND ${with_desktop} --new-prefix --display 1280x720 --
    /usr/bin/python3 -B ${CMAKE_CURRENT_LIST_DIR}/package_test.py ${PROJECT_SOURCE_DIR})
set_tests_properties(e2e.Package PROPERTIES TIMEOUT 400)

# A checkout at an odd place, of a user without root.
add_test(NAME e2e.Checkout
  COMMAND /usr/bin/python3 -B ${CMAKE_CURRENT_LIST_DIR}/checkout_test.py ${PROJECT_SOURCE_DIR}
    ${CMAKE_BINARY_DIR})
set_tests_properties(e2e.Checkout PROPERTIES TIMEOUT 600)

# What scripts/bench prints and writes; the core is that of the other build, whose figures nobody
# looks at.
add_test(NAME e2e.Bench
  COMMAND ${with_desktop} --
    /usr/bin/python3 -B ${CMAKE_CURRENT_LIST_DIR}/bench_test.py
    ${PROJECT_SOURCE_DIR} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
    ${PROJECT_SOURCE_DIR}/build/native-debug/bin/core_bench
    ${CMAKE_BINARY_DIR}/service/CaptureService.map)
set_tests_properties(e2e.Bench PROPERTIES TIMEOUT 200 LABELS bench SKIP_RETURN_CODE 77)
