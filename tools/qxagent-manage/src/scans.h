// Vulnerability scans: when they run and what they leave out.
#pragma once

#include <string>
#include <vector>

namespace qx::manage {

/// When scans run, as the command line gives it; texts are passed on unchanged.
struct Schedule {
    std::string at;
    int every_num = 0;
    std::string every_unit;
    std::string on_prefix;
    std::string on_day;
};

/// Sets the scan schedule. Returns 0, or 1 after one line on standard error when it is refused.
int run_va_set_schedule(const Schedule& schedule);

/// Sets the MAC patterns that scans leave out. Returns 0, or 1 after the error block when they are
/// refused.
int run_va_set_exclusions(const std::vector<std::string>& addresses);

/// Prints the MAC patterns that scans leave out. Returns 0, or 1 after the error block.
int run_va_get_exclusions();

} // namespace qx::manage
