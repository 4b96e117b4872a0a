# The component library of `cmake --install`: the client library with its header, and what pkg-config, CMake and man know
# of it. The objects of a cross build would be of no use to another compiler, so it has no such component.
include(CMakePackageConfigHelpers)

set(cmake_package ${CMAKE_INSTALL_LIBDIR}/cmake/qx_plix)
configure_package_config_file(cmake/qx_plix-config.cmake.in ${PROJECT_BINARY_DIR}/qx_plix-config.cmake
  INSTALL_DESTINATION ${cmake_package} PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qx_plix-config-version.cmake COMPATIBILITY SameMajorVersion)
# From where the file is installed back to the prefix, so that the tree may be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE QX_PREFIX_FROM_PKGCONFIG)
configure_file(cmake/qx_plix.pc.in ${PROJECT_BINARY_DIR}/qx_plix.pc @ONLY)

install(TARGETS qx_plix DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
install(FILES ${public_header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT library)
install(FILES ${PROJECT_BINARY_DIR}/qx_plix.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT library)
install(FILES ${PROJECT_BINARY_DIR}/qx_plix-config.cmake ${PROJECT_BINARY_DIR}/qx_plix-config-version.cmake
  DESTINATION ${cmake_package} COMPONENT library)
qx_document(library man/qx_plix.3.in man/man3 qx_plix.3)
