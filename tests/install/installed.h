// The product as `cmake --install` lays it out, next to a simulated broker.
#pragma once

#include "broker_client.h"

namespace qx::test {

/// A block of a Markdown page that is fenced by three backquotes.
struct FencedBlock {
    std::string language;
    std::string text;
};

/// The fenced blocks of a page of the sources, in their order.
std::vector<FencedBlock> fenced_blocks(const fs::path& page);

/// Every operation of the tool, in its order.
std::vector<std::string> operation_names();

/// Whether this build is one for routers, of which only the tool and the simulator are installed.
inline constexpr bool kForRouters = !std::string_view(QX_ROUTER_ARCHIVE).empty();

/// A file of tests/frozen.
std::string frozen(const std::string& file);

class Installed : public ::testing::Test {
protected:
    Installed();

    /// Runs a shell script, in the directory that holds the installed tree, with the installed
    /// programs in PATH.
    Outcome run_script(const std::string& script) const;
    /// What it writes to standard output; a failed expectation when its status is not 0.
    std::string output_of_script(const std::string& script) const;

    TemporaryDirectory directory;
    fs::path prefix = directory.path() / "prefix";
    std::map<std::string, std::string> environment;
};

} // namespace qx::test
