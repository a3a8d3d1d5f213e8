# Checks the simulated library's binary interface: its soname, and that it exports the C
# functions of the two headers and nothing else.
#   cmake -DLIBRARY=<file> -DNM=<nm> -DREADELF=<readelf> -P check_simulator_binary.cmake
execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dynamic RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "readelf failed on ${LIBRARY}")
endif()
if(NOT dynamic MATCHES "Library soname: \\[libzarvo_x64\\.so\\.1\\]")
  message(FATAL_ERROR "soname is not libzarvo_x64.so.1:\n${dynamic}")
endif()

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE symbols
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REGEX MATCHALL "[^\n]+" lines "${symbols}")
set(exported "")
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^[0-9a-fA-F]* *[A-Za-z] +" "" name "${line}")
  list(APPEND exported "${name}")
endforeach()
list(SORT exported)

set(expected
  ZrvBridgeCross ZrvConnectApplication ZrvDisconnectApplication ZrvExecuteCustomTask
  ZrvRegisterEvent ZrvSetApplicationDidDisconnectCallback ZrvSimCallCount ZrvSimCallLog
  ZrvSimClearLog ZrvSimConnectionNamed ZrvSimConnectionRecordCount ZrvSimDefaultProgram
  ZrvSimEventCallbackCount
  ZrvSimEventThreadStackSize ZrvSimFlush ZrvSimGetCall ZrvSimTimerCount
  ZrvSimLoadDescription ZrvSimLoadDescriptionText ZrvSimPostEvent ZrvSimRaiseDidDisconnect
  ZrvSimRaiseEvent ZrvSimRaiseEventWithNullContext ZrvSimReset ZrvSimSetCallLogEnabled
  ZrvSimSetEventThreadCount ZrvSimSetProgram ZrvUnregisterEvent)
list(SORT expected)
if(NOT exported STREQUAL expected)
  message(FATAL_ERROR "exported symbols differ.\nexpected: ${expected}\nfound:    ${exported}")
endif()
