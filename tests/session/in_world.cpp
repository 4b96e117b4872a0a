// in_world COMMAND [ARGUMENT...]: runs COMMAND in private user, mount and network namespaces, like
// those of a test case (see world.h).

#include "world.h"

#include <cstdio>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc < 2) {
        return 2;
    }
    qx::test::enter_world(argv);
    ::execvp(argv[1], argv + 1);
    std::perror(argv[1]);
    return 127;
}
