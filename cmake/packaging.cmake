# Packages: `cpack` makes a Debian package of each component; a cross build's target `archive` makes a tar archive of
# the tool, to be unpacked at a router's root. Each has its checksum beside it. Two builds of one commit give the same
# bytes, wherever they are made.

# No path of the build reaches a binary.
foreach(target qx_plix qx_utils qxagent_manage_parts qxagent-manage qxbrokerd_sim_parts qxbrokerd-sim)
  target_compile_options(${target} PRIVATE
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}/=)
endforeach()

if(CMAKE_CROSSCOMPILING)
  set(QX_ROUTER_ARCHIVE ${PROJECT_NAME}-${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR}-linux-musl.tar.gz)
  add_custom_target(archive
    COMMAND ${CMAKE_COMMAND} -DTOOL=$<TARGET_FILE:qxagent-manage> -DARCHIVE=${QX_ROUTER_ARCHIVE}
      -P ${PROJECT_SOURCE_DIR}/cmake/archive.cmake
    WORKING_DIRECTORY ${PROJECT_BINARY_DIR} DEPENDS qxagent-manage VERBATIM)
  return()
endif()

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
