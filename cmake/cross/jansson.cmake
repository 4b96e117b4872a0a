# Compiles jansson for speed instead of size: the tool parses events faster and grows a little (docs/performance.md).
# The option is not in the toolchain's flags, because the compiler builds its own C and C++ libraries again for each set
# of flags.
add_compile_options(-O2)
