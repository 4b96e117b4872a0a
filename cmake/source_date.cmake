# Sets SOURCE_DATE_EPOCH, the timestamp of packaged files, to the time of the commit, unless the environment already
# sets it. In a source archive every file has the time of the commit, so the timestamp of CMakeLists.txt is used.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  set(sources ${CMAKE_CURRENT_LIST_DIR}/..)
  if(EXISTS ${sources}/.git)
    execute_process(COMMAND git log -1 --format=%ct WORKING_DIRECTORY ${sources}
      OUTPUT_VARIABLE commit_time OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  else()
    file(TIMESTAMP ${sources}/CMakeLists.txt commit_time %s UTC)
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${commit_time})
endif()
