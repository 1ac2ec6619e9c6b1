# What `cmake --install` puts on a host: the two libraries with their soname
# links, the public headers, linnet, a pkg-config file (mxlinnet.pc) and a
# CMake package (find_package(mxlinnet) gives the target mxlinnet::mxlinnet).
include(CMakePackageConfigHelpers)

install(TARGETS mxlinnet mxlogger EXPORT mxlinnetTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/mxlinnet.h include/mxlogger.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
if(TARGET linnet)
  install(TARGETS linnet RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
endif()

set(LINNET_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/mxlinnet)
install(EXPORT mxlinnetTargets NAMESPACE mxlinnet:: DESTINATION ${LINNET_CMAKE_DIR} COMPONENT development)
configure_package_config_file(cmake/mxlinnetConfig.cmake.in ${PROJECT_BINARY_DIR}/mxlinnetConfig.cmake
  INSTALL_DESTINATION ${LINNET_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/mxlinnetConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/mxlinnetConfig.cmake ${PROJECT_BINARY_DIR}/mxlinnetConfigVersion.cmake
  DESTINATION ${LINNET_CMAKE_DIR} COMPONENT development)

file(RELATIVE_PATH LINNET_PC_TO_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(cmake/mxlinnet.pc.in ${PROJECT_BINARY_DIR}/mxlinnet.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/mxlinnet.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(FILES doc/linnet.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
install(FILES completion/linnet.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  RENAME linnet COMPONENT runtime)

include(cmake/Packaging.cmake)
