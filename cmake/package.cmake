# Debian packages by CPack: the component with what is needed to build against it, and the
# workbench. Debian's layout needs the prefix /usr: cmake --preset package.
find_program(GZIP gzip REQUIRED)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md package.xml)
set(vantrel_debian ${CMAKE_CURRENT_BINARY_DIR}/debian)
file(MAKE_DIRECTORY ${vantrel_debian})
execute_process(COMMAND ${GZIP} -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  OUTPUT_FILE ${vantrel_debian}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)

file(STRINGS package.xml vantrel_maintainer REGEX "<maintainer ")
string(REGEX REPLACE ".*email=\"([^\"]+)\">([^<]+)<.*" "\\2 <\\1>"
  CPACK_PACKAGE_CONTACT "${vantrel_maintainer}")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/packages)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

# vantrel_package(COMPONENT NAME SECTION DESCRIPTION): makes a package of what is installed
# as COMPONENT.
macro(vantrel_package component name section description)
  install(FILES cmake/debian/copyright ${vantrel_debian}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
  install(FILES cmake/debian/${name}.overrides RENAME ${name}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component})
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} vantrel_upper)
  set(CPACK_DEBIAN_${vantrel_upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${vantrel_upper}_PACKAGE_SECTION ${section})
  set(CPACK_COMPONENT_${vantrel_upper}_DESCRIPTION "${description}")
endmacro()

set(CPACK_COMPONENTS_ALL "")
vantrel_package(development vantrel-can-bridge libdevel
"bottom-board compatibility layer for a CAN bridge
Keeps old clients of a robot's bottom board working on the boards that
replaced it: turns their requests into named device operations, sends
them through the gateway of the bridge and answers each of them.

The shared library with its headers, for CMake, pkg-config and ROS
workspaces.")
vantrel_package(workbench bottom-workbench devel
"runs the bottom-board compatibility layer without a robot
Checks robot files, sends requests to simulated boards, and plays
scenarios of requests, emergency stops and faults on simulated time,
with what must come of them.

Comes with robot files and scenarios to start from.")
set(CPACK_COMPONENT_WORKBENCH_DEPENDS development)

# What was built against one version runs with every other one of the same soname.
get_target_property(vantrel_soversion bottom_compat SOVERSION)
math(EXPR vantrel_next_minor "${PROJECT_VERSION_MINOR} + 1")
set(vantrel_next_soversion ${PROJECT_VERSION_MAJOR}.${vantrel_next_minor})
configure_file(cmake/debian/shlibs.in debian/shlibs @ONLY)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_CONTROL_EXTRA
  ${vantrel_debian}/shlibs ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
include(CPack)
