# An example of a toolchain file for a router's own SDK. Copy it and set the four variables; docs/integrating.md shows
# the other steps. The values below fit Debian's compiler for AArch64.
set(processor aarch64)                            # what `uname -m` prints on the router
set(compiler aarch64-linux-gnu-)                  # prefix of the SDK's programs, with their folder
set(libraries ${CMAKE_CURRENT_LIST_DIR}/libraries)  # where jansson and the headers of fmt are installed
set(flags)                                        # flags for every compilation, such as "-mcpu=cortex-a53"

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${processor})
set(CMAKE_C_COMPILER ${compiler}gcc)
set(CMAKE_CXX_COMPILER ${compiler}g++)
set(CMAKE_C_FLAGS_INIT "${flags}")
set(CMAKE_CXX_FLAGS_INIT "${flags}")

set(CMAKE_FIND_ROOT_PATH ${libraries})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
