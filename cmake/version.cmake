# Compiles the version and the commit into the programs. The first build after a commit configures again, compiles one
# small source of each program and links the programs.
include(${CMAKE_CURRENT_LIST_DIR}/commit.cmake)

# git appends a line to logs/HEAD whenever HEAD moves.
execute_process(COMMAND git rev-parse --path-format=absolute --git-path logs/HEAD WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  OUTPUT_VARIABLE moves_of_head OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(EXISTS ${PROJECT_SOURCE_DIR}/.git AND EXISTS "${moves_of_head}")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${moves_of_head})
endif()

# qx_embed_version(TARGET PROGRAM): defines version_text of base/version.h in the target.
function(qx_embed_version target program)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/version.cpp)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.cpp.in ${source} @ONLY)
  set_source_files_properties(${source} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  target_sources(${target} PRIVATE ${source})
endfunction()
