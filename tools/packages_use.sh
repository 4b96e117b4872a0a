#!/bin/sh
# packages_use.sh ARCHITECTURE [EMULATOR]: uses the installed packages of ARCHITECTURE. Builds a program with the shared
# and with the static library, and runs both programs and the tool against the simulated broker. EMULATOR runs programs
# of another processor. packages.sh calls this script inside the system in which it has installed the packages.
set -eu
triplet=$(dpkg -L "libqx-plix1:$1" | sed -n 's|^/usr/lib/\(.*\)/libqx_plix.so.1$|\1|p')
cd /packages
cat >program.c <<'END'
#include <qx_plix.h>
#include <stdio.h>
int main(void) {
    char *info = NULL;
    if (qx_plix_init() != 0 || qx_plix_get_version_info(&info) != 0) return 1;
    puts(info);
    return qx_plix_uninit();
}
END
export PKG_CONFIG_LIBDIR="/usr/lib/$triplet/pkgconfig"
# shellcheck disable=SC2046 # lists of words
"$triplet-gcc" program.c $(pkg-config --cflags --libs qx_plix) -o shared
# shellcheck disable=SC2046 # lists of words
"$triplet-gcc" program.c -static $(pkg-config --static --cflags --libs qx_plix) -o static
mkdir -p /opt/norvane
${2:-} /usr/bin/qxbrokerd-sim --install-dir /opt/norvane >log 2>&1 &
until grep -q listening log; do kill -0 $!; done
${2:-} /usr/sbin/qxagent-manage is_enabled
${2:-} ./shared
${2:-} ./static
kill $!
wait $! || true
rm -r /opt/norvane
