# Runs every command of the first ```sh block of tools/zarvo_host/README.md, so the README cannot
# drift from the tool.
#
#   cmake -DREADME=<file> -DSOURCE_DIR=<source tree> -DBUILD_DIR=<build tree> -DHOST=<zarvo_host>
#         -DMIN_COMMANDS=<n> -P run_readme.cmake
#
# The README shows the paths of the default build (build/default/...); they are replaced by this
# build's, so the test also checks the sanitizer builds' own binaries. Each line runs through
# /bin/sh from the source tree with standard input empty and must exit 0 and print something.
file(READ "${README}" text)
string(FIND "${text}" "```sh\n" start)
if(start EQUAL -1)
  message(FATAL_ERROR "${README}: no ```sh block")
endif()
math(EXPR start "${start} + 6")
string(SUBSTRING "${text}" ${start} -1 text)
string(FIND "${text}" "```" end)
string(SUBSTRING "${text}" 0 ${end} block)

string(REPLACE "build/default/tools/zarvo_host/zarvo_host" "@host@" block "${block}")
string(REPLACE "build/default" "${BUILD_DIR}" block "${block}")
string(REPLACE "@host@" "${HOST}" block "${block}")
set(count 0)
string(REPLACE "\n" ";" lines "${block}")
# The block holds no ';' (checked below), so the list split is exact.
string(FIND "${block}" ";" semicolon)
if(NOT semicolon EQUAL -1)
  message(FATAL_ERROR "${README}: the command block must not contain ';'")
endif()
foreach(line IN LISTS lines)
  if(line STREQUAL "" OR line MATCHES "^#")
    continue()
  endif()
  execute_process(COMMAND /bin/sh -c "${line}" WORKING_DIRECTORY "${SOURCE_DIR}"
                  INPUT_FILE /dev/null RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "exit status ${status}: ${line}\n${out}\n${err}")
  endif()
  if(out STREQUAL "")
    message(FATAL_ERROR "no output: ${line}\n${err}")
  endif()
  math(EXPR count "${count} + 1")
  message(STATUS "ok: ${line}")
endforeach()
if(count LESS MIN_COMMANDS)
  message(FATAL_ERROR "only ${count} commands in the README block, expected at least ${MIN_COMMANDS}")
endif()
