# Test helpers: where the shared test data lives, and how a GoogleTest executable is added.
#
# ZARVO_TEST_DATA_DIR (cache variable; its first default comes from the environment variable of
# the same name, else the sibling checkout ../shared/data) holds JSONTestSuite/test_parsing and
# corpus/. When either is missing, configure says so once and every test declared as reading the
# data is added DISABLED: CTest lists it as "Not Run (Disabled)" and the run still succeeds,
# while every other test runs as usual.
if(DEFINED ENV{ZARVO_TEST_DATA_DIR} AND NOT "$ENV{ZARVO_TEST_DATA_DIR}" STREQUAL "")
  set(zarvo_test_data_default "$ENV{ZARVO_TEST_DATA_DIR}")
else()
  get_filename_component(zarvo_test_data_default "${PROJECT_SOURCE_DIR}/../shared/data" ABSOLUTE)
endif()
set(ZARVO_TEST_DATA_DIR "${zarvo_test_data_default}" CACHE PATH
    "Shared test data (JSONTestSuite/test_parsing, corpus); tests that read it are disabled without it")
if(IS_DIRECTORY "${ZARVO_TEST_DATA_DIR}/JSONTestSuite/test_parsing" AND
   IS_DIRECTORY "${ZARVO_TEST_DATA_DIR}/corpus")
  set(ZARVO_TEST_DATA_FOUND TRUE)
else()
  set(ZARVO_TEST_DATA_FOUND FALSE)
  message(WARNING "ZARVO_TEST_DATA_DIR: no test data at '${ZARVO_TEST_DATA_DIR}' (it needs "
                  "JSONTestSuite/test_parsing and corpus/); the tests that read it are disabled. "
                  "Set -DZARVO_TEST_DATA_DIR=<dir> or the environment variable ZARVO_TEST_DATA_DIR.")
endif()

# zarvo_discover_tests(<target> LABELS <label>... [DATA_TESTS <regex>...]
#                      [PROPERTIES <name> <value>...])
#
# gtest_discover_tests with several labels. gtest_discover_tests flattens a list-valued property
# (LABELS "a;b" would make "b" a property name), so the labels are set by a small script that CTest
# runs after the discovered tests have been included. The same script disables the discovered
# tests whose names match one of DATA_TESTS when the test data is missing.
function(zarvo_discover_tests target)
  cmake_parse_arguments(arg "" "" "LABELS;PROPERTIES;DATA_TESTS" ${ARGN})
  gtest_discover_tests(${target} TEST_LIST ${target}_TESTS DISCOVERY_TIMEOUT 60
                       PROPERTIES ${arg_PROPERTIES})
  set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}_labels.cmake")
  file(WRITE "${script}"
    "if(${target}_TESTS)\n"
    "  set_tests_properties(\${${target}_TESTS} PROPERTIES LABELS \"${arg_LABELS}\")\n"
    "endif()\n")
  if(arg_DATA_TESTS AND NOT ZARVO_TEST_DATA_FOUND)
    list(JOIN arg_DATA_TESTS "|" data_regex)
    string(REPLACE "\\" "\\\\" data_regex "${data_regex}")
    file(APPEND "${script}"
      "# No test data at ${ZARVO_TEST_DATA_DIR}: these tests cannot run.\n"
      "foreach(test IN LISTS ${target}_TESTS)\n"
      "  if(test MATCHES \"${data_regex}\")\n"
      "    set_tests_properties(\"\${test}\" PROPERTIES DISABLED TRUE)\n"
      "  endif()\n"
      "endforeach()\n")
  endif()
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${script}")
endfunction()

# zarvo_add_gtest(<target> SOURCES <file>... LABELS <label>... [LIBRARIES <lib>...]
#                 [DATA_TESTS <regex>...] [PROPERTIES <name> <value>...])
#
# One GoogleTest executable: built from SOURCES with the project's warnings, linked to LIBRARIES,
# its tests discovered and labelled. DATA_TESTS marks the target as reading the shared test data:
# it gets ZARVO_SHARED_DATA_DIR (the data folder, a string literal) and the tests whose names
# match a regex are disabled when the data is missing (".*" for all of them).
function(zarvo_add_gtest target)
  cmake_parse_arguments(arg "" "" "SOURCES;LABELS;LIBRARIES;DATA_TESTS;PROPERTIES" ${ARGN})
  if(NOT arg_SOURCES OR NOT arg_LABELS)
    message(FATAL_ERROR "zarvo_add_gtest(${target}): SOURCES and LABELS are required")
  endif()
  add_executable(${target} ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE ${arg_LIBRARIES})
  zarvo_set_warnings(${target})
  if(arg_DATA_TESTS)
    target_compile_definitions(${target} PRIVATE ZARVO_SHARED_DATA_DIR="${ZARVO_TEST_DATA_DIR}")
  endif()
  zarvo_discover_tests(${target} LABELS ${arg_LABELS} DATA_TESTS ${arg_DATA_TESTS}
                       PROPERTIES ${arg_PROPERTIES})
endfunction()
