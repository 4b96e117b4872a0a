# What `cmake --install` lays out, in three components: the tool, the library and the simulator. Pages and completions
# are generated while building; a cross build runs the generator under its emulator.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(docs ${PROJECT_SOURCE_DIR}/docs)
set(public_header ${PROJECT_SOURCE_DIR}/client/include/qx_plix.h)
set(readme ${PROJECT_SOURCE_DIR}/README.md)

# Builds everything that is installed.
add_custom_target(product DEPENDS qxagent-manage qxbrokerd-sim qx_plix)

# qx_document(COMPONENT TEMPLATE FOLDER NAME): generates a document and installs it in a folder of share.
function(qx_document component template folder name)
  set(output ${PROJECT_BINARY_DIR}/share/${folder}/${name})
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/share/${folder})
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:qxdocgen> ${docs}/${template} ${output} ${public_header} ${readme}
    DEPENDS qxdocgen ${docs}/${template} ${public_header} ${readme} VERBATIM)
  add_custom_target(qx_document_${name} ALL DEPENDS ${output})
  add_dependencies(product qx_document_${name})
  install(FILES ${output} DESTINATION ${CMAKE_INSTALL_DATADIR}/${folder} COMPONENT ${component})
endfunction()

install(TARGETS qxagent-manage DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT tool)
qx_document(tool man/qxagent-manage.8.in man/man8 qxagent-manage.8)
qx_document(tool completions/qxagent-manage.bash.in bash-completion/completions qxagent-manage)
qx_document(tool completions/qxagent-manage.zsh.in zsh/site-functions _qxagent-manage)
qx_document(tool completions/qxagent-manage.fish.in fish/vendor_completions.d qxagent-manage.fish)
install(FILES ${docs}/scripting.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qxagent-manage COMPONENT tool)

install(TARGETS qxbrokerd-sim DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT simulator)
install(FILES ${docs}/man/qxbrokerd-sim.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT simulator)
install(FILES ${docs}/simulator.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qxbrokerd-sim COMPONENT simulator)
install(DIRECTORY ${docs}/scenarios DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qxbrokerd-sim COMPONENT simulator)

# The objects of a cross build are its compiler's own and of no use to another.
if(CMAKE_CROSSCOMPILING)
  return()
endif()

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
