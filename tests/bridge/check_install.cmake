# Follows the README's "Install and integrate" steps into an empty scratch prefix (run with
# cmake -P, see CMakeLists.txt):
#   1. `cmake --install <build> --prefix <prefix>`: the plug-in with its soname links, the public
#      header, the CMake package and the pkg-config file, pjson; no stand-ins (unless
#      ZARVO_INSTALL_STAND_INS is on) and so no zarvo_host;
#   2. a consumer project finds the package (find_package(zarvo_bridging 2.0 REQUIRED)) and,
#      without the platform libraries, its dlopen host prints dlerror's text and linking the
#      plug-in fails with the linker's message;
#   3. `cmake --install <build> --prefix <prefix> --component stand_ins` adds the stand-ins;
#   4. the consumer again: the dlopen host and the linked host each make one call and print the
#      response; the installed zarvo_host and pjson run.
foreach(var BUILD_DIR PREFIX WORK_DIR LIBDIR INCLUDEDIR BINDIR VERSION CONSUMER_SOURCE GENERATOR
            SOURCE_DIR)
  if(NOT DEFINED ${var} OR "${${var}}" STREQUAL "")
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()
set(failures "")

file(REMOVE_RECURSE "${WORK_DIR}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${PREFIX}"
                OUTPUT_VARIABLE install_output ERROR_VARIABLE install_output RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cmake --install failed (${rc}):\n${install_output}")
endif()

string(REGEX MATCH "^[0-9]+" major "${VERSION}")
set(lib "${PREFIX}/${LIBDIR}")
set(real_file "${lib}/libzarvo_bridging.so.${VERSION}")

if(NOT EXISTS "${real_file}" OR IS_SYMLINK "${real_file}" OR IS_DIRECTORY "${real_file}")
  string(APPEND failures "missing plug-in file ${real_file}\n")
endif()
foreach(link "${lib}/libzarvo_bridging.so.${major}" "${lib}/libzarvo_bridging.so")
  if(NOT IS_SYMLINK "${link}")
    string(APPEND failures "missing symbolic link ${link}\n")
  else()
    get_filename_component(target "${link}" REALPATH)
    get_filename_component(expected "${real_file}" REALPATH)
    if(NOT target STREQUAL expected)
      string(APPEND failures "${link} leads to ${target}\n")
    endif()
    file(READ_SYMLINK "${link}" link_text)
    if(IS_ABSOLUTE "${link_text}")
      string(APPEND failures "${link} is absolute (${link_text}); the prefix is not relocatable\n")
    endif()
  endif()
endforeach()

foreach(file
    "${PREFIX}/${INCLUDEDIR}/zarvo_bridging.h"
    "${lib}/cmake/zarvo_bridging/zarvo_bridgingConfig.cmake"
    "${lib}/cmake/zarvo_bridging/zarvo_bridgingConfigVersion.cmake"
    "${lib}/pkgconfig/zarvo_bridging.pc")
  if(NOT EXISTS "${file}")
    string(APPEND failures "missing ${file}\n")
  endif()
endforeach()

# The stand-ins (and zarvo_host, which drives them) follow ZARVO_INSTALL_STAND_INS; pjson is
# always there.
file(GLOB stand_ins "${lib}/libQtWebKitBridgeHelper*" "${lib}/libzarvo_x64*"
     "${PREFIX}/${BINDIR}/zarvo_host" "${PREFIX}/${INCLUDEDIR}/zarvo_stand_in")
if(STAND_INS)
  if(NOT EXISTS "${lib}/libQtWebKitBridgeHelper.so.2" OR NOT EXISTS "${lib}/libzarvo_x64.so.1")
    string(APPEND failures "ZARVO_INSTALL_STAND_INS=ON but the stand-ins were not installed\n")
  endif()
elseif(stand_ins)
  string(APPEND failures "stand-ins installed although ZARVO_INSTALL_STAND_INS is off: ${stand_ins}\n")
endif()
if(TOOLS AND NOT EXISTS "${PREFIX}/${BINDIR}/pjson")
  string(APPEND failures "missing ${PREFIX}/${BINDIR}/pjson\n")
endif()

# The installed header is the source header.
file(READ "${PREFIX}/${INCLUDEDIR}/zarvo_bridging.h" installed_header)
if(NOT installed_header MATCHES "int ZarvoApplicationCustom\\(")
  string(APPEND failures "installed header does not declare the entry points\n")
endif()

if(failures)
  message(FATAL_ERROR "install layout check failed:\n${failures}")
endif()

# pkg-config reads the installed .pc file.
if(NOT PKG_CONFIG)
  message(FATAL_ERROR "pkg-config was not found at configure time, so the installed .pc file "
                      "cannot be checked: apt-get install pkg-config, then configure again")
endif()
set(ENV{PKG_CONFIG_PATH} "${lib}/pkgconfig")
set(ENV{PKG_CONFIG_LIBDIR} "${lib}/pkgconfig")
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs zarvo_bridging
                OUTPUT_VARIABLE flags ERROR_VARIABLE pc_error RESULT_VARIABLE rc
                OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND ${PKG_CONFIG} --modversion zarvo_bridging
                OUTPUT_VARIABLE pc_version OUTPUT_STRIP_TRAILING_WHITESPACE)
get_filename_component(real_prefix "${PREFIX}" REALPATH)
if(NOT rc EQUAL 0)
  string(APPEND failures "pkg-config failed: ${pc_error}\n")
else()
  # pkg-config may print the prefix as ${pcfiledir}/../.. or normalised; compare real paths.
  if(NOT flags MATCHES "-I([^ ]+)" )
    string(APPEND failures "no -I in pkg-config output '${flags}'\n")
  else()
    get_filename_component(inc "${CMAKE_MATCH_1}" REALPATH)
    if(NOT inc STREQUAL "${real_prefix}/${INCLUDEDIR}")
      string(APPEND failures "pkg-config include dir ${inc}, expected ${real_prefix}/${INCLUDEDIR}\n")
    endif()
  endif()
  if(NOT flags MATCHES "-L([^ ]+)")
    string(APPEND failures "no -L in pkg-config output '${flags}'\n")
  else()
    get_filename_component(libdir "${CMAKE_MATCH_1}" REALPATH)
    if(NOT libdir STREQUAL "${real_prefix}/${LIBDIR}")
      string(APPEND failures "pkg-config lib dir ${libdir}, expected ${real_prefix}/${LIBDIR}\n")
    endif()
  endif()
  if(NOT flags MATCHES "(^| )-lzarvo_bridging( |$)")
    string(APPEND failures "no -lzarvo_bridging in '${flags}'\n")
  endif()
  if(NOT pc_version STREQUAL VERSION)
    string(APPEND failures "pkg-config version '${pc_version}', expected ${VERSION}\n")
  endif()
endif()

# run(<output var> <rc var> <command>...): runs a command, output and errors together.
macro(run out rc)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE ${out} ERROR_VARIABLE ${out}
                  RESULT_VARIABLE ${rc})
endmacro()

# consumer(<build dir>): configures the consumer project against the prefix; false on failure.
function(consumer dir)
  set(args -S "${CONSUMER_SOURCE}" -B "${dir}" -G "${GENERATOR}" "-DCMAKE_PREFIX_PATH=${PREFIX}"
           "-DEXPECTED_PREFIX=${PREFIX}" "-DEXPECTED_VERSION=${VERSION}")
  if(C_COMPILER)
    list(APPEND args "-DCMAKE_C_COMPILER=${C_COMPILER}")
  endif()
  # A sanitized plug-in needs its sanitizer's runtime in the program that loads it.
  if(SANITIZER STREQUAL "address")
    list(APPEND args "-DCMAKE_C_FLAGS=-fsanitize=address,undefined -fno-omit-frame-pointer"
                     "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=address,undefined")
  elseif(SANITIZER STREQUAL "thread")
    list(APPEND args "-DCMAKE_C_FLAGS=-fsanitize=thread" "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread")
  endif()
  run(out rc ${CMAKE_COMMAND} ${args})
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "consumer configure failed:\n${out}")
  endif()
  run(out rc ${CMAKE_COMMAND} --build "${dir}")
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "consumer build failed:\n${out}")
  endif()
endfunction()

# expect_output(<what> <output> <regex>...): each regex must match the output.
function(expect_output what output)
  foreach(regex IN LISTS ARGN)
    if(NOT output MATCHES "${regex}")
      message(FATAL_ERROR "${what}: output does not match '${regex}':\n${output}")
    endif()
  endforeach()
endfunction()

set(plugin "${lib}/libzarvo_bridging.so.${major}")
if(NOT STAND_INS)
  # Step 2: no platform libraries in the prefix.
  consumer("${WORK_DIR}/consumer-bare")
  run(out rc "${WORK_DIR}/consumer-bare/consumer_dlopen" "${plugin}")
  if(NOT rc EQUAL 2)
    message(FATAL_ERROR "consumer_dlopen without the platform libraries exited ${rc}:\n${out}")
  endif()
  expect_output("dlopen without the platform libraries" "${out}"
    "dlopen failed: libQtWebKitBridgeHelper\\.so\\.2: cannot open shared object file: No such file or directory")
  message(STATUS "dlopen without the platform libraries: ${out}")
  run(out rc ${CMAKE_COMMAND} --build "${WORK_DIR}/consumer-bare" --target consumer_linked)
  if(rc EQUAL 0)
    message(FATAL_ERROR "consumer_linked linked without the platform libraries:\n${out}")
  endif()
  expect_output("linking without the platform libraries" "${out}"
    "libQtWebKitBridgeHelper\\.so\\.2, needed by [^\n]*libzarvo_bridging\\.so[^\n]*not found"
    "undefined reference to `BridgeHelper")
  message(STATUS "linking without the platform libraries fails as expected")

  # Step 3: the stand-ins component.
  run(out rc ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${PREFIX}" --component stand_ins)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "cmake --install --component stand_ins failed (${rc}):\n${out}")
  endif()
endif()
foreach(file "${lib}/libQtWebKitBridgeHelper.so.2" "${lib}/libzarvo_x64.so.1"
             "${PREFIX}/${INCLUDEDIR}/zarvo_stand_in/zarvo_simulator.h"
             "${PREFIX}/${INCLUDEDIR}/zarvo_stand_in/bridge_helper_stand_in.h"
             "${PREFIX}/${BINDIR}/zarvo_host")
  if(NOT EXISTS "${file}" AND (TOOLS OR NOT file MATCHES "zarvo_host$"))
    message(FATAL_ERROR "the stand_ins component did not install ${file}")
  endif()
endforeach()

# Step 4: with the stand-ins, both hosts make their call. Under ASan the dlopen host runs without
# leak checking: its dlclose unloads the stand-ins with the plug-in (nothing else holds them, as
# a real host holds its own host library), and their process-lifetime state goes with them.
consumer("${WORK_DIR}/consumer")
set(no_leak_check "")
if(SANITIZER STREQUAL "address")
  set(no_leak_check ${CMAKE_COMMAND} -E env "ASAN_OPTIONS=detect_leaks=0")
endif()
run(out rc ${no_leak_check} "${WORK_DIR}/consumer/consumer_dlopen" "${plugin}")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "consumer_dlopen exited ${rc}:\n${out}")
endif()
expect_output(consumer_dlopen "${out}" "^response 1 200 {\"error\":null,\"value\":null}\npromise 1\n$")
run(out rc ${CMAKE_COMMAND} --build "${WORK_DIR}/consumer" --target consumer_linked)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "consumer_linked build failed:\n${out}")
endif()
run(out rc "${WORK_DIR}/consumer/consumer_linked")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "consumer_linked exited ${rc}:\n${out}")
endif()
expect_output(consumer_linked "${out}"
  "^response 1 405 {\"error\":{\"message\":\"GET method is not allowed.\",\"name\":\"MethodError\"},\"value\":null}\npromise 1\n$")

if(NOT TOOLS)
  message(STATUS "install and integration OK under ${PREFIX} (tools not built)")
  return()
endif()
run(out rc "${PREFIX}/${BINDIR}/zarvo_host" --plugin "${plugin}"
    --apps "${SOURCE_DIR}/examples/applications.json" call ZarvoApplication post "{\"name\":\"viewer\"}")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "installed zarvo_host exited ${rc}:\n${out}")
endif()
expect_output("installed zarvo_host" "${out}" "promise 1  200  {\"error\":null,\"value\":null}")
# Without --plugin and --applications the installed host takes the plug-in beside it and the
# description installed with it, wherever the build tree is.
set(data "${PREFIX}/share/zarvo_bridging")
run(out rc "${PREFIX}/${BINDIR}/zarvo_host" "${data}/session.jsonl")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "installed zarvo_host with its defaults exited ${rc}:\n${out}")
endif()
expect_output("installed zarvo_host, defaults" "${out}"
  "^plug-in [^\n]*prefix/${LIBDIR}/libzarvo_bridging.so.2\napplications [^\n]*prefix/share/zarvo_bridging/applications.json\n")
expect_output("installed zarvo_host, defaults" "${out}" "77 held, 0 failed  PASS")
run(out rc "${PREFIX}/${BINDIR}/zarvo_host" --help)
expect_output("installed zarvo_host --help" "${out}"
  "--plugin FILE=${PREFIX}/${LIBDIR}/libzarvo_bridging.so.2\n")
if(EXISTS "${PREFIX}/${BINDIR}/zarvo_host" AND EXISTS "${data}/web/zarvo/zarvo.js")
  # serve with its defaults: listens, then SIGTERM ends it with status 0.
  run(out rc timeout --preserve-status -s TERM 3 "${PREFIX}/${BINDIR}/zarvo_host" serve --port 0)
  expect_output("installed zarvo_host serve" "${out}" "serving http://127.0.0.1:[0-9]+/")
  if(NOT rc EQUAL 0)
    string(APPEND failures "installed zarvo_host serve exited ${rc}:\n${out}\n")
  endif()
else()
  string(APPEND failures "the web folder was not installed under ${data}/web\n")
endif()
file(WRITE "${WORK_DIR}/pjson-input.json" "{ \"b\" : [1, 2] }")
execute_process(COMMAND "${PREFIX}/${BINDIR}/pjson" INPUT_FILE "${WORK_DIR}/pjson-input.json"
                OUTPUT_VARIABLE out ERROR_VARIABLE out RESULT_VARIABLE rc)
expect_output("installed pjson" "${out}" "^{\"b\":\\[1,2\\]}\n$")

if(failures)
  message(FATAL_ERROR "install check failed:\n${failures}")
endif()
message(STATUS "install and integration OK under ${PREFIX}")
