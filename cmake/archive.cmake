# Writes ARCHIVE, with its checksum and its SBOM beside it. FILES is a list of SOURCE=DESTINATION; each DESTINATION is a
# path below the root of a router. The archive has no entries for directories, so unpacking changes no directory of the
# router. credits/sbom.cmake explains PACKAGE, VERSION and LIST.
include(${CMAKE_CURRENT_LIST_DIR}/source_date.cmake)
set(tree ${ARCHIVE}.tree)
file(REMOVE_RECURSE ${tree})
set(names)
foreach(file ${FILES})
  string(REGEX MATCH "^(.*)=(.*)$" file ${file})
  set(source ${CMAKE_MATCH_1})
  list(APPEND names ${CMAKE_MATCH_2})
  cmake_path(GET CMAKE_MATCH_2 PARENT_PATH folder)
  file(MAKE_DIRECTORY ${tree}/${folder})
  file(COPY_FILE ${source} ${tree}/${CMAKE_MATCH_2})
endforeach()
execute_process(
  COMMAND tar --format=ustar --mtime=@$ENV{SOURCE_DATE_EPOCH} --owner=0 --group=0 --numeric-owner --mode=u=rwX,go=rX
    -C ${tree} -c ${names}
  COMMAND gzip -n9
  OUTPUT_FILE ${ARCHIVE} COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE_RECURSE ${tree})
cmake_path(GET ARCHIVE PARENT_PATH folder)
cmake_path(GET ARCHIVE FILENAME name)
execute_process(COMMAND sha256sum ${name} WORKING_DIRECTORY ${folder} OUTPUT_FILE ${ARCHIVE}.sha256 COMMAND_ERROR_IS_FATAL ANY)
set(FILE ${ARCHIVE})
include(${CMAKE_CURRENT_LIST_DIR}/credits/sbom.cmake)
