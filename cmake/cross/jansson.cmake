# Compiles jansson for speed instead of size: the tool parses events faster and grows a little (docs/performance.md).
# The option is not a flag of the toolchain, because a changed flag makes the compiler rebuild its own libraries.
add_compile_options(-O2)
