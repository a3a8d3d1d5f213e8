# Install rules: the plug-in with its soname links, its public header, a CMake package
# (find_package(zarvo_bridging) -> zarvo_bridging::zarvo_bridging) and a pkg-config file.
# The stand-in platform libraries are installed only with ZARVO_INSTALL_STAND_INS=ON; a real
# host provides libQtWebKitBridgeHelper.so.2 and libzarvo_x64.so.1 itself.
#
# The package files are relocatable: the CMake config finds the prefix from its own location and
# the .pc file from ${pcfiledir}, so `cmake --install <build> --prefix <anywhere>` works.
include(CMakePackageConfigHelpers)

set(ZARVO_CMAKE_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/zarvo_bridging")
set(ZARVO_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

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

if(ZARVO_INSTALL_STAND_INS)
  install(TARGETS QtWebKitBridgeHelper zarvo_x64
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT stand_ins)
  install(FILES ${PROJECT_SOURCE_DIR}/platform/stand_in/include/bridge_helper_stand_in.h
                ${PROJECT_SOURCE_DIR}/platform/stand_in/include/zarvo_simulator.h
                ${PROJECT_SOURCE_DIR}/platform/include/bridge_helper.h
                ${PROJECT_SOURCE_DIR}/platform/include/zarvo_x64.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zarvo_stand_in COMPONENT stand_ins)
endif()
