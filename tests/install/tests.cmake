# Tests of what is installed: of the build that ships. Others only compile them, one compiler and its checks each.
if(QX_SANITIZE STREQUAL "address")
  return()
endif()
file(GLOB sources CONFIGURE_DEPENDS install/*.cpp)
if(CMAKE_CROSSCOMPILING OR QX_SANITIZE)
  add_library(install_tests OBJECT ${sources})
  target_link_libraries(install_tests PRIVATE qx_test_support qxagent_manage_parts)
else()
  qx_test(install qxagent_manage_parts)
  # It builds everything, so it begins early.
  add_test(NAME install.Builds.AreReproducible
    COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/reproducible.sh ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR})
  set_tests_properties(install.Builds.AreReproducible PROPERTIES COST 1000 TIMEOUT 300)
endif()
target_compile_definitions(install_tests PRIVATE
  QX_SOURCE_DIR="${PROJECT_SOURCE_DIR}" QX_BUILD_DIR="${PROJECT_BINARY_DIR}")
