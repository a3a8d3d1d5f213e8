# The transcript shown in docs/session.md is what the main job prints: runs the example session
# from the source folder, as `cmake --workflow --preset session` does, and compares its output
# with the block between the "session transcript" markers, byte for byte. Only the plug-in's
# path on the first line may differ (it names the build folder the test runs from).
#
#   cmake -DHOST=<zarvo_host> -DSOURCE_DIR=<source> -DDOC=<docs/session.md> -P check_session_doc.cmake
file(READ "${DOC}" doc)
set(opening "<!-- session transcript: begin -->\n```\n")
string(FIND "${doc}" "${opening}" begin)
string(FIND "${doc}" "```\n<!-- session transcript: end -->" end)
if(begin LESS 0 OR end LESS 0)
  message(FATAL_ERROR "${DOC}: the session transcript markers are missing")
endif()
string(LENGTH "${opening}" opening_length)
math(EXPR begin "${begin} + ${opening_length}")
math(EXPR length "${end} - ${begin}")
string(SUBSTRING "${doc}" ${begin} ${length} expected)

execute_process(COMMAND "${HOST}" --applications examples/applications.json examples/session.jsonl
                WORKING_DIRECTORY "${SOURCE_DIR}" RESULT_VARIABLE status
                OUTPUT_VARIABLE actual ERROR_VARIABLE errors)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "the example session exited ${status}:\n${actual}${errors}")
endif()
# The first line names the plug-in the host loaded, relative to the source folder.
string(REGEX REPLACE "^plug-in [^\n]*\n" "" actual_rest "${actual}")
string(REGEX REPLACE "^plug-in [^\n]*\n" "" expected_rest "${expected}")
if(NOT actual_rest STREQUAL expected_rest)
  file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/session_actual.txt" "${actual}")
  file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/session_expected.txt" "${expected}")
  execute_process(COMMAND diff -u "${CMAKE_CURRENT_BINARY_DIR}/session_expected.txt"
                          "${CMAKE_CURRENT_BINARY_DIR}/session_actual.txt"
                  OUTPUT_VARIABLE difference)
  message(FATAL_ERROR "docs/session.md shows another transcript than the program prints:\n"
                      "${difference}")
endif()
if(NOT actual MATCHES "^plug-in [^\n]*/libzarvo_bridging\\.so\\.2[.0-9]*\n")
  message(FATAL_ERROR "the transcript does not start with the plug-in line:\n${actual}")
endif()
message(STATUS "docs/session.md matches the program's transcript")
