# The router's C library on this processor: the same static build, run without emulation.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/musl.cmake)
