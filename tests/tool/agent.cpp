#include "agent.h"

#include <regex>

namespace qx::test {

std::string Agent::log_text() {
    if (!std::filesystem::exists(log_file())) {
        return {};
    }
    static const std::regex varying(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} [ \d]{7} (\S+ *) \[([^:]*):\d+\])");
    return std::regex_replace(read_file(log_file()), varying, "$1 [$2]");
}

} // namespace qx::test
