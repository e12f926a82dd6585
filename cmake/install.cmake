# Installed, the project root and messages/ are both below include/vantrel_can_bridge/.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(vantrel_include ${CMAKE_INSTALL_INCLUDEDIR}/vantrel_can_bridge)
set(vantrel_cmake ${CMAKE_INSTALL_LIBDIR}/cmake/vantrel_can_bridge)

target_include_directories(bottom_compat PUBLIC $<INSTALL_INTERFACE:${vantrel_include}>)
set(vantrel_targets bottom_compat)
if(TARGET vantrel_can_bridge_messages)
  target_include_directories(vantrel_can_bridge_messages INTERFACE
    $<INSTALL_INTERFACE:${vantrel_include}/messages>)
  set_target_properties(vantrel_can_bridge_messages PROPERTIES EXPORT_NAME messages)
  list(APPEND vantrel_targets vantrel_can_bridge_messages)
  install(DIRECTORY messages/ DESTINATION ${vantrel_include}/messages COMPONENT development)
endif()

install(TARGETS ${vantrel_targets}
  EXPORT vantrel_can_bridge
  RUNTIME COMPONENT development
  LIBRARY COMPONENT development NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
install(FILES gateway/i_bridge_gateway.hpp gateway/operate_result.hpp
  DESTINATION ${vantrel_include}/gateway COMPONENT development)
install(FILES
  compat/bottom_compat_config.hpp
  compat/bottom_compat_orchestrator.hpp
  compat/bottom_compat_reply.hpp
  compat/claw_state.hpp
  DESTINATION ${vantrel_include}/compat COMPONENT development)

install(EXPORT vantrel_can_bridge
  NAMESPACE vantrel_can_bridge::
  FILE vantrel_can_bridge-targets.cmake
  DESTINATION ${vantrel_cmake} COMPONENT development)
configure_package_config_file(
  cmake/vantrel_can_bridge-config.cmake.in vantrel_can_bridge-config.cmake
  INSTALL_DESTINATION ${vantrel_cmake})
write_basic_package_version_file(vantrel_can_bridge-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/vantrel_can_bridge-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/vantrel_can_bridge-config-version.cmake
  DESTINATION ${vantrel_cmake} COMPONENT development)

# Only with our own record: pkg-config knows no way to that of another package. Its paths are
# relative, since `cmake --install --prefix` may choose another prefix than the build's.
if(TARGET vantrel_can_bridge_messages)
  file(RELATIVE_PATH vantrel_pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  configure_file(cmake/vantrel_can_bridge.pc.in vantrel_can_bridge.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vantrel_can_bridge.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()

# Where a ROS workspace looks for what is installed.
install(FILES package.xml
  DESTINATION ${CMAKE_INSTALL_DATADIR}/vantrel_can_bridge COMPONENT development)

if(TARGET bottom-workbench)
  install(TARGETS bottom-workbench RUNTIME COMPONENT workbench)
  install(DIRECTORY robots scenarios
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bottom-workbench COMPONENT workbench
    PATTERN robots/bad EXCLUDE)
endif()
if(VANTREL_BUILD_PACKAGES)
  include(cmake/man.cmake)
  install(FILES ${vantrel_man_pages}
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT workbench)
endif()
