# Finds what the compiler and the system provide: hardening options, threads, jansson and fmt. The tool loads neither
# jansson nor fmt at its start: qx_jansson is static where possible, and qx_fmt is header-only.
include(CheckCXXCompilerFlag)
foreach(option IN LISTS QX_HARDENING)
  string(MAKE_C_IDENTIFIER "QX_HAS${option}" known)
  check_cxx_compiler_flag(${option} ${known})
  if(${known})
    target_compile_options(qx_hardened INTERFACE ${option})
  endif()
endforeach()

find_package(Threads REQUIRED)

find_path(JANSSON_INCLUDE_DIR jansson.h REQUIRED)
find_library(JANSSON_LIBRARY NAMES libjansson.a jansson REQUIRED)
add_library(qx_jansson INTERFACE)
target_include_directories(qx_jansson SYSTEM INTERFACE ${JANSSON_INCLUDE_DIR})
target_link_libraries(qx_jansson INTERFACE ${JANSSON_LIBRARY})

# The shared client library links the shared jansson, so that a program whose plug-ins also use jansson loads one copy.
find_library(JANSSON_SHARED_LIBRARY NAMES libjansson.so)

find_path(FMT_INCLUDE_DIR fmt/format.h REQUIRED)
add_library(qx_fmt INTERFACE)
target_include_directories(qx_fmt SYSTEM INTERFACE ${FMT_INCLUDE_DIR})
# Leave out fmt's large code for floating point, 128-bit integers and thousands separators, which nothing uses.
target_compile_definitions(qx_fmt INTERFACE FMT_HEADER_ONLY FMT_USE_FLOAT=0 FMT_USE_DOUBLE=0 FMT_USE_LONG_DOUBLE=0
  FMT_USE_INT128=0 FMT_STATIC_THOUSANDS_SEPARATOR=46)
