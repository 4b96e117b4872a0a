  $ . "$SESSION"
  $ [ -z "$FOR_ROUTERS" ] || skip "distributions package only the ordinary build"

The commands of the section "Packaging" of integrating.md work as printed. They run in a copy of the sources. Like a
source archive, the copy has no git history and names the commit in a file. packages.t makes its packages from the build
in this copy. A later run keeps the build, but none of the old sources.

  $ mkdir -p "$BUILD/packager" && cd "$BUILD/packager"
  $ find . -mindepth 1 -maxdepth 1 ! -name build -exec rm -rf {} +
  $ tar -C "$SOURCES" --exclude=./build --exclude=./.git -ch . | tar -x
  $ sed -n 's/.*(commit \(.*\)).*/\1/p' "$BUILD/tools/qxagent-manage/version.cpp" >cmake/commit.txt
  $ { echo '  $ cd "$BUILD/packager"'; sed -E '/^## Packaging/,/^## [^P]/!d; s/^    /  /' docs/integrating.md; } >session.t
  $ grep -c '^  \$' session.t
  13
  $ CC=gcc CXX=g++ cram3 --shell=/bin/sh session.t
  .
  # Ran 1 tests, 0 skipped, 0 failed.

Two builds in different folders produce the same bytes.

  $ for file in bin/qxagent-manage bin/qxbrokerd-sim libqx_plix.so.1 client/libqx_plix.a; do
  >     cmp "$BUILD/$file" "build/package/$file"
  > done

BUILD_SHARED_LIBS selects one kind of library.

  $ for kind in ON OFF; do
  >     cmake build/package -DBUILD_SHARED_LIBS=$kind >configured && ninja -C build/package product >built
  >     DESTDIR=$kind cmake --install build/package --component library >installed
  >     DESTDIR=$kind cmake --install build/package --component shared >installed
  >     (cd $kind/usr/lib/*; ls *.*; grep -E '^(Libs|Requires)' pkgconfig/*.pc)
  > done
  libqx_plix.so
  libqx_plix.so.1
  libqx_plix.so.1.0.0
  Libs: -L${libdir} -lqx_plix
  Requires.private: jansson
  Libs.private: -pthread
  libqx_plix.a
  Libs: -L${libdir} -lqx_plix
  Requires: jansson
  Libs: -pthread
  $ cmake -UBUILD_SHARED_LIBS build/package >configured && ninja -C build/package product >built
