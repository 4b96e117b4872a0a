  $ . "$SESSION"
  $ [ -z "$FOR_ROUTERS" ] || skip "router builds are checked by archive.t, which reads the compiler's commands"

The project's own code has stack protectors and bounds-checked calls. The session examines static libraries of the
build, because a linked program also contains such calls of other projects.

  $ for archive in $(find "$BUILD/client" "$BUILD/utils" "$BUILD/tools" -name '*.a' | sort); do
  >     readelf -Ws "$archive" >symbols
  >     grep -q 'UND __stack_chk_fail' symbols && grep -q 'UND __[a-z]*_chk' symbols && basename "$archive"
  > done
  libqx_plix.a
  libqxagent_manage_parts.a
  libqxbrokerd_sim_parts.a
  libqx_utils.a

Apart from the loader, the C library is the only shared library that the tool needs.

  $ readelf -dW "$BUILD/bin/qxagent-manage" | sed -n 's/.*(NEEDED).*\[\(.*\)]/\1/p' | grep -v ^ld-linux
  libc.so.6

The tool uses no C++ streams. They would link every locale facet, whose functions the loader resolves at each start. The
search finds malloc, to show that it works.

  $ readelf --dyn-syms -W "$BUILD/bin/qxagent-manage" | grep -oE ' malloc@|newlocale|wcrtomb'
   malloc@
