# Installing the module: headers, both libraries, the CMake package
# (find_package(annotation): annotation::annotation, annotation::engine) and
# a pkg-config file.
include(CMakePackageConfigHelpers)

set(ANNOTATION_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/annotation)

install(TARGETS annotation annotation_engine
  EXPORT annotationTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# <annotation/annotation.h> for the module; <platform/...> and
# <engine/engine.h> (also reachable as <annotation/platform/...>) for the
# engine's functions.
install(FILES annotation/annotation.h annotation/annotation.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/annotation)
install(DIRECTORY platform engine
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/annotation
  FILES_MATCHING PATTERN "*.h")

install(EXPORT annotationTargets
  NAMESPACE annotation::
  DESTINATION ${ANNOTATION_CMAKE_DIR})

configure_package_config_file(cmake/annotationConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/annotationConfig.cmake
  INSTALL_DESTINATION ${ANNOTATION_CMAKE_DIR})
write_basic_package_version_file(
  ${CMAKE_CURRENT_BINARY_DIR}/annotationConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/annotationConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/annotationConfigVersion.cmake
  DESTINATION ${ANNOTATION_CMAKE_DIR})

# The .pc file finds its prefix from its own place, so an installed tree can
# be moved.
file(RELATIVE_PATH ANNOTATION_PC_TO_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
string(REGEX REPLACE "/$" "" ANNOTATION_PC_TO_PREFIX "${ANNOTATION_PC_TO_PREFIX}")
configure_file(cmake/annotation.pc.in ${CMAKE_CURRENT_BINARY_DIR}/annotation.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/annotation.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
