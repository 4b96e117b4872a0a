# Makes the installed trees that are going to be packaged as Debian has them: compressed pages, zsh's completions
# where Debian's zsh looks for them, and one time on all files.
file(GLOB trees ${CPACK_TEMPORARY_DIRECTORY}/*)
foreach(tree ${trees})
  file(GLOB pages ${tree}/usr/share/man/man*/*.[1-8])
  if(pages)
    execute_process(COMMAND gzip -n9 ${pages} COMMAND_ERROR_IS_FATAL ANY)
  endif()
  if(EXISTS ${tree}/usr/share/zsh/site-functions)
    file(RENAME ${tree}/usr/share/zsh/site-functions ${tree}/usr/share/zsh/vendor-completions)
  endif()
  execute_process(COMMAND find ${tree} -exec touch -h -d @$ENV{SOURCE_DATE_EPOCH} {} + COMMAND_ERROR_IS_FATAL ANY)
endforeach()
