#include "agent.h"

#include <sstream>

namespace qx::test {

std::string Agent::log_text() {
    if (!std::filesystem::exists(log_file())) {
        return {};
    }
    constexpr std::size_t kLevelColumn = 32;
    std::istringstream lines(read_file(log_file()));
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t number = line.find(".cpp:") + 4;
        line.erase(number, line.find(']', number) - number);
        text += line.substr(kLevelColumn) + "\n";
    }
    return text;
}

} // namespace qx::test
