# Run by the target `archive` in a build's folder: ARCHIVE, with its checksum beside it, holds the tool alone as it lies
# below a router's root.
include(${CMAKE_CURRENT_LIST_DIR}/source_date.cmake)
set(tree ${CMAKE_BINARY_DIR}/archive)
file(REMOVE_RECURSE ${tree})
set(ENV{DESTDIR} ${tree})
execute_process(COMMAND ${CMAKE_COMMAND} --install . --prefix /usr --component tool
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(
  COMMAND tar --sort=name --format=ustar --mtime=@$ENV{SOURCE_DATE_EPOCH} --owner=0 --group=0 --numeric-owner
    --mode=u=rwX,go=rX -C ${tree} -c usr/sbin
  COMMAND gzip -n9
  OUTPUT_FILE ${ARCHIVE} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND sha256sum ${ARCHIVE} OUTPUT_FILE ${ARCHIVE}.sha256 COMMAND_ERROR_IS_FATAL ANY)
