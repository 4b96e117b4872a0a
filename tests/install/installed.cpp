#include "installed.h"

#include "command_line.h"

#include <cstdlib>

namespace qx::test {

std::vector<FencedBlock> fenced_blocks(const fs::path& page) {
    std::vector<FencedBlock> blocks;
    bool inside = false;
    for (const std::string& line : lines_of(read_file(fs::path(QX_SOURCE_DIR) / page))) {
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
    output_of({"cmake", "--install", QX_BUILD_DIR, "--prefix", prefix});
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

std::string Installed::output_of_script(const std::string& script) const {
    const Outcome outcome = run_script(script);
    EXPECT_EQ(outcome.status, 0) << script << ::testing::PrintToString(outcome);
    return outcome.out;
}

} // namespace qx::test
