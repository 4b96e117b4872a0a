# Sets the environment's SOURCE_DATE_EPOCH, the time that packaged files bear, unless it is set: the time of the commit.
# The files of a source archive bear that time themselves.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  set(sources ${CMAKE_CURRENT_LIST_DIR}/..)
  if(EXISTS ${sources}/.git)
    execute_process(COMMAND git log -1 --format=%ct WORKING_DIRECTORY ${sources}
      OUTPUT_VARIABLE commit_time OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
    if(failed)
      message(FATAL_ERROR "git does not tell the time of the commit: set SOURCE_DATE_EPOCH to the time that packaged "
        "files shall bear")
    endif()
  else()
    file(TIMESTAMP ${sources}/CMakeLists.txt commit_time %s UTC)
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${commit_time})
endif()
