// Runs a test program inside a world of its own: private users, mounts and network, an empty /opt
// and an /etc that holds only what programs need to start. Broker sockets are abstract, so the
// private network separates them too.

#include "world.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>
#include <vector>

namespace {

constexpr const char* kInside = "QX_TEST_WORLD";

bool only_lists_tests(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--gtest_list_tests", 18) == 0) {
            return true;
        }
    }
    return false;
}

void enter_private_namespaces(char** argv) {
    // unshare(1) must run before the first thread of a sanitizer's runtime exists, hence the second
    // exec.
    ::setenv(kInside, "1", 1);
    std::vector<char*> words;
    char unshare[] = "unshare";
    char flags[] = "-Urmn";
    words.push_back(unshare);
    words.push_back(flags);
    for (char** word = argv; *word != nullptr; ++word) {
        words.push_back(*word);
    }
    words.push_back(nullptr);
    ::execvp("unshare", words.data());
    std::perror("unshare");
    std::exit(1);
}

} // namespace

int main(int argc, char** argv) {
    if (!only_lists_tests(argc, argv)) {
        if (std::getenv(kInside) == nullptr) {
            enter_private_namespaces(argv);
        }
        ::unsetenv(kInside);
        qx::test::furnish_world();
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
