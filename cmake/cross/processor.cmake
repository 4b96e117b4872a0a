# How the musl builds for the processors differ: aarch64, the router's, x86_64, armv7 and mips, with 32 bits, mips being
# big-endian, and riscv64.
set(QX_TARGET ${QX_PROCESSOR}-linux-musl)
set(QX_EMULATOR qemu-${QX_PROCESSOR}-static)
set(QX_LTO -flto)  # optimises when programs are linked
set(QX_TLS_MODEL)
set(QX_COMPILE_PIE -fPIE)
set(QX_LINK_PIE -pie)
if(QX_PROCESSOR STREQUAL "armv7")
  set(QX_TARGET arm-linux-musleabihf)
  set(QX_EMULATOR qemu-arm-static)
  # This linker crashes when it optimises for it.
  set(QX_LTO)
elseif(QX_PROCESSOR STREQUAL "mips")
  # Unwind tables for MIPS hold absolute addresses, which this linker does not put into a position-independent program.
  set(QX_COMPILE_PIE)
  set(QX_LINK_PIE)
  # Without optimisation, this compiler accesses bit-fields at unaligned addresses, which ends a program with SIGBUS.
  set(QX_TESTS_OPTIMISED -O1)
elseif(QX_PROCESSOR STREQUAL "riscv64")
  # When it optimises, this linker otherwise addresses thread-local variables through a function of the dynamic loader.
  set(QX_TLS_MODEL -ftls-model=local-exec)
endif()
