# Records the demo game with everything that is built, and checks the clip. Alone, since it compares
# what was drawn with what was captured.
add_test(NAME e2e.Recording
  COMMAND /usr/bin/python3 -B ${CMAKE_CURRENT_LIST_DIR}/recording_test.py
    ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
set_tests_properties(e2e.Recording PROPERTIES TIMEOUT 400 RUN_SERIAL TRUE)
