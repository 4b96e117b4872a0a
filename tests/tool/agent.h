// The agent around the tool in its tests: a broker of the test's own in an install directory.
#pragma once

#include "test_broker.h"

namespace qx::test {

class Agent : public ::testing::Test {
protected:
    /// The log without what differs from run to run: each line from its level on, without the
    /// number of the line of code.
    static std::string log_text() {
        constexpr std::size_t kLevelColumn = 32;
        std::string text;
        for (std::string line : lines_of(fs::exists(kLogFile) ? read_file(kLogFile) : "")) {
            const std::size_t number = line.find(".cpp:") + 4;
            line.erase(number, line.find(']', number) - number);
            text += line.substr(kLevelColumn) + "\n";
        }
        return text;
    }

    TestBroker broker;
    LockedVersionFile version_file{kInstallDir};
};

} // namespace qx::test
