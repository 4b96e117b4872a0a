# Differences between the musl builds for aarch64 (the router's), x86_64, armv7 (32 bits), mips (32 bits, big-endian)
# and riscv64. build.sh fetches the compiler, which includes the linker.
set(QX_TARGET ${QX_PROCESSOR}-linux-musl)
set(QX_EMULATOR qemu-${QX_PROCESSOR}-static)
set(QX_LTO -flto)  # link-time optimisation
set(QX_TLS_MODEL)
set(QX_COMPILE_PIE -fPIE)
set(QX_LINK_PIE -pie)
if(QX_PROCESSOR STREQUAL "armv7")
  set(QX_TARGET arm-linux-musleabihf)
  set(QX_EMULATOR qemu-arm-static)
  # The linker crashes with link-time optimisation for ARMv7.
  set(QX_LTO)
elseif(QX_PROCESSOR STREQUAL "mips")
  # Unwind tables for MIPS hold absolute addresses, which the linker rejects in a position-independent program.
  set(QX_COMPILE_PIE)
  set(QX_LINK_PIE)
  # Without optimisation, the compiler accesses bit-fields at unaligned addresses, which causes SIGBUS.
  set(QX_TESTS_OPTIMISED -O1)
elseif(QX_PROCESSOR STREQUAL "riscv64")
  # By default, link-time optimisation addresses thread-local variables through a function of the dynamic loader.
  set(QX_TLS_MODEL -ftls-model=local-exec)
endif()
