# The target `packages`: Debian packages of everything that is installed, each with its checksum and its SBOM beside it.
# Two builds of one commit give the same bytes, wherever they are made.
add_custom_target(packages
  COMMAND ${CMAKE_COMMAND} -DBUILD=${PROJECT_BINARY_DIR} -DOUTPUT=${PROJECT_BINARY_DIR}/packages
    -P ${PROJECT_SOURCE_DIR}/cmake/debian/pack.cmake
  DEPENDS product VERBATIM)
