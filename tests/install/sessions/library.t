  $ . "$SESSION"
  $ [ -z "$FOR_ROUTERS" ] || skip "the library is not installed on routers"
  $ cmake --install "$BUILD" --prefix "$PWD/prefix" >installed
  $ broker

The library exports exactly the symbols of symbols.txt, which is edited first for a new version of the interface. The
library calls no function whose result depends on the application's locale.

  $ readelf -Ws prefix/lib/libqx_plix.a >symbols
  $ sed -nE 's/^ +[0-9]+: [0-9a-f]+ +[0-9]+ ([A-Z]+) +(GLOBAL|WEAK) +DEFAULT +([0-9]+|ABS|COM) (.*)/\1 \4/p' symbols |
  >     sort | diff "$SOURCES/tests/frozen/symbols.txt" -
  $ grep -owE 'malloc|tolower|toupper|isspace|isalpha|isalnum|isprint|strcasecmp|strtod|strcoll|__ctype_\w*' symbols | sort -u
  malloc

The README's program builds with pkg-config as C, as C++ and statically, and runs.

  $ sed -n '/^```c$/,/^```$/ { /^```/d; p }' "$SOURCES/README.md" >program.c
  $ cp program.c program.cpp
  $ export PKG_CONFIG_PATH="$PWD/prefix/lib/pkgconfig"
  $ strict="-Wall -Wextra -Wpedantic -Werror"
  $ gcc -std=c11 $strict program.c $(pkg-config --cflags --libs qx_plix) -o program && ./program
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}
  $ g++ -std=c++11 $strict program.cpp $(pkg-config --cflags --libs qx_plix) -o program && ./program
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}
  $ gcc -std=c11 $strict -flto program.c -static $(pkg-config --static --cflags --libs qx_plix) -o program && ./program
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}

CMake finds the library even after the installed tree was moved.

  $ mv prefix moved
  $ cat >CMakeLists.txt <<'.'
  > cmake_minimum_required(VERSION 3.25)
  > project(user VERSION 1 LANGUAGES C CXX)
  > set(CMAKE_C_STANDARD 11)
  > find_package(qx_plix 1.0 REQUIRED)
  > foreach(language c cpp)
  >   add_executable(in_${language} program.${language})
  >   target_link_libraries(in_${language} qx_plix::qx_plix)
  > endforeach()
  > .
  $ CC=gcc CXX=g++ cmake -G Ninja -S . -B build -DCMAKE_PREFIX_PATH="$PWD/moved" >configured && ninja -C build >built
  $ build/in_c && build/in_cpp
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}
  {"agent": "2.8.1", "broker": "simulator", "protocol": "1.3"}
