  $ . "$SESSION"
  $ [ -z "$FOR_ROUTERS" ] || skip "of static programs the compiler's commands are checked"

Own code has stack protectors, and calls whose bounds are checked. Linked programs would not tell, because the libraries inside
them have the same calls.

  $ for archive in $(find "$BUILD/client" "$BUILD/utils" "$BUILD/tools" -name '*.a' | sort); do
  >     readelf -Ws "$archive" >symbols
  >     grep -q 'UND __stack_chk_fail' symbols && grep -q 'UND __[a-z]*_chk' symbols && basename "$archive"
  > done
  libqx_plix.a
  libqxagent_manage_parts.a
  libqxbrokerd_sim_parts.a
  libqx_utils.a

The tool loads the C library alone; the loader is there before any library is.

  $ readelf -dW "$BUILD/bin/qxagent-manage" | sed -n 's/.*(NEEDED).*\[\(.*\)]/\1/p' | grep -v ^ld-linux
  libc.so.6

The tool has no C++ stream: one would link every facet of locales, whose functions the loader looks up at each start.

  $ readelf --dyn-syms -W "$BUILD/bin/qxagent-manage" | grep -oE ' malloc@|newlocale|wcrtomb'
   malloc@
