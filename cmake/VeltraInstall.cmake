# Installation: the headers as include/Veltra.h and include/VeltraHost.h, the two libraries (and
# their import libraries on Windows), the veltra command, a CMake package giving the imported
# targets Veltra::Veltra and Veltra::VeltraHost, and a pkg-config file for each library. Both package descriptions locate the prefix relative to themselves, so an
# installed tree can be moved or installed with --prefix.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VELTRA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Veltra)

install(TARGETS Veltra VeltraHost EXPORT VeltraTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT VeltraTargets NAMESPACE Veltra:: DESTINATION ${VELTRA_CMAKE_DIR})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/VeltraConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/VeltraConfig.cmake INSTALL_DESTINATION ${VELTRA_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VeltraConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VeltraConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/VeltraConfigVersion.cmake
  DESTINATION ${VELTRA_CMAKE_DIR})

# veltra.pc: the prefix is found from the file's own directory.
file(RELATIVE_PATH VELTRA_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" VELTRA_PC_TO_PREFIX "${VELTRA_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/veltra.pc.in ${CMAKE_CURRENT_BINARY_DIR}/veltra.pc @ONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/veltra-host.pc.in ${CMAKE_CURRENT_BINARY_DIR}/veltra-host.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/veltra.pc ${CMAKE_CURRENT_BINARY_DIR}/veltra-host.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TARGET veltra)
  # The installed command finds the library in the installed tree.
  file(RELATIVE_PATH VELTRA_BIN_TO_LIB /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  set_target_properties(veltra PROPERTIES INSTALL_RPATH "$ORIGIN/${VELTRA_BIN_TO_LIB}")
  install(TARGETS veltra RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
