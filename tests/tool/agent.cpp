#include "agent.h"

namespace qx::test {

std::string Agent::log_text() {
    if (!std::filesystem::exists(kLogFile)) {
        return {};
    }
    constexpr std::size_t kLevelColumn = 32;
    std::string text;
    for (std::string line : lines_of(read_file(kLogFile))) {
        const std::size_t number = line.find(".cpp:") + 4;
        line.erase(number, line.find(']', number) - number);
        text += line.substr(kLevelColumn) + "\n";
    }
    return text;
}

} // namespace qx::test
