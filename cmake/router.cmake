# The target `archive`: two tar archives. One is unpacked at the root of a router and has the tool, qxagent-wait and the
# init script of a listener. The other is for cross-compiling and has the client library, its header and its pkg-config
# file.
include(GNUInstallDirs)

# Other compilers link this library, so its objects are compiled without link-time optimisation. They are
# position-independent, so that plug-ins can link them. On AArch64 they call atomic operations (__aarch64_*) of the
# compiler's run-time library, which GCC has since version 10.
get_target_property(client_sources qx_plix SOURCES)
list(TRANSFORM client_sources PREPEND ${PROJECT_SOURCE_DIR}/client/ REGEX "^[^/]")
add_library(qx_plix_archived STATIC ${client_sources})
set_target_properties(qx_plix_archived PROPERTIES OUTPUT_NAME qx_plix CXX_VISIBILITY_PRESET hidden POSITION_INDEPENDENT_CODE ON
  ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/archived)
target_include_directories(qx_plix_archived PRIVATE client/include client/src client/private)
target_compile_options(qx_plix_archived PRIVATE -ffunction-sections -fdata-sections -fno-threadsafe-statics -g0)
target_link_libraries(qx_plix_archived PRIVATE qx_options qx_hardened qx_c_linkable qx_base qx_jansson)
include(cmake/pkgconfig.cmake)
qx_credit(library libqx-plix-dev)

set(archive_suffix ${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR}-linux-musl.tar.gz)
set(QX_ROUTER_ARCHIVE ${PROJECT_NAME}-${archive_suffix})

add_custom_target(archive DEPENDS qxagent-manage qx_plix_archived)
# qx_archive(NAME PACKAGE FILE...): adds an archive with the files, each written SOURCE=DESTINATION, and the NOTICE of
# PACKAGE.
function(qx_archive name package)
  set(notice ${QX_CREDITS}/${package}/NOTICE)
  set(files ${ARGN} ${notice}=usr/share/doc/${package}/NOTICE)
  add_custom_command(TARGET archive
    COMMAND ${CMAKE_COMMAND} "-DFILES=${files}" -DARCHIVE=${PROJECT_BINARY_DIR}/${name}-${archive_suffix} -DPACKAGE=${name}
      -DVERSION=${PROJECT_VERSION} -DLIST=${notice}.list -P ${PROJECT_SOURCE_DIR}/cmake/archive.cmake VERBATIM)
  add_dependencies(archive qx_notice_${package})
endfunction()
qx_archive(${PROJECT_NAME} qxagent-manage $<TARGET_FILE:qxagent-manage>=usr/sbin/qxagent-manage
  ${PROJECT_BINARY_DIR}/bin/qxagent-wait=usr/sbin/qxagent-wait
  ${docs}/services/qx-events.init=usr/share/doc/qxagent-manage/examples/qx-events.init)
qx_archive(libqx-plix-dev libqx-plix-dev $<TARGET_FILE:qx_plix_archived>=usr/lib/libqx_plix.a
  ${public_header}=usr/include/qx_plix.h ${PROJECT_BINARY_DIR}/qx_plix.pc=usr/lib/pkgconfig/qx_plix.pc)
