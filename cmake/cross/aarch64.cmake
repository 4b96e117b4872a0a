# The router. Programs of this build run here under emulation.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
find_program(QX_EMULATOR qemu-aarch64-static)
if(QX_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${QX_EMULATOR})
endif()
include(${CMAKE_CURRENT_LIST_DIR}/musl.cmake)
