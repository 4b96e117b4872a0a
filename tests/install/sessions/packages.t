  $ . "$SESSION"
  $ [ -z "$FOR_ROUTERS" ] || skip "routers have no Debian packages"

cpack makes three Debian packages, each with a checksum.

  $ echo /lib/x86_64-linux-gnu >/etc/ld.so.conf
  $ SOURCE_DATE_EPOCH=1700000000 cpack --config "$BUILD/CPackConfig.cmake" -B packages >packed 2>&1 || cat packed
  $ cd packages
  $ sha256sum --check *.sha256
  libqx-plix-dev_1.0.0_amd64.deb: OK
  qxagent-manage_1.0.0_amd64.deb: OK
  qxbrokerd-sim_1.0.0_amd64.deb: OK

The tool depends on libc alone, because it contains its other libraries. Programs that use the library need jansson.

  $ depends() { dpkg-deb -f "$1"_1.0.0_amd64.deb Depends; }
  $ depends qxagent-manage
  libc6 \(>= [0-9.]+\) (re)
  $ depends libqx-plix-dev
  libjansson-dev
  $ depends qxbrokerd-sim
  libc6 (>= *), * (glob)

The packages install exactly these files.

  $ PATH=$PATH:/usr/sbin:/sbin
  $ mkdir -p root/var/lib/dpkg/info
  $ : >root/var/lib/dpkg/status
  $ dpkg --force-depends --root="$PWD/root" --install *.deb >installed 2>&1 || cat installed
  $ (cd root/usr && find . -type f | grep -v /scenarios/ | sort)
  ./bin/qxbrokerd-sim
  ./include/qx_plix.h
  ./lib/cmake/qx_plix/qx_plix-config-version.cmake
  ./lib/cmake/qx_plix/qx_plix-config.cmake
  ./lib/libqx_plix.a
  ./lib/pkgconfig/qx_plix.pc
  ./sbin/qxagent-manage
  ./sbin/qxagent-wait
  ./share/bash-completion/completions/qxagent-manage
  ./share/bash-completion/completions/qxagent-wait
  ./share/bash-completion/completions/qxbrokerd-sim
  ./share/doc/qxagent-manage/examples/qx-events.init
  ./share/doc/qxagent-manage/examples/qx-events.service
  ./share/doc/qxagent-manage/scripting.md
  ./share/doc/qxbrokerd-sim/examples/qxbrokerd-sim.init
  ./share/doc/qxbrokerd-sim/simulator.md
  ./share/fish/vendor_completions.d/qxagent-manage.fish
  ./share/fish/vendor_completions.d/qxagent-wait.fish
  ./share/fish/vendor_completions.d/qxbrokerd-sim.fish
  ./share/man/man3/qx_plix.3.gz
  ./share/man/man8/qxagent-manage.8.gz
  ./share/man/man8/qxagent-wait.8.gz
  ./share/man/man8/qxbrokerd-sim.8.gz
  ./share/zsh/vendor-completions/_qxagent-manage
  ./share/zsh/vendor-completions/_qxagent-wait
  ./share/zsh/vendor-completions/_qxbrokerd-sim
  $ ls root/usr/share/doc/qxbrokerd-sim/scenarios >scenarios
  $ ls "$SOURCES/docs/scenarios" | diff scenarios -

The installed programs run.

  $ : >out
  $ root/usr/bin/qxbrokerd-sim --install-dir $root >out &
  $ await out listening
  $ root/usr/sbin/qxagent-manage is_enabled
  {"services_status": true}

Removing the packages leaves nothing behind.

  $ dpkg --force-depends --root="$PWD/root" --purge qxagent-manage libqx-plix-dev qxbrokerd-sim >purged 2>&1 || cat purged
  $ ls root
  var

The archive for routers holds the two programs. Without a repository, its files get the time of a source file.

  $ cd ..
  $ mkdir sources
  $ cp -r "$SOURCES/cmake" sources
  $ touch -d @1700000000 sources/CMakeLists.txt
  $ archive() { cmake -DTOOL="$BUILD/bin/qxagent-manage" -DARCHIVE=$1 -P sources/cmake/archive.cmake; }
  $ SOURCE_DATE_EPOCH=1700000000 archive first.tar.gz
  $ (unset SOURCE_DATE_EPOCH; archive second.tar.gz)
  $ cmp first.tar.gz second.tar.gz
  $ sha256sum --check *.sha256
  first.tar.gz: OK
  second.tar.gz: OK
  $ tar -tvzf first.tar.gz
  -rwxr-xr-x 0/0 +[0-9]+ 2023-11-14 22:13 usr/sbin/qxagent-manage (re)
  -rwxr-xr-x 0/0 +[0-9]+ 2023-11-14 22:13 usr/sbin/qxagent-wait (re)
