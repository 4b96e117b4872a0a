# Credits the projects whose code is linked statically. The linker writes a map of each program and shared library.
# notice.cmake generates a package's NOTICE and the list for its SBOM from these maps.
set(QX_CREDITS ${PROJECT_BINARY_DIR}/credits)
file(MAKE_DIRECTORY ${QX_CREDITS})
add_library(qx_versions OBJECT cmake/credits/versions.cpp)
target_link_libraries(qx_versions PRIVATE qx_jansson qx_fmt)

# qx_credit(COMPONENT PACKAGE [TARGET...]): generates the NOTICE of PACKAGE from the link maps of the targets. Installs
# the NOTICE with COMPONENT.
function(qx_credit component package)
  set(maps)
  foreach(target ${ARGN})
    set(map ${QX_CREDITS}/${target}.map)
    list(APPEND maps ${map})
    if(QX_MAP_LAUNCHER)
      set_target_properties(${target} PROPERTIES CXX_LINKER_LAUNCHER "sh;${PROJECT_SOURCE_DIR}/${QX_MAP_LAUNCHER};${map}")
    else()
      target_link_options(${target} PRIVATE -Wl,-Map=${map})
    endif()
  endforeach()
  set(notice ${QX_CREDITS}/${package}/NOTICE)
  add_custom_command(OUTPUT ${notice} ${notice}.list
    COMMAND ${CMAKE_COMMAND} -DPACKAGE=${package} -DMAPS=${maps} -DVERSIONS=$<TARGET_OBJECTS:qx_versions>
      -DCOMPILER=${CMAKE_CXX_COMPILER} -DJANSSON_SOURCE=${PROJECT_SOURCE_DIR}/build/cross/jansson-source
      -DOUTPUT=${notice} -P ${PROJECT_SOURCE_DIR}/cmake/credits/notice.cmake
    DEPENDS ${ARGN} qx_versions cmake/credits/notice.cmake cmake/credits/known.txt VERBATIM)
  add_custom_target(qx_notice_${package} ALL DEPENDS ${notice})
  add_dependencies(product qx_notice_${package})
  install(FILES ${notice} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endfunction()

qx_credit(tool qxagent-manage qxagent-manage)
qx_credit(simulator qxbrokerd-sim qxbrokerd-sim)
