# zarvo_discover_tests(<target> LABELS <label>... [PROPERTIES <name> <value>...])
#
# gtest_discover_tests with several labels. gtest_discover_tests flattens a list-valued property
# (LABELS "a;b" would make "b" a property name), so the labels are set by a small script that CTest
# runs after the discovered tests have been included.
function(zarvo_discover_tests target)
  cmake_parse_arguments(arg "" "" "LABELS;PROPERTIES" ${ARGN})
  gtest_discover_tests(${target} TEST_LIST ${target}_TESTS DISCOVERY_TIMEOUT 60
                       PROPERTIES ${arg_PROPERTIES})
  set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}_labels.cmake")
  file(WRITE "${script}"
    "if(${target}_TESTS)\n"
    "  set_tests_properties(\${${target}_TESTS} PROPERTIES LABELS \"${arg_LABELS}\")\n"
    "endif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${script}")
endfunction()
