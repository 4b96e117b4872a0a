# Sets the environment's SOURCE_DATE_EPOCH, the time that packaged files bear, unless it is set: that of the commit.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND git log -1 --format=%ct WORKING_DIRECTORY ${CMAKE_CURRENT_LIST_DIR}
    OUTPUT_VARIABLE commit_time OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "this is no git checkout: set SOURCE_DATE_EPOCH to the time that packaged files shall bear")
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${commit_time})
endif()
