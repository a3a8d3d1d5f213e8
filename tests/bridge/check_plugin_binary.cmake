# Checks the built plug-in's dynamic interface (run with cmake -P, see CMakeLists.txt):
#   - SONAME libzarvo_bridging.so.2, NEEDED libQtWebKitBridgeHelper.so.2 and libzarvo_x64.so.1;
#   - the dynamic symbol table defines exactly ZarvoApplication, ZarvoApplicationBridge,
#     ZarvoApplicationEvent, ZarvoApplicationCustom and TearDown, all as text symbols: no weak
#     template instantiation, typeinfo, vtable or JSON library symbol leaks;
#   - no bridge or JSON library symbol is imported either (nothing could be interposed);
#   - immediate binding (FLAGS BIND_NOW, FLAGS_1 NOW) and a GNU_RELRO segment, so a missing host
#     or application library function fails the load, and the relocated data is read-only;
#   - the soname and development links exist and lead to the plug-in file.
foreach(var PLUGIN PLUGIN_SONAME_FILE PLUGIN_LINKER_FILE NM READELF)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()
if(NOT EXISTS "${PLUGIN}")
  message(FATAL_ERROR "plug-in not built: ${PLUGIN}")
endif()
set(failures "")

# Dynamic section.
execute_process(COMMAND ${READELF} -d "${PLUGIN}" OUTPUT_VARIABLE dynamic RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "readelf -d failed (${rc})")
endif()
string(REGEX MATCHALL "\\(SONAME\\)[^\n]*" soname_lines "${dynamic}")
list(LENGTH soname_lines soname_count)
if(NOT soname_count EQUAL 1 OR NOT soname_lines MATCHES "Library soname: \\[libzarvo_bridging\\.so\\.2\\]")
  string(APPEND failures "SONAME is not exactly libzarvo_bridging.so.2: ${soname_lines}\n")
endif()
string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*" needed_lines "${dynamic}")
foreach(lib libQtWebKitBridgeHelper.so.2 libzarvo_x64.so.1)
  string(REPLACE "." "\\." lib_regex "${lib}")
  if(NOT needed_lines MATCHES "Shared library: \\[${lib_regex}\\]")
    string(APPEND failures "NEEDED ${lib} missing: ${needed_lines}\n")
  endif()
endforeach()

# Immediate binding and RELRO (-Wl,-z,now -Wl,-z,relro).
if(NOT dynamic MATCHES "\\(FLAGS\\)[^\n]*BIND_NOW")
  string(APPEND failures "no BIND_NOW in the FLAGS entry (link with -Wl,-z,now)\n")
endif()
if(NOT dynamic MATCHES "\\(FLAGS_1\\)[^\n]*NOW")
  string(APPEND failures "no NOW in the FLAGS_1 entry (link with -Wl,-z,now)\n")
endif()
execute_process(COMMAND ${READELF} -l -W "${PLUGIN}" OUTPUT_VARIABLE segments RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "readelf -l failed (${rc})")
endif()
if(NOT segments MATCHES "\n *GNU_RELRO ")
  string(APPEND failures "no GNU_RELRO segment (link with -Wl,-z,relro)\n")
endif()

# Defined dynamic symbols: exactly the five entry points.
execute_process(COMMAND ${NM} -D --defined-only "${PLUGIN}" OUTPUT_VARIABLE defined
                RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm -D --defined-only failed (${rc})")
endif()
string(REGEX REPLACE "\n$" "" defined_trimmed "${defined}")
string(REPLACE "\n" ";" defined_lines "${defined_trimmed}")
set(defined_names "")
foreach(line IN LISTS defined_lines)
  if(line MATCHES "^[0-9a-fA-F]+ ([A-Za-z]) ([^ ]+)$")
    set(kind "${CMAKE_MATCH_1}")
    set(name "${CMAKE_MATCH_2}")
    list(APPEND defined_names "${name}")
    if(NOT kind STREQUAL "T")
      string(APPEND failures "symbol ${name} has type ${kind}, expected T\n")
    endif()
  else()
    string(APPEND failures "unexpected nm line: '${line}'\n")
  endif()
endforeach()
list(SORT defined_names)
set(expected_names TearDown ZarvoApplication ZarvoApplicationBridge ZarvoApplicationCustom
                   ZarvoApplicationEvent)
if(NOT defined_names STREQUAL expected_names)
  string(APPEND failures
         "defined dynamic symbols are\n${defined}\nexpected exactly: ${expected_names}\n")
endif()

# Imported symbols: the plug-in must not look up its own or the JSON library's names elsewhere.
execute_process(COMMAND ${NM} -D --undefined-only "${PLUGIN}" OUTPUT_VARIABLE undefined
                RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm -D --undefined-only failed (${rc})")
endif()
if(undefined MATCHES "(_ZN6bridge|_ZN10pocketjson|_ZN5zarvo|_ZN2fs|_ZTIN6bridge|_ZTVN6bridge)[^\n]*")
  string(APPEND failures "imports an internal symbol: ${CMAKE_MATCH_0}\n")
endif()
foreach(import BridgeHelperCreatePromiseID BridgeHelperSetResponse)
  if(NOT undefined MATCHES " U ${import}\n")
    string(APPEND failures "does not import ${import}\n")
  endif()
endforeach()

# Soname and development links next to the file.
get_filename_component(real_plugin "${PLUGIN}" REALPATH)
foreach(link "${PLUGIN_SONAME_FILE}" "${PLUGIN_LINKER_FILE}")
  get_filename_component(link_name "${link}" NAME)
  if(NOT IS_SYMLINK "${link}")
    string(APPEND failures "${link_name} is not a symbolic link\n")
  else()
    get_filename_component(real_link "${link}" REALPATH)
    if(NOT real_link STREQUAL real_plugin)
      string(APPEND failures "${link_name} leads to ${real_link}, not ${real_plugin}\n")
    endif()
  endif()
endforeach()
get_filename_component(soname_file_name "${PLUGIN_SONAME_FILE}" NAME)
get_filename_component(linker_file_name "${PLUGIN_LINKER_FILE}" NAME)
if(NOT soname_file_name STREQUAL "libzarvo_bridging.so.2" OR
   NOT linker_file_name STREQUAL "libzarvo_bridging.so")
  string(APPEND failures "link names are ${soname_file_name} and ${linker_file_name}\n")
endif()

if(failures)
  message(FATAL_ERROR "plug-in interface check failed for ${PLUGIN}:\n${failures}")
endif()
message(STATUS "plug-in interface OK:\n${defined}${soname_lines}\n${needed_lines}")
