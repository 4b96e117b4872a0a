  $ . "$SESSION"
  $ [ -z "$FOR_ROUTERS" ] || skip "the library is not installed on routers"
  $ cmake --install "$BUILD" --prefix "$PWD/prefix" >installed
  $ broker

The static library exports exactly the symbols of symbols.txt. For a new version of the interface, edit that file first.
The library calls no function whose result depends on the application's locale. The search also looks for malloc, which
the library calls, to show that it works.

  $ readelf -Ws prefix/lib/libqx_plix.a >symbols
  $ sed -nE 's/^ +[0-9]+: [0-9a-f]+ +[0-9]+ ([A-Z]+) +(GLOBAL|WEAK) +DEFAULT +([0-9]+|ABS|COM) (.*)/\1 \4/p' symbols |
  >     sort | diff "$SOURCES/tests/frozen/symbols.txt" -
  $ grep -owE 'malloc|tolower|toupper|isspace|isalpha|isalnum|isprint|strcasecmp|strtod|strcoll|__ctype_\w*' symbols | sort -u
  malloc

The shared library exports the symbols of symbols.txt that qx_plix.h declares. It needs only the C library and jansson.

  $ nm -D --defined-only --without-symbol-versions prefix/lib/libqx_plix.so.1 | sed -n 's/.* [BDT] //p' | sort >exported
  $ sed -nE '/qxpath_/d; s/^[A-Z]+ //p' "$SOURCES/tests/frozen/symbols.txt" | diff - exported
  $ readelf -dW prefix/lib/libqx_plix.so | sed -nE 's/.*\((NEEDED|SONAME)\).*\[(.*)]/\1 \2/p' | grep -v ' ld-linux'
  NEEDED libjansson.so.4
  NEEDED libc.so.6
  SONAME libqx_plix.so.1

The README's program builds with pkg-config as C, as C++ and statically, and runs.

  $ sed -n '/^```c$/,/^```$/ { /^```/d; p }' "$SOURCES/README.md" >program.c
  $ cp program.c program.cpp
  $ export PKG_CONFIG_PATH="$PWD/prefix/lib/pkgconfig" LD_LIBRARY_PATH="$PWD/prefix/lib"
  $ strict="-Wall -Wextra -Wpedantic -Werror"
  $ gcc -std=c11 $strict program.c $(pkg-config --cflags --libs qx_plix) -o program && ./program
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}
  $ g++ -std=c++11 $strict program.cpp $(pkg-config --cflags --libs qx_plix) -o program && ./program
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}
  $ gcc -std=c11 $strict -flto program.c -static $(pkg-config --static --cflags --libs qx_plix) -o program && ./program
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}

The static library links into a plug-in. The program and the shared library use the same variable `stopped`.

  $ echo 'extern int stopped; int (*start(void))(void) { return stopped ? qx_plix_init : 0; }' | cat program.c - >plugin.c
  $ gcc -shared -fPIC -Wl,-z,defs plugin.c -Iprefix/include prefix/lib/libqx_plix.a -ljansson -o plugin.so
  $ python3 -c 'import ctypes; exit(ctypes.CDLL("./plugin.so").main())'
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}
  $ sed 's/char \*info/if (!stopped) return 2; char *info/; s/printf/if (stopped) return 3; printf/' program.c >flag.c
  $ gcc -no-pie flag.c $(pkg-config --cflags --libs qx_plix) -o program && ./program
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}

CMake finds both kinds of library even after the installed tree was moved.

  $ mv prefix moved
  $ cat >CMakeLists.txt <<'.'
  > cmake_minimum_required(VERSION 3.25)
  > project(user VERSION 1 LANGUAGES C CXX)
  > set(CMAKE_C_STANDARD 11)
  > find_package(qx_plix 1.0 REQUIRED COMPONENTS static shared)
  > foreach(language c cpp)
  >   add_executable(in_${language} program.${language})
  >   target_link_libraries(in_${language} qx_plix::qx_plix)
  > endforeach()
  > add_executable(static program.c)
  > target_link_libraries(static qx_plix::qx_plix_static)
  > .
  $ CC=gcc CXX=g++ cmake -G Ninja -S . -B build -DCMAKE_PREFIX_PATH="$PWD/moved" >configured && ninja -C build >built
  $ unset LD_LIBRARY_PATH
  $ for program in in_c in_cpp static; do
  >     build/$program
  >     readelf -dW build/$program | grep -o 'libqx_plix.*so.1' || echo static
  > done
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}
  libqx_plix.so.1
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}
  libqx_plix.so.1
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}
  static
