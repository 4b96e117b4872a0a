# qx_options: what every target of the project is compiled with.
# qx_hardened: what limits the use that an attacker can make of a fault: for the tool, the library and the simulator.
# qx_product: both, for what is shipped: sections collected, and for the router optimised at link time.

find_package(Threads REQUIRED)

add_library(qx_options INTERFACE)
target_compile_options(qx_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:Clang>>:-Wthread-safety>)
target_link_libraries(qx_options INTERFACE Threads::Threads)

if(QX_SANITIZE STREQUAL "address")
  set(QX_SANITIZE_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(QX_SANITIZE STREQUAL "thread")
  set(QX_SANITIZE_FLAGS -fsanitize=thread -fno-omit-frame-pointer)
elseif(QX_SANITIZE)
  message(FATAL_ERROR "QX_SANITIZE is '${QX_SANITIZE}'; use address, thread or nothing")
endif()
if(QX_SANITIZE_FLAGS)
  add_compile_options(${QX_SANITIZE_FLAGS} -g1 -O1)
  add_link_options(${QX_SANITIZE_FLAGS})
endif()

# For the router, the toolchain file says the same, so that it also holds for the libraries built there.
add_library(qx_hardened INTERFACE)
if(NOT QX_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
  target_compile_options(qx_hardened INTERFACE -fPIE -fstack-protector-strong)
  # The C library warns about this macro when code is not optimised.
  target_compile_options(qx_hardened INTERFACE "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  # With it, g++ wants results used that the code casts to void; clang sees to those that must be.
  target_compile_options(qx_hardened INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-unused-result>)
  target_link_options(qx_hardened INTERFACE -pie -Wl,-z,relro -Wl,-z,now)
endif()

add_library(qx_product INTERFACE)
target_link_libraries(qx_product INTERFACE qx_options qx_hardened)
if(NOT QX_SANITIZE)
  target_compile_options(qx_product INTERFACE -ffunction-sections -fdata-sections)
  target_link_options(qx_product INTERFACE -Wl,--gc-sections -Wl,-O1)
  if(CMAKE_CROSSCOMPILING)
    # Statics of functions belong to the main thread; that compiler's guards ask the kernel which thread it is.
    target_compile_options(qx_product INTERFACE -flto $<$<COMPILE_LANGUAGE:CXX>:-fno-threadsafe-statics>)
  endif()
endif()

# qx_ship(TARGET): how a program that goes to the router is linked. One dynamic library, libc, is left, beside the loader.
function(qx_ship target)
  target_link_libraries(${target} PRIVATE qx_product)
  if(CMAKE_CROSSCOMPILING)
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/musl/relro.cpp ${PROJECT_SOURCE_DIR}/musl/small_runtime.cpp)
  endif()
  if(NOT QX_SANITIZE)
    target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
    if(NOT CMAKE_CROSSCOMPILING)
      # The loader's largest work, and a fifteenth of the file: addresses within the program.
      target_link_options(${target} PRIVATE -Wl,-z,pack-relative-relocs)
    endif()
  endif()
endfunction()
