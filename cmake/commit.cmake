# Sets QX_COMMIT to the first 12 digits of the commit. In a checkout, git supplies the commit. In a source archive,
# commit.txt supplies it; `git archive` writes the commit to that file. If the commit is not known, QX_COMMIT is
# "unknown".
set(QX_COMMIT unknown)
if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/../.git)
  execute_process(COMMAND git rev-parse HEAD WORKING_DIRECTORY ${CMAKE_CURRENT_LIST_DIR}
    OUTPUT_VARIABLE commit ERROR_QUIET)
else()
  file(READ ${CMAKE_CURRENT_LIST_DIR}/commit.txt commit)
endif()
if(commit MATCHES "^[0-9a-f]+")
  string(SUBSTRING ${CMAKE_MATCH_0} 0 12 QX_COMMIT)
endif()
