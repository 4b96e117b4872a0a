# Optimised for time, jansson makes the tool 12 KB larger and parses events faster. Set for the library's own sources:
# as a flag of the toolchain, it would make the compiler build its libraries once more.
add_compile_options(-O2)
