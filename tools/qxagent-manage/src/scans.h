// Operations on vulnerability scans: their schedule and the devices that they exclude. Main thread
// only.
#pragma once

#include "options.h"

namespace qx::manage {

/// The broker checks the text values; the tool does not.
struct ScheduleOptions {
    Owner owner;
    Text at{"at", owner, cl::valuedesc("<hour>:<minute>"), kRequired,
            cl::desc("hour and minute of the schedule")};
    Integer every_num{"every_num", owner, cl::valuedesc("repeat_interval"), kRequired,
                      cl::desc("the number of recurrence unit that must pass for the schedule to "
                               "be run again")};
    Text every_unit{"every_unit", owner, cl::valuedesc("day|week|month"), kRequired,
                    cl::desc("for daily, weekly, and monthly recurrence")};
    Text on_prefix{"on_prefix", owner, cl::valuedesc("first|second|third|fourth|fifth|last"),
                   cl::desc("for monthly recurrence; 'last' can mean 'fourth' or 'fifth' "
                            "depending on month'.\n"
                            "It is a prefix for 'on_day' and can be used to construct schedules "
                            "such as 'first Monday of each month'")};
    Text on_day{"on_day", owner, cl::valuedesc("string"),
                cl::desc("for weekly recurrence, can have a value of 1 through 7 or 'monday' to "
                         "'sunday'.\n"
                         "For monthly recurrence, can have a value of 1 to 31 or 'monday' to "
                         "'sunday'")};
};

struct ExclusionOptions {
    Owner owner;
    List addresses{
        "addresses", owner, cl::valuedesc("list of MAC addresses"), kCommaSeparated,
        cl::desc("A comma separated list of MAC addresses. Each group of two nibbles in the "
                 "address, i.e. half-bytes, must be separated by ':'. To specify a range for the "
                 "characters in a given nibble, use the \"[]\" array-style separated by '|'. Each "
                 "item in the array must be either a single character or an interval in the 0-9, "
                 "A-F, a-f format. Uppercase and lowercase formats used in conjunction are allowed "
                 "but not mandatory, i.e. setting a single case is enough for the match to be "
                 "successful. Overlapping values or intervals inside the array are not allowed "
                 "(the overlapping detection algorithm is case insensitive).")};
};

/// Sets the scan schedule. Returns 0 on success. If the schedule is refused, prints one line on
/// standard error and returns 1.
int run_va_set_schedule(const ScheduleOptions& options);

/// Sets the patterns of MAC addresses that scans exclude. Returns 0 on success. If the library call
/// fails, calls print_error() and returns 1. If a pattern is not UTF-8, returns 1 without calling
/// print_error().
int run_va_set_exclusions(const ExclusionOptions& options);

/// Prints the patterns of MAC addresses that scans exclude. Returns 0 on success, and 1 after
/// calling print_error() on failure.
int run_va_get_exclusions();

} // namespace qx::manage
