# Compiles jansson for speed instead of size: the tool parses events faster and grows a little (docs/performance.md).
# In CMAKE_C_FLAGS, the option would also apply to CMake's own checks, and the compiler would build its libraries again
# for the changed flags (toolchain.cmake).
add_compile_options(-O2)
