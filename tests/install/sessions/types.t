  $ . "$SESSION"
  $ [ -z "$FOR_ROUTERS" ] || skip "the shared library is not built for routers"
  $ [ "$(uname -m)" = x86_64 ] || skip "the frozen types are those of x86_64"

The frozen types.abixml holds the types of the shared library's interface, as abidw reads them from a debug build. For a
new version of the interface, replace that file with the one that abidw writes here.

  $ frozen="$SOURCES/tests/frozen/types.abixml"
  $ CC=gcc CXX=g++ cmake -G Ninja -S "$SOURCES" -B debug -DCMAKE_BUILD_TYPE=Debug -DBUILD_TESTING=OFF >configured
  $ ninja -C debug qx_plix_shared >built || cat built
  $ abidw --exported-interfaces-only --type-id-style hash --no-corpus-path --no-comp-dir-path --no-show-locs \
  >     debug/libqx_plix.so.1 >types.abixml
  $ abidiff "$frozen" types.abixml

abidiff also finds a changed member type in a struct that the interface uses only through a pointer.

  $ id_of() { sed -n "s/.*typedef-decl name='$1' .* id='\(.*\)'.*/\1/p" types.abixml; }
  $ sed "/name='system_error'/s/$(id_of int32_t)/$(id_of int64_t)/" types.abixml >changed.abixml
  $ abidiff "$frozen" changed.abixml | grep system_error
  * type of 'int32_t system_error' changed: (glob)
