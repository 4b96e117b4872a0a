# `cpack` makes a Debian package of each component, with its checksum beside it. Two builds of one commit give the same
# bytes, wherever they are made.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL tool library simulator)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_PACKAGE_CONTACT "Norvane router tools <router-tools@norvane.invalid>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME qxagent-manage)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION admin)
set(CPACK_COMPONENT_TOOL_DESCRIPTION "Management tool of the router-security agent")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libqx-plix-dev)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS libjansson-dev)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "Client library of the router-security agent's broker")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_NAME qxbrokerd-sim)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_SIMULATOR_DESCRIPTION "Simulated broker of the router-security agent, to try programs on")

set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/source_date.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian_tree.cmake)
include(CPack)
