# Writes qx_plix.pc. If the shared library is installed, the dependencies of the static library are private:
# `pkg-config --libs` prints them only with --static. Directories are relative to the file, so the installed tree can be
# moved.
foreach(folder INCLUDEDIR LIBDIR)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_${folder}
    BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE QX_${folder}_FROM_PKGCONFIG)
endforeach()
set(QX_PRIVATE)
if(QX_PLIX_SHARED)
  set(QX_PRIVATE .private)
endif()
configure_file(cmake/qx_plix.pc.in ${PROJECT_BINARY_DIR}/qx_plix.pc @ONLY)
