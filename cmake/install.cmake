# Installs the components `tool` and `simulator`. The build generates man pages and completions; a cross build runs the
# generator under an emulator.
include(GNUInstallDirs)

set(docs ${PROJECT_SOURCE_DIR}/docs)
set(public_header ${PROJECT_SOURCE_DIR}/client/include/qx_plix.h)
set(readme ${PROJECT_SOURCE_DIR}/README.md)
set(words ${docs}/completions/qxagent-manage.sh.in)

# qx_document(COMPONENT TEMPLATE FOLDER NAME): generates a document from TEMPLATE and installs it as share/FOLDER/NAME,
# or as share/man/FOLDER/NAME if FOLDER is a section of the manual.
function(qx_document component template folder name)
  set(destination ${CMAKE_INSTALL_DATADIR}/${folder})
  if(folder MATCHES "^man[1-9]$")
    set(destination ${CMAKE_INSTALL_MANDIR}/${folder})
    set(folder man/${folder})
  endif()
  set(output ${PROJECT_BINARY_DIR}/share/${folder}/${name})
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/share/${folder})
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:qxdocgen> ${docs}/${template} ${output} ${public_header} ${readme} ${words}
    DEPENDS qxdocgen ${docs}/${template} ${public_header} ${readme} ${words} VERBATIM)
  add_custom_target(qx_document_${name} ALL DEPENDS ${output})
  add_dependencies(product qx_document_${name})
  install(FILES ${output} DESTINATION ${destination} COMPONENT ${component})
endfunction()

# qx_completions(COMPONENT PROGRAM): generates and installs the program's completions for bash, zsh and fish.
function(qx_completions component program)
  qx_document(${component} completions/${program}.bash.in bash-completion/completions ${program})
  qx_document(${component} completions/${program}.zsh.in zsh/site-functions _${program})
  qx_document(${component} completions/${program}.fish.in fish/vendor_completions.d ${program}.fish)
endfunction()

install(TARGETS qxagent-manage DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT tool)
qx_document(tool man/qxagent-manage.8.in man8 qxagent-manage.8)
qx_completions(tool qxagent-manage)
qx_completions(tool qxagent-wait)
install(PROGRAMS ${PROJECT_SOURCE_DIR}/tools/qxagent-wait/qxagent-wait DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT tool)
install(FILES ${docs}/man/qxagent-wait.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT tool)
install(FILES ${docs}/scripting.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool)
install(FILES ${docs}/services/qx-events.service DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT tool)
install(PROGRAMS ${docs}/services/qx-events.init DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT tool)

install(TARGETS qxbrokerd-sim DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT simulator)
qx_completions(simulator qxbrokerd-sim)
install(FILES ${docs}/man/qxbrokerd-sim.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT simulator)
install(FILES ${docs}/simulator.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qxbrokerd-sim COMPONENT simulator)
install(PROGRAMS ${docs}/services/qxbrokerd-sim.init DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qxbrokerd-sim/examples COMPONENT simulator)
install(DIRECTORY ${docs}/scenarios DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qxbrokerd-sim COMPONENT simulator)
