  $ . "$SESSION"
  $ [ -z "$FOR_ROUTERS" ] || skip "routers have no Debian packages"

pack.cmake makes four Debian packages from the build of packaging.t, each with a checksum. Packing twice gives the same
bytes.

  $ [ "$(dpkg --print-architecture)" = amd64 ] || skip "the session expects packages for amd64"
  $ echo /lib/x86_64-linux-gnu >/etc/ld.so.conf
  $ export SOURCE_DATE_EPOCH=1700000000
  $ packaged=$BUILD/packager/build/package
  $ pack() { cmake -DBUILD="$packaged" -DOUTPUT="$PWD/$1" -P "$SOURCES/cmake/debian/pack.cmake" >packed 2>&1 || cat packed; }
  $ pack again
  $ pack packages
  $ diff -r again packages
  $ cd packages
  $ sha256sum --check *.sha256
  libqx-plix-dev_1.0.0_amd64.deb: OK
  libqx-plix1_1.0.0_amd64.deb: OK
  qxagent-manage_1.0.0_amd64.deb: OK
  qxbrokerd-sim_1.0.0_amd64.deb: OK

lintian reports no error and no warning. lintian and groff read three files of /etc, which the test's private /etc
lacks.

  $ mkdir -p /etc/dpkg/origins /etc/groff
  $ : >/etc/groff/mdoc.local
  $ echo Vendor: Debian | tee /etc/dpkg/origins/debian >/etc/dpkg/origins/default
  $ lintian --allow-root --fail-on error,warning *.deb

The tool depends only on libc, because it contains its other libraries. The client library needs jansson, whether it is
linked as a shared or as a static library.

  $ depends() { dpkg-deb -f "$1"_1.0.0_amd64.deb Depends; }
  $ depends qxagent-manage
  libc6 \(>= [0-9.]+\) (re)
  $ depends libqx-plix1
  libc6 \(>= [0-9.]+\), libjansson4 \(>= [0-9.]+\) (re)
  $ depends libqx-plix-dev
  libqx-plix1 (= 1.0.0), libjansson-dev
  $ depends qxbrokerd-sim
  libc6 (>= *), * (glob)

The SBOM of a package lists the projects whose code the link map shows, and NOTICE has the text of each licence.

  $ check() { python3 "$SOURCES/tests/install/sbom.py" $1_1.0.0_amd64.deb "$packaged/credits/$1/NOTICE" $2; }
  $ check qxagent-manage "$packaged/credits/qxagent-manage.map"
  fmt glibc jansson libgcc libstdc++
  $ check qxbrokerd-sim "$packaged/credits/qxbrokerd-sim.map"
  glibc jansson libgcc
  $ check libqx-plix1 "$packaged/credits/qx_plix_shared.map"
  glibc libgcc
  $ check libqx-plix-dev | tr -d '\n'

The packages install exactly these files.

  $ PATH=$PATH:/usr/sbin:/sbin
  $ mkdir -p root/var/lib/dpkg/info
  $ : >root/var/lib/dpkg/status
  $ dpkg --force-depends --root="$PWD/root" --install *.deb >installed 2>&1 || cat installed
  $ (cd root/usr && find . -type f | grep -v -e /scenarios/ -e /changelog.gz -e /copyright -e /NOTICE | sort)
  ./bin/qxbrokerd-sim
  ./include/qx_plix.h
  ./lib/x86_64-linux-gnu/cmake/qx_plix/qx_plix-config-version.cmake
  ./lib/x86_64-linux-gnu/cmake/qx_plix/qx_plix-config.cmake
  ./lib/x86_64-linux-gnu/libqx_plix.a
  ./lib/x86_64-linux-gnu/libqx_plix.so.1.0.0
  ./lib/x86_64-linux-gnu/pkgconfig/qx_plix.pc
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
  $ ls -l root/usr/lib/*/*.so* | grep -o 'libqx_plix.so.* ->.*'
  libqx_plix.so -> libqx_plix.so.1
  libqx_plix.so.1 -> libqx_plix.so.1.0.0
  $ ls root/usr/share/doc/*/NOTICE root/usr/share/doc/*/copyright root/usr/share/doc/*/changelog.gz | wc -l
  12
  $ ls root/usr/share/doc/qxbrokerd-sim/scenarios >scenarios
  $ ls "$SOURCES/docs/scenarios" | diff scenarios -

The installed programs run.

  $ : >out
  $ root/usr/bin/qxbrokerd-sim --install-dir $root >out &
  $ await out listening
  $ root/usr/sbin/qxagent-manage is_enabled
  {"services_status": true}

Removing the packages leaves nothing behind.

  $ dpkg --force-depends --root="$PWD/root" --purge qxagent-manage libqx-plix-dev libqx-plix1 qxbrokerd-sim >purged 2>&1 || cat purged
  $ ls root
  var

Without a git repository, the files of an archive get the timestamp of CMakeLists.txt.

  $ cd ..
  $ mkdir sources
  $ cp -r "$SOURCES/cmake" sources
  $ touch -d @1700000000 sources/CMakeLists.txt
  $ archive() {
  >     cmake "-DFILES=$BUILD/bin/qxagent-wait=usr/sbin/qxagent-wait;$packaged/credits/qxagent-manage/NOTICE=NOTICE" \
  >         -DARCHIVE="$PWD/$1" -DPACKAGE=tool -DVERSION=1 -DLIST="$packaged/credits/qxagent-manage/NOTICE.list" \
  >         -P sources/cmake/archive.cmake
  > }
  $ archive first.tar.gz
  $ (unset SOURCE_DATE_EPOCH; archive second.tar.gz)
  $ cmp first.tar.gz second.tar.gz
  $ sha256sum --check *.sha256
  first.tar.gz: OK
  second.tar.gz: OK
  $ tar -tvzf first.tar.gz
  -rwxr-xr-x 0/0 +[0-9]+ 2023-11-14 22:13 usr/sbin/qxagent-wait (re)
  -rw-r--r-- 0/0 +[0-9]+ 2023-11-14 22:13 NOTICE (re)
