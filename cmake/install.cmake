# Install rules, by component:
#   runtime      the plug-in libzarvo_bridging.so.2.0.0 and its soname link libzarvo_bridging.so.2
#   development  the public header, the libzarvo_bridging.so link, the CMake package
#                (find_package(zarvo_bridging 2.0) -> zarvo_bridging::zarvo_bridging, with a
#                version file) and the pkg-config file zarvo_bridging.pc
#   tools        pjson
#   stand_ins    the stand-in host library libQtWebKitBridgeHelper.so.2, the simulated
#                application library libzarvo_x64.so.1, their control headers (under
#                include/zarvo_stand_in), the reference hosts zarvo_host and zarvo_view, which
#                drive them, and what the hosts use by default under share/zarvo_bridging: the
#                application description (with its schema and the example session) and the web
#                folder (the client modules zarvo/ and the console)
# A plain `cmake --install` installs the first three. The stand-ins are for developing without
# the vendor's libraries: `cmake --install <build> --component stand_ins` adds them to a prefix,
# and ZARVO_INSTALL_STAND_INS=ON makes them part of the plain install.
#
# The package files are relocatable: the CMake config finds the prefix from its own location and
# the .pc file from ${pcfiledir}, so `cmake --install <build> --prefix <anywhere>` works. The
# installed plug-in looks for its platform libraries next to itself first (RUNPATH $ORIGIN),
# then where the dynamic linker looks anyway.
include(CMakePackageConfigHelpers)

set(ZARVO_CMAKE_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/zarvo_bridging")
set(ZARVO_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

set_target_properties(zarvo_bridging PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS zarvo_bridging
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/include/zarvo_bridging.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# File names the package files refer to, taken from the target so they follow VERSION/SOVERSION.
set(ZARVO_BRIDGING_LIBRARY_FILE
  "${CMAKE_SHARED_LIBRARY_PREFIX}zarvo_bridging${CMAKE_SHARED_LIBRARY_SUFFIX}.${PROJECT_VERSION}")
set(ZARVO_BRIDGING_SONAME
  "${CMAKE_SHARED_LIBRARY_PREFIX}zarvo_bridging${CMAKE_SHARED_LIBRARY_SUFFIX}.${PROJECT_VERSION_MAJOR}")

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/zarvo_bridgingConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/zarvo_bridgingConfig.cmake
  INSTALL_DESTINATION ${ZARVO_CMAKE_PACKAGE_DIR}
  PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/package/zarvo_bridgingConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/zarvo_bridgingConfig.cmake
              ${PROJECT_BINARY_DIR}/package/zarvo_bridgingConfigVersion.cmake
  DESTINATION ${ZARVO_CMAKE_PACKAGE_DIR} COMPONENT development)

# pkg-config: the prefix is the .pc file's directory walked back up to the install prefix.
if(IS_ABSOLUTE "${ZARVO_PKGCONFIG_DIR}")
  set(ZARVO_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH ZARVO_PC_UP "/root/${ZARVO_PKGCONFIG_DIR}" "/root")
  string(REGEX REPLACE "/$" "" ZARVO_PC_UP "${ZARVO_PC_UP}")
  set(ZARVO_PC_PREFIX "\${pcfiledir}/${ZARVO_PC_UP}")
endif()
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(ZARVO_PC_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(ZARVO_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/zarvo_bridging.pc.in
               ${PROJECT_BINARY_DIR}/package/zarvo_bridging.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/zarvo_bridging.pc
  DESTINATION ${ZARVO_PKGCONFIG_DIR} COMPONENT development)

# The stand-ins: an optional component, in the plain install only with ZARVO_INSTALL_STAND_INS.
if(ZARVO_INSTALL_STAND_INS)
  set(zarvo_stand_ins_optional "")
else()
  set(zarvo_stand_ins_optional EXCLUDE_FROM_ALL)
endif()
set_target_properties(zarvo_x64 QtWebKitBridgeHelper PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS QtWebKitBridgeHelper zarvo_x64
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT stand_ins
  ${zarvo_stand_ins_optional})
install(FILES ${PROJECT_SOURCE_DIR}/platform/stand_in/include/bridge_helper_stand_in.h
              ${PROJECT_SOURCE_DIR}/platform/stand_in/include/zarvo_simulator.h
              ${PROJECT_SOURCE_DIR}/platform/include/bridge_helper.h
              ${PROJECT_SOURCE_DIR}/platform/include/zarvo_x64.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zarvo_stand_in COMPONENT stand_ins
  ${zarvo_stand_ins_optional})

# The tools (tools/ is added after this file is included, so they are looked up here lazily).
function(zarvo_install_tools)
  file(RELATIVE_PATH bin_to_lib "/root/${CMAKE_INSTALL_BINDIR}" "/root/${CMAKE_INSTALL_LIBDIR}")
  if(TARGET pjson)
    install(TARGETS pjson RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  endif()
  foreach(host zarvo_host zarvo_view)
    if(TARGET ${host})
      set_target_properties(${host} PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
      install(TARGETS ${host} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT stand_ins
        ${zarvo_stand_ins_optional})
    endif()
  endforeach()
  if(TARGET zarvo_host OR TARGET zarvo_view)
    # The hosts' defaults when they run from the prefix (host_core/default_paths.h).
    set(data ${CMAKE_INSTALL_DATADIR}/zarvo_bridging)
    install(FILES ${PROJECT_SOURCE_DIR}/examples/applications.json
                  ${PROJECT_SOURCE_DIR}/examples/applications.schema.json
                  ${PROJECT_SOURCE_DIR}/examples/session.jsonl
      DESTINATION ${data} COMPONENT stand_ins ${zarvo_stand_ins_optional})
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/web/zarvo ${PROJECT_SOURCE_DIR}/web/console
      DESTINATION ${data}/web COMPONENT stand_ins ${zarvo_stand_ins_optional})
  endif()
endfunction()
