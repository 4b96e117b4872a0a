// Runs the tests inside private namespaces (world.h).

#include "world.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

bool only_lists_tests(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--gtest_list_tests", 18) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    if (!only_lists_tests(argc, argv)) {
        qx::test::enter_world(argv);
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
