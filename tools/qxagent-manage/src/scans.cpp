#include "scans.h"

#include "exit_status.h"
#include "printers.h"
#include "qx_plix.h"
#include "request.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>

namespace qx::manage {
namespace {

// Converts a text to JSON. If the text begins with a number that fits into 32 bits, returns that
// number; otherwise returns a string.
qx::json_ptr day_value(const std::string& day) {
    const char* const text = day.c_str();
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text, &end, 10);
    if (end == text || errno == ERANGE || number < INT32_MIN || number > INT32_MAX) {
        return qx::json_ptr(::json_string(text));
    }
    return qx::json_ptr(::json_integer(number));
}

} // namespace

int run_va_set_schedule(const ScheduleOptions& options) {
    Request every;
    every.add("num", options.every_num);
    every.add("unit", text_value(options.every_unit));
    Request on;
    on.add("prefix", text_value(options.on_prefix));
    on.add("day", day_value(options.on_day));
    Request request;
    request.add("at", text_value(options.at));
    request.add("every", every.take());
    request.add("on", on.take());
    const qx::json_ptr document = request.take();
    const qx::text_ptr text = document ? serialise(document) : nullptr;
    if (!text) {
        return note_failure({message::memory_is_short});
    }
    qx::text_ptr reason;
    const int result = qx_plix_va_set_schedule(text.get(), reason.out());
    if (result == 0) {
        return kSuccess;
    }
    print_schedule_error(result, reason.get());
    return kFailure;
}

int run_va_set_exclusions(const ExclusionOptions& options) {
    const qx::text_ptr text = serialise(text_array("--addresses", options.addresses));
    if (!text) {
        return kFailure;
    }
    qx_plix_error_t err{};
    if (qx_plix_va_set_exclusions(text.get(), &err) != 0) {
        print_error(err);
        return kFailure;
    }
    return kSuccess;
}

int run_va_get_exclusions() {
    qx::text_ptr answer;
    qx_plix_error_t err{};
    if (qx_plix_va_get_exclusions(answer.out(), &err) != 0) {
        print_error(err);
        return kFailure;
    }
    print_output(answer.get());
    return kSuccess;
}

} // namespace qx::manage
