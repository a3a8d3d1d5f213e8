# Configures the project in a scratch folder as on a machine without Boost and checks that the
# web host is left out with one clear line, while zarvo_host and the session target remain; with
# -DBUILD_SESSION=ON it also builds and runs the session target there.
#   cmake -DSOURCE_DIR=<src> -DSCRATCH=<dir> [-DBUILD_SESSION=ON] -P without_boost.cmake
file(REMOVE_RECURSE "${SCRATCH}")
execute_process(
  COMMAND ${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${SCRATCH}" -G Ninja
          -DCMAKE_DISABLE_FIND_PACKAGE_Boost=ON -DZARVO_BUILD_TESTS=OFF
          -DCMAKE_BUILD_TYPE=RelWithDebInfo
  RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "configure without Boost failed (${status}):\n${out}\n${err}")
endif()
set(line "zarvo_host: the web host (zarvo_host serve) is skipped: Boost.Beast was not found; install libboost-dev (apt-get install -y libboost-dev) to build it.")
string(FIND "${err}" "${line}" first)
string(FIND "${err}" "${line}" last REVERSE)
if(first EQUAL -1 OR NOT first EQUAL last)
  message(FATAL_ERROR "expected the line once on stderr:\n${line}\ngot:\n${err}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build "${SCRATCH}" --target help
                OUTPUT_VARIABLE targets RESULT_VARIABLE status)
if(targets MATCHES "(^|\n)zarvo_serve:" OR NOT targets MATCHES "(^|\n)session:"
   OR NOT targets MATCHES "(^|\n)zarvo_host:")
  message(FATAL_ERROR "targets without Boost: zarvo_serve must be absent, zarvo_host and session present:\n${targets}")
endif()
if(BUILD_SESSION)
  execute_process(COMMAND ${CMAKE_COMMAND} --build "${SCRATCH}" --target session -j2
                  RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "the session target without Boost failed (${status}):\n${out}\n${err}")
  endif()
endif()
file(REMOVE_RECURSE "${SCRATCH}")
