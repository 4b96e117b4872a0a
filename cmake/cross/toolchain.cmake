# Toolchain for static musl programs for QX_PROCESSOR (processor.cmake). build.sh fetches the compiler and builds the
# libraries. An emulator runs programs that this machine's processor cannot run.
include(${CMAKE_CURRENT_LIST_DIR}/processor.cmake)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${QX_PROCESSOR})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QX_PROCESSOR)
if(NOT QX_PROCESSOR STREQUAL CMAKE_HOST_SYSTEM_PROCESSOR)
  find_program(CMAKE_CROSSCOMPILING_EMULATOR ${QX_EMULATOR} REQUIRED)
endif()

cmake_path(SET cross NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/cross)
set(CMAKE_C_COMPILER ${cross}/compiler/bin/cc)
set(CMAKE_CXX_COMPILER ${cross}/compiler/bin/c++)
set(CMAKE_AR ${cross}/compiler/bin/ar)
set(CMAKE_RANLIB ${cross}/compiler/bin/ranlib)
set(CMAKE_C_COMPILER_TARGET ${QX_TARGET})
set(CMAKE_CXX_COMPILER_TARGET ${QX_TARGET})

# Use the same flags everywhere, also in CMake's own checks: the compiler builds its C and C++ libraries anew for each
# set of flags. Link-time optimisation covers jansson through the C flags below, and the shipped code of the project
# through modes.cmake.
set(hardening "${QX_COMPILE_PIE} -fstack-protector-strong")
# No exception passes through C code, so C code needs no unwind tables.
set(CMAKE_C_FLAGS_INIT
  "-Os ${QX_LTO} -ffunction-sections -fdata-sections -fno-unwind-tables -fno-asynchronous-unwind-tables ${hardening}")
# Nothing uses run-time type information, or the unwind tables of functions that never throw.
set(CMAKE_CXX_FLAGS_INIT "-Os -fno-rtti -fno-asynchronous-unwind-tables ${hardening}")
set(CMAKE_BUILD_TYPE MinSizeRel CACHE STRING "")
set(CMAKE_TRY_COMPILE_CONFIGURATION MinSizeRel)
set(CMAKE_EXE_LINKER_FLAGS_INIT "${QX_LTO} -static ${QX_LINK_PIE} -s -Wl,--gc-sections -Wl,-z,relro -Wl,-z,now")

set(CMAKE_FIND_ROOT_PATH ${cross}/${QX_PROCESSOR}-libraries)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
