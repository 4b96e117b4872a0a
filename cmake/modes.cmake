# Build modes. Only this file reads QX_MODE; it sets every variable that depends on the mode.
#   release   the product for Debian, with all its tests
#   address   address and undefined-behaviour sanitizers; compiles every target, with clang's warnings and clang-tidy
#   thread    thread sanitizer, for the parts that have threads
#   fuzz      fuzz targets for libFuzzer, with the sanitizers of the mode address
#   coverage  line coverage of client and utils
#   musl      static programs for QX_PROCESSOR; cross/build.sh supplies the compiler and the libraries
# Include this file before project(), because the mode chooses the compiler.
set(QX_MODE release CACHE STRING "release, address, thread, fuzz, coverage or musl")

if(DEFINED QX_CONFIGURED_MODE AND NOT QX_CONFIGURED_MODE STREQUAL QX_MODE)
  message(FATAL_ERROR "${CMAKE_BINARY_DIR} is configured for the mode ${QX_CONFIGURED_MODE}; use another folder for the mode ${QX_MODE}")
endif()
set(QX_CONFIGURED_MODE ${QX_MODE} CACHE INTERNAL "the mode of this build folder")

# Interface libraries that carry the compile and link flags. They are linked by:
add_library(qx_options INTERFACE)     # everything
add_library(qx_c_linkable INTERFACE)  # code linked into C programs, which must not need the C++ runtime
add_library(qx_hardened INTERFACE)    # tool, library and simulator: exploit mitigations
add_library(qx_product INTERFACE)     # tool and library
add_library(qx_program INTERFACE)     # the programs tool and simulator
add_library(qx_tool INTERFACE)        # the tool: links everything but libc statically
add_library(qx_fuzz_target INTERFACE)
target_compile_options(qx_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:Clang>>:-Wthread-safety>)
target_link_libraries(qx_options INTERFACE Threads::Threads)
target_compile_options(qx_c_linkable INTERFACE -fno-exceptions -fno-rtti)
target_link_libraries(qx_product INTERFACE qx_options qx_hardened)
target_link_libraries(qx_tool INTERFACE qx_product qx_program)

# Defaults of the other settings, which the modes below override:
set(build_type Debug)
set(parts tests fuzz)         # default of QX_PARTS
set(QX_TESTS client utils tool sim chaos faults install)  # test folders to compile and run
set(QX_COMPILED_TESTS)        # test folders to compile but not to run
set(QX_SANITIZED)             # set in sanitizer builds, whose programs are slow
set(QX_TESTS_TIDY)            # clang-tidy for tests
set(QX_TESTS_OPTIMISED -O0)   # how tests are optimised
set(QX_MAP_LAUNCHER)          # the script that writes a link map if the compiler has no option for it
set(QX_DELIVERY)              # files of cmake/ that install and pack the product
set(QX_JSON_BLOCKS ${CMAKE_SOURCE_DIR}/utils/src/json_blocks.cpp)
set(QX_STATIC -static)        # links a program statically
set(QX_HARDENING)             # hardening options, used if the compiler supports them
set(QX_FUZZ_MAIN replay.cpp)  # the driver that feeds inputs to a fuzz target
# A unity build parses each header once per target. The musl builds for aarch64 and x86_64 do not use it, which proves
# that each source includes what it uses.
set(CMAKE_UNITY_BUILD ON CACHE BOOL "")
set(CMAKE_UNITY_BUILD_BATCH_SIZE 0)

macro(ship type)
  set(build_type ${type})
  # Keep paths of the build machine out of binaries.
  target_compile_options(qx_hardened INTERFACE
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}/= -ffile-prefix-map=${CMAKE_BINARY_DIR}/=)
  target_compile_options(qx_product INTERFACE -ffunction-sections -fdata-sections)
  target_link_options(qx_product INTERFACE -Wl,--gc-sections -Wl,-O1)
  target_link_options(qx_tool INTERFACE -static-libstdc++ -static-libgcc)
endmacro()

macro(sanitize)
  set(CMAKE_C_COMPILER clang CACHE STRING "")
  set(CMAKE_CXX_COMPILER clang++ CACHE STRING "")
  add_compile_options(-g1 -O1 -fno-omit-frame-pointer -fno-sanitize-recover=all ${ARGN})
  add_link_options(${ARGN})
  set(QX_STATIC)
  set(QX_SANITIZED yes)
endmacro()

if(QX_MODE STREQUAL "release")
  ship(Release)
  set(CMAKE_C_FLAGS_RELEASE "-O2 -DNDEBUG" CACHE STRING "")
  set(CMAKE_CXX_FLAGS_RELEASE ${CMAKE_C_FLAGS_RELEASE} CACHE STRING "")
  set(QX_DELIVERY install credits library debian)
  set(QX_HARDENING -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
  # glibc warns about _FORTIFY_SOURCE in code that is not optimised. The macro also makes g++ warn about ignored results
  # despite a cast to void, so that warning is off. The clang builds still report ignored results.
  target_compile_options(qx_hardened INTERFACE $<$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>:-fPIE>
    -fstack-protector-strong
    "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>" $<$<CXX_COMPILER_ID:GNU>:-Wno-unused-result>)
  target_link_options(qx_hardened INTERFACE -pie -Wl,-z,relro -Wl,-z,now)
  # Unpacked relative relocations are the loader's largest cost and take a fifteenth of the file. The loader of a
  # router's own SDK may be too old for packed ones.
  if(NOT CMAKE_TOOLCHAIN_FILE)
    target_link_options(qx_tool INTERFACE -Wl,-z,pack-relative-relocs)
  endif()
elseif(QX_MODE STREQUAL "address")
  sanitize(-fsanitize=address,undefined)
  set(parts tests fuzz bench)
  # Sanitizers and fault tests intercept the same calls, so the two cannot run together. Installation tests do not run,
  # because nobody installs a sanitized program.
  set(QX_TESTS client utils tool sim chaos)
  set(QX_COMPILED_TESTS faults install)
  set(CMAKE_C_CLANG_TIDY clang-tidy --quiet)
  set(CMAKE_CXX_CLANG_TIDY ${CMAKE_C_CLANG_TIDY})
  set(QX_TESTS_TIDY ${CMAKE_C_CLANG_TIDY} --config-file=${CMAKE_SOURCE_DIR}/tests/.clang-tidy)
elseif(QX_MODE STREQUAL "thread")
  sanitize(-fsanitize=thread)
  set(parts tests)
  set(QX_TESTS client tool chaos)
elseif(QX_MODE STREQUAL "fuzz")
  sanitize(-fsanitize=address,undefined,fuzzer-no-link)
  set(parts fuzz)
  set(QX_FUZZ_MAIN)
  target_link_options(qx_fuzz_target INTERFACE -fsanitize=fuzzer)
elseif(QX_MODE STREQUAL "coverage")
  set(CMAKE_C_FLAGS_INIT "--coverage -fprofile-update=atomic")
  set(CMAKE_CXX_FLAGS_INIT ${CMAKE_C_FLAGS_INIT})
  # Link __gcov_dump(), which tests/support/forked.h calls to write the coverage of forked children.
  set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-u,__gcov_dump)
  set(QX_TESTS client utils tool faults)
elseif(QX_MODE STREQUAL "musl")
  ship(MinSizeRel)
  set(CMAKE_TOOLCHAIN_FILE ${CMAKE_CURRENT_LIST_DIR}/cross/toolchain.cmake CACHE FILEPATH "")
  include(${CMAKE_CURRENT_LIST_DIR}/cross/processor.cmake)
  set(QX_DELIVERY install credits router)
  set(QX_MAP_LAUNCHER cmake/credits/link_map.sh)
  # Leave out the fault tests, because a static program cannot preload the fault library, and the fuzz targets, whose
  # harness captures glibc's streams.
  set(parts tests)
  set(QX_TESTS client utils tool)
  # It is enough to run the simulator tests, the chaos tests and the installation tests on two processors.
  if(QX_PROCESSOR MATCHES "^(aarch64|x86_64)$")
    set(CMAKE_UNITY_BUILD OFF)
    list(APPEND QX_TESTS sim chaos install install/router)
  endif()
  # The main thread initialises function-local statics before any other thread uses them, so they need no guards. This
  # compiler's guards would make a system call for the thread id.
  target_compile_options(qx_product INTERFACE ${QX_LTO} ${QX_TLS_MODEL} $<$<COMPILE_LANGUAGE:CXX>:-fno-threadsafe-statics>)
  # This code throws no exceptions, so unwind tables would waste space.
  target_compile_options(qx_c_linkable INTERFACE -fno-unwind-tables -fno-asynchronous-unwind-tables)
  target_sources(qx_program INTERFACE ${CMAKE_SOURCE_DIR}/musl/relro.cpp)
  target_sources(qx_tool INTERFACE ${CMAKE_SOURCE_DIR}/musl/small_runtime.cpp)
  set(QX_JSON_BLOCKS ${CMAKE_SOURCE_DIR}/musl/json_blocks.cpp)
else()
  message(FATAL_ERROR "unknown QX_MODE '${QX_MODE}': use release, address, thread, fuzz, coverage or musl")
endif()

set(QX_PARTS "${parts}" CACHE STRING "folders that are built beside the product: tests, fuzz, bench")
option(BUILD_TESTING "build the tests and fuzz targets of QX_PARTS" ON)
if(NOT BUILD_TESTING)
  list(REMOVE_ITEM QX_PARTS tests fuzz)
endif()
# In release mode warnings are not errors, because another compiler may have other warnings.
if(NOT QX_MODE STREQUAL "release")
  set(CMAKE_COMPILE_WARNING_AS_ERROR ON CACHE BOOL "")
endif()
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE ${build_type} CACHE STRING "" FORCE)
endif()
