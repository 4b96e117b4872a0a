# Tests of what is installed, and in install/router of what goes to the router. A sanitizer's build only compiles them,
# for its compiler and checks.
file(GLOB sources CONFIGURE_DEPENDS install/*.cpp)
file(GLOB router_sources CONFIGURE_DEPENDS install/router/*.cpp)
if(QX_SANITIZE)
  add_library(install_tests OBJECT ${sources} ${router_sources})
  qx_like_tests(install_tests qxagent_manage_parts)
else()
  qx_test(install qxagent_manage_parts)
  add_dependencies(install_tests product)
  # It builds everything, so it begins early.
  add_test(NAME install.Builds.AreReproducible
    COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/reproducible.sh ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR})
  set_tests_properties(install.Builds.AreReproducible PROPERTIES COST 1000 TIMEOUT 900)
endif()
if(CMAKE_CROSSCOMPILING)
  target_sources(install_tests PRIVATE ${router_sources})
endif()
target_include_directories(install_tests PRIVATE install)
target_compile_definitions(install_tests PRIVATE QX_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
  QX_BUILD_DIR="${PROJECT_BINARY_DIR}" QX_ROUTER_ARCHIVE="${QX_ROUTER_ARCHIVE}"
  QX_SHIPPED_CODE="$<TARGET_FILE:qx_plix>:$<TARGET_FILE:qx_utils>:$<TARGET_FILE:qxagent_manage_parts>:$<JOIN:$<TARGET_OBJECTS:qxbrokerd-sim>,:>")
