# The target `packages`: Debian packages of everything that is installed, each with its checksum and its SBOM beside it.
# The packages are reproducible: builds of one commit on any machine produce identical files.
add_custom_target(packages
  COMMAND ${CMAKE_COMMAND} -DBUILD=${PROJECT_BINARY_DIR} -DOUTPUT=${PROJECT_BINARY_DIR}/packages
    -P ${PROJECT_SOURCE_DIR}/cmake/debian/pack.cmake
  DEPENDS product VERBATIM)
