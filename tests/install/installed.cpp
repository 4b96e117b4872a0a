#include "installed.h"

#include "command_line.h"

#include <cstdlib>
#include <sstream>

namespace fs = std::filesystem;

namespace qx::test {

std::vector<FencedBlock> fenced_blocks(const fs::path& page) {
    std::istringstream lines(read_file(fs::path(QX_SOURCE_DIR) / page));
    std::vector<FencedBlock> blocks;
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("```")) {
            inside = !inside;
            if (inside) {
                blocks.push_back({line.substr(3), ""});
            }
        } else if (inside) {
            blocks.back().text += line + "\n";
        }
    }
    return blocks;
}

std::vector<std::string> operation_names() {
    const qx::manage::CommandLine command_line;
    std::vector<std::string> names;
    for (const auto& word : command_line.operation.value_list()) {
        names.push_back(word.name.to_string());
    }
    return names;
}

std::string frozen(const std::string& file) {
    return read_file(fs::path(QX_SOURCE_DIR) / "tests/frozen" / file);
}

Installed::Installed() {
    const Outcome installed = run({"cmake", "--install", QX_BUILD_DIR, "--prefix", prefix});
    EXPECT_EQ(installed.status, 0) << installed.err;
    const std::string emulated = fs::path(QX_TOOL).parent_path();
    environment["PATH"] =
        (kEmulated ? emulated : (prefix / "sbin").string() + ":" + (prefix / "bin").string()) +
        ":" + std::getenv("PATH");
    // The names without a version lead through /etc, which is empty here.
    environment["CC"] = "gcc";
    environment["CXX"] = "g++";
}

Outcome Installed::run_script(const std::string& script) const {
    return run({"sh", "-c", "cd '" + directory.path().string() + "'\n" + script}, environment);
}

} // namespace qx::test
