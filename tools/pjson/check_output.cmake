# Runs PJSON [ARGS] with INPUT on stdin and compares, byte for byte, stdout with EXPECTED and/or
# stderr with EXPECTED_STDERR, and the exit status with EXPECTED_RC.
execute_process(COMMAND ${PJSON} ${ARGS}
                INPUT_FILE ${INPUT}
                OUTPUT_VARIABLE out
                ERROR_VARIABLE err
                RESULT_VARIABLE rc)
if(NOT "${rc}" STREQUAL "${EXPECTED_RC}")
  message(FATAL_ERROR "exit status ${rc}, expected ${EXPECTED_RC}\nstdout: ${out}\nstderr: ${err}")
endif()
if(DEFINED EXPECTED)
  file(READ ${EXPECTED} want)
  if(NOT out STREQUAL want)
    message(FATAL_ERROR "stdout differs\n--- got:\n${out}\n--- expected:\n${want}")
  endif()
endif()
if(DEFINED EXPECTED_STDERR)
  file(READ ${EXPECTED_STDERR} want)
  if(NOT err STREQUAL want)
    message(FATAL_ERROR "stderr differs\n--- got:\n${err}\n--- expected:\n${want}")
  endif()
endif()
