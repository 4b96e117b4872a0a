# Static programs for musl libc, whatever the processor: aarch64.cmake and x86_64.cmake include this file after
# setting CMAKE_SYSTEM_PROCESSOR. build.sh fetches the compiler and passes CMAKE_FIND_ROOT_PATH, where the libraries
# built for the target are.

set(CMAKE_SYSTEM_NAME Linux)

set(programs ${CMAKE_CURRENT_LIST_DIR}/../../build/cross/compiler/bin)
get_filename_component(programs ${programs} ABSOLUTE)
set(CMAKE_C_COMPILER ${programs}/cc)
set(CMAKE_CXX_COMPILER ${programs}/c++)
set(CMAKE_AR ${programs}/ar)
set(CMAKE_RANLIB ${programs}/ranlib)
set(CMAKE_C_COMPILER_TARGET ${CMAKE_SYSTEM_PROCESSOR}-linux-musl)
set(CMAKE_CXX_COMPILER_TARGET ${CMAKE_SYSTEM_PROCESSOR}-linux-musl)

# Programs are optimised when they are linked. One set of flags for all of them, CMake's own trials included: each other
# set would make the compiler build its own libraries once more. jansson, in C, takes part; of the project, what is
# shipped does (options.cmake).
set(hardening "-fPIE -fstack-protector-strong")
# No exception passes through C code, so it needs no unwind tables.
set(CMAKE_C_FLAGS_INIT
  "-Os -flto -ffunction-sections -fdata-sections -fno-unwind-tables -fno-asynchronous-unwind-tables ${hardening}")
# Nothing reads type information, or the unwind tables of functions that never throw.
set(CMAKE_CXX_FLAGS_INIT "-Os -fno-rtti -fno-asynchronous-unwind-tables ${hardening}")
set(CMAKE_TRY_COMPILE_CONFIGURATION MinSizeRel)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-flto -static -pie -s -Wl,--gc-sections -Wl,-z,relro -Wl,-z,now")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
