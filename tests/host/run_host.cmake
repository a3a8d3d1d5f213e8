# Runs the reference host once and checks its exit status and output.
#
#   cmake -DEXPECT_EXIT=<n> [-DINPUT=<file for stdin>] [-DJSON_LINES=ON]
#         [-DMATCH1=<regex> ... -DMATCH8=<regex>] [-DREJECT1=<regex> -DREJECT2=<regex>]
#         -P run_host.cmake -- <host> <arguments...>
#
# MATCHn must match the combined output (stdout, then stderr); REJECTn must not. JSON_LINES checks
# that every non-empty line of stdout is one JSON object with a "kind" member.
set(command "")
set(collect OFF)
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(i RANGE 0 ${last})
  if(collect)
    list(APPEND command "${CMAKE_ARGV${i}}")
  elseif(CMAKE_ARGV${i} STREQUAL "--")
    set(collect ON)
  endif()
endforeach()
if(NOT command)
  message(FATAL_ERROR "run_host.cmake: no command after --")
endif()

set(input_args "")
if(DEFINED INPUT)
  set(input_args INPUT_FILE "${INPUT}")
endif()
execute_process(COMMAND ${command} ${input_args}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
set(all "${out}\n${err}")

if(NOT "${status}" STREQUAL "${EXPECT_EXIT}")
  message(FATAL_ERROR "exit status ${status}, expected ${EXPECT_EXIT}. Output:\n${all}")
endif()
foreach(n RANGE 1 8)
  if(DEFINED MATCH${n} AND NOT all MATCHES "${MATCH${n}}")
    message(FATAL_ERROR "output does not match '${MATCH${n}}'. Output:\n${all}")
  endif()
endforeach()
foreach(n RANGE 1 2)
  if(DEFINED REJECT${n} AND all MATCHES "${REJECT${n}}")
    message(FATAL_ERROR "output matches '${REJECT${n}}' but must not. Output:\n${all}")
  endif()
endforeach()

if(JSON_LINES)
  # One JSON object per line. Lines are cut out with string(FIND) rather than list splitting,
  # which would treat ';' inside a line as a separator.
  set(rest "${out}")
  set(count 0)
  while(NOT rest STREQUAL "")
    string(FIND "${rest}" "\n" eol)
    if(eol EQUAL -1)
      set(line "${rest}")
      set(rest "")
    else()
      string(SUBSTRING "${rest}" 0 ${eol} line)
      math(EXPR next "${eol} + 1")
      string(SUBSTRING "${rest}" ${next} -1 rest)
    endif()
    if(line STREQUAL "")
      continue()
    endif()
    string(JSON kind ERROR_VARIABLE problem GET "${line}" kind)
    if(problem)
      message(FATAL_ERROR "stdout line is not a JSON object with \"kind\": ${problem}\n${line}")
    endif()
    math(EXPR count "${count} + 1")
  endwhile()
  if(count EQUAL 0)
    message(FATAL_ERROR "no JSON lines on stdout")
  endif()
  message(STATUS "${count} JSON lines parsed")
endif()
message(STATUS "exit status ${status} as expected")
