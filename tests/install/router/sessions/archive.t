  $ . "$SESSION"

The archive for routers holds the tool and qxagent-wait, and nothing else. Its checksum lies beside it.

  $ (cd "$BUILD" && sha256sum --check *.sha256)
  qxagent-manage-*-linux-musl.tar.gz: OK (glob)
  $ tar -tvzf "$BUILD/$FOR_ROUTERS"
  -rwxr-xr-x 0/0 +[0-9]+ [-0-9]+ [:0-9]+ usr/sbin/qxagent-manage (re)
  -rwxr-xr-x 0/0 +[0-9]+ [-0-9]+ [:0-9]+ usr/sbin/qxagent-wait (re)

The tool runs where it is unpacked, and needs no library and no loader.

  $ tar -xzf "$BUILD/$FOR_ROUTERS"
  $ $EMULATED usr/sbin/qxagent-manage help 2>help.err | diff "$SOURCES/tests/frozen/usage.txt" -
  $ readelf -ldW usr/sbin/qxagent-manage | grep -oE ' LOAD|INTERP|NEEDED' | sort -u
   LOAD

The tool opens what its work is about: no locale, no name service, no time zone. jansson reads /dev/urandom for its hashes.

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
  /opt/norvane/var/run/qxbrokerd.version

Everything is compiled position-independent and with stack protectors.

  $ sed -nE '/"command":/ { s/.* -fPIE -fstack-protector-strong .*/protected/; p }' "$BUILD/compile_commands.json" | sort -u
  protected
