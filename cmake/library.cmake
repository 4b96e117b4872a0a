# Installs the client library for other programs: shared and static, or only the kind that BUILD_SHARED_LIBS selects.
# The component `shared` holds the run-time files. The component `library` holds the development files: header,
# pkg-config file, CMake package and manual page. The musl build uses router.cmake instead, because it compiles the
# objects of qx_plix with link-time optimisation, and other compilers cannot link such objects.
include(CMakePackageConfigHelpers)

# Plug-ins, which are shared objects, link the static library too and so need position-independent code. This
# does not slow the tool down.
set_target_properties(qx_plix PROPERTIES POSITION_INDEPENDENT_CODE ON)

set(QX_PLIX_STATIC yes)
set(QX_PLIX_SHARED ${JANSSON_SHARED_LIBRARY})
if(DEFINED BUILD_SHARED_LIBS)
  set(QX_PLIX_SHARED ${BUILD_SHARED_LIBS})
  if(BUILD_SHARED_LIBS)
    set(QX_PLIX_STATIC)
    find_library(JANSSON_SHARED_LIBRARY NAMES libjansson.so REQUIRED)
  endif()
endif()

if(QX_PLIX_SHARED)
  set(export_map ${PROJECT_SOURCE_DIR}/client/qx_plix.map)
  add_library(qx_plix_shared SHARED $<TARGET_OBJECTS:qx_plix>)
  # Linking as C with -z defs fails if the library needs the C++ runtime.
  set_target_properties(qx_plix_shared PROPERTIES OUTPUT_NAME qx_plix LINKER_LANGUAGE C LINK_DEPENDS ${export_map}
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  target_link_options(qx_plix_shared PRIVATE -Wl,--version-script=${export_map} -Wl,-z,defs -Wl,-z,relro -Wl,-z,now
    -Wl,--gc-sections -Wl,-O1)
  target_link_libraries(qx_plix_shared PRIVATE ${JANSSON_SHARED_LIBRARY} Threads::Threads)
  add_dependencies(product qx_plix_shared)
  qx_credit(shared libqx-plix${PROJECT_VERSION_MAJOR} qx_plix_shared)
  install(TARGETS qx_plix_shared LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT shared NAMELINK_COMPONENT library)
endif()
qx_credit(library libqx-plix-dev)
if(QX_PLIX_STATIC)
  install(TARGETS qx_plix DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
endif()

set(cmake_package ${CMAKE_INSTALL_LIBDIR}/cmake/qx_plix)
configure_package_config_file(cmake/qx_plix-config.cmake.in ${PROJECT_BINARY_DIR}/qx_plix-config.cmake
  INSTALL_DESTINATION ${cmake_package} PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qx_plix-config-version.cmake COMPATIBILITY SameMajorVersion)
include(cmake/pkgconfig.cmake)

install(FILES ${public_header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT library)
install(FILES ${PROJECT_BINARY_DIR}/qx_plix.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT library)
install(FILES ${PROJECT_BINARY_DIR}/qx_plix-config.cmake ${PROJECT_BINARY_DIR}/qx_plix-config-version.cmake
  DESTINATION ${cmake_package} COMPONENT library)
qx_document(library man/qx_plix.3.in man3 qx_plix.3)
