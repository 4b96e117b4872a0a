# Writes ARCHIVE, with its checksum beside it: the program TOOL and, from the same folder, qxagent-wait as they lie below a
# router's root, and nothing else, so that unpacking changes no directory there.
include(${CMAKE_CURRENT_LIST_DIR}/source_date.cmake)
cmake_path(GET TOOL PARENT_PATH folder)
cmake_path(GET TOOL FILENAME program)
execute_process(
  COMMAND tar --format=ustar --mtime=@$ENV{SOURCE_DATE_EPOCH} --owner=0 --group=0 --numeric-owner --mode=0755
    --transform=s,^,usr/sbin/, -C ${folder} -c ${program} qxagent-wait
  COMMAND gzip -n9
  OUTPUT_FILE ${ARCHIVE} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND sha256sum ${ARCHIVE} OUTPUT_FILE ${ARCHIVE}.sha256 COMMAND_ERROR_IS_FATAL ANY)
