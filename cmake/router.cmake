# The target `archive`: the tool and qxagent-wait as a tar archive, to be unpacked at a router's root, with its checksum beside it.
set(QX_ROUTER_ARCHIVE ${PROJECT_NAME}-${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR}-linux-musl.tar.gz)
add_custom_target(archive
  COMMAND ${CMAKE_COMMAND} -DTOOL=$<TARGET_FILE:qxagent-manage> -DARCHIVE=${QX_ROUTER_ARCHIVE}
    -P ${PROJECT_SOURCE_DIR}/cmake/archive.cmake
  WORKING_DIRECTORY ${PROJECT_BINARY_DIR} DEPENDS qxagent-manage VERBATIM)
