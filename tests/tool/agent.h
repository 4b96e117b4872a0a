// The agent around the tool in its tests: a broker of the test's own in an install directory.
#pragma once

#include "process.h"
#include "test_broker.h"
#include "world.h"

#include <gtest/gtest.h>

namespace qx::test {

class Agent : public ::testing::Test {
protected:
    /// The log without what differs from run to run: each line from its level on, without the
    /// number of the line of code.
    static std::string log_text();

    TestBroker broker;
    LockedVersionFile version_file{kInstallDir};
};

} // namespace qx::test
