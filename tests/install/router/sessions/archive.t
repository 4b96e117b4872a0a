  $ . "$SESSION"

One archive holds the tool, qxagent-wait and an init script for routers. The other archive holds the library for
cross-compiling. Each archive has a checksum beside it.

  $ (cd "$BUILD" && sha256sum --check *.sha256)
  libqx-plix-dev-1.0.0-*-linux-musl.tar.gz: OK (glob)
  qxagent-manage-1.0.0-*-linux-musl.tar.gz: OK (glob)
  $ tar -tvzf "$BUILD/$FOR_ROUTERS"
  -rwxr-xr-x 0/0 +[0-9]+ [-0-9]+ [:0-9]+ usr/sbin/qxagent-manage (re)
  -rwxr-xr-x 0/0 +[0-9]+ [-0-9]+ [:0-9]+ usr/sbin/qxagent-wait (re)
  -rwxr-xr-x 0/0 +[0-9]+ [-0-9]+ [:0-9]+ usr/share/doc/qxagent-manage/examples/qx-events.init (re)
  -rw-r--r-- 0/0 +[0-9]+ [-0-9]+ [:0-9]+ usr/share/doc/qxagent-manage/NOTICE (re)
  $ tar -xvzf "$BUILD"/libqx-plix-dev-*.tar.gz
  usr/lib/libqx_plix.a
  usr/include/qx_plix.h
  usr/lib/pkgconfig/qx_plix.pc
  usr/share/doc/libqx-plix-dev/NOTICE

SBOM and NOTICE list the projects whose code the link map shows.

  $ python3 "$SOURCES/tests/install/sbom.py" "$BUILD/$FOR_ROUTERS" "$BUILD/credits/qxagent-manage/NOTICE" \
  >     "$BUILD/credits/qxagent-manage.map"
  (compiler_rt )?fmt jansson libc\+\+ libc\+\+abi libunwind musl (re)
  $ python3 "$SOURCES/tests/install/sbom.py" "$BUILD"/libqx-plix-dev-*.tar.gz usr/share/doc/libqx-plix-dev/NOTICE | tr -d '\n'

Other compilers can link the library: it consists of native object files and does not need the C++ runtime.

  $ readelf -hW usr/lib/libqx_plix.a | sed -n 's/^ *Type: *//p' | sort -u
  REL (Relocatable file)
  $ readelf -sW usr/lib/libqx_plix.a | grep -oE 'UND (__(cxa|gxx|llvm|ubsan)_|_Zn|_Zd).*'
  [1]

The unpacked tool runs, and needs no library and no loader.

  $ tar -xzf "$BUILD/$FOR_ROUTERS"
  $ $EMULATED usr/sbin/qxagent-manage help 2>help.err | diff "$SOURCES/tests/frozen/usage.txt" -
  $ readelf -ldW usr/sbin/qxagent-manage | grep -oE ' LOAD|INTERP|NEEDED' | sort -u
   LOAD

The tool opens no locale, name service or time zone file. jansson reads /dev/urandom to seed its hash tables.

  $ mkdir -p $root/var/log
  $ broker
  $ trace_opens="strace -f -e trace=open,openat,openat2"
  $ [ -z "$EMULATED" ] || trace_opens="$EMULATED -strace"
  $ $trace_opens "$BUILD/bin/qxagent-manage" is_enabled 2>calls
  {"services_status": true}
  $ sed -nE 's/^[^"]*open[^"]*"([^"]*)".*/\1/p' calls
  /etc/passwd
  /opt/norvane/var/log/qxagent-manage.log
  /opt/norvane/var/log/qxagent-manage.log.1
  /opt/norvane/etc/settings.json
  /dev/urandom
  /opt/norvane/etc/settings.json.switching
  /opt/norvane/var/run/qxbrokerd.version

Everything is compiled position-independent and with stack protectors.

  $ sed -nE '/"command":/ { s/.* -fPIE -fstack-protector-strong .*/protected/; p }' "$BUILD/compile_commands.json" | sort -u
  protected
