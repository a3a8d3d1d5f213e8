# Installs the build into a scratch prefix and checks the layout (run with cmake -P, see
# CMakeLists.txt): the plug-in with its soname links, the public header, the CMake package and the
# pkg-config file; the stand-ins only when they were asked for. Then a consumer project finds the
# package with find_package and compiles against the header, and pkg-config reads the .pc file.
foreach(var BUILD_DIR PREFIX WORK_DIR LIBDIR INCLUDEDIR VERSION CONSUMER_SOURCE GENERATOR)
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

# The stand-ins follow ZARVO_INSTALL_STAND_INS.
file(GLOB stand_ins "${lib}/libQtWebKitBridgeHelper*" "${lib}/libzarvo_x64*")
if(STAND_INS)
  if(NOT EXISTS "${lib}/libQtWebKitBridgeHelper.so.2" OR NOT EXISTS "${lib}/libzarvo_x64.so.1")
    string(APPEND failures "ZARVO_INSTALL_STAND_INS=ON but the stand-ins were not installed\n")
  endif()
elseif(stand_ins)
  string(APPEND failures "stand-ins installed although ZARVO_INSTALL_STAND_INS is off: ${stand_ins}\n")
endif()

# The installed header is the source header.
file(READ "${PREFIX}/${INCLUDEDIR}/zarvo_bridging.h" installed_header)
if(NOT installed_header MATCHES "int ZarvoApplicationCustom\\(")
  string(APPEND failures "installed header does not declare the entry points\n")
endif()

if(failures)
  message(FATAL_ERROR "install layout check failed:\n${failures}")
endif()

# pkg-config, when the tool is there.
if(PKG_CONFIG)
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
endif()

# A consumer project: find_package, the imported target's properties, and a compile of the header.
set(consumer_args -S "${CONSUMER_SOURCE}" -B "${WORK_DIR}/consumer" -G "${GENERATOR}"
                  "-DCMAKE_PREFIX_PATH=${PREFIX}" "-DEXPECTED_PREFIX=${PREFIX}"
                  "-DEXPECTED_VERSION=${VERSION}")
if(C_COMPILER)
  list(APPEND consumer_args "-DCMAKE_C_COMPILER=${C_COMPILER}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} ${consumer_args}
                OUTPUT_VARIABLE out ERROR_VARIABLE out RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  string(APPEND failures "consumer configure failed:\n${out}\n")
else()
  execute_process(COMMAND ${CMAKE_COMMAND} --build "${WORK_DIR}/consumer" --target consumer_check
                  OUTPUT_VARIABLE out ERROR_VARIABLE out RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    string(APPEND failures "consumer build failed:\n${out}\n")
  endif()
endif()

if(failures)
  message(FATAL_ERROR "install check failed:\n${failures}")
endif()
message(STATUS "install layout OK under ${PREFIX}")
