#include "qx/last_error.h"

#include <cstring>

namespace qx {
namespace {

error_info& record() {
    static error_info the_error;
    return the_error;
}

} // namespace

const error_info& last_error() {
    return record();
}

void set_qxerrno(std::int32_t number, string_view kind, string_view reason) {
    error_info& last = record();
    last.number = number;
    last.kind = kind;
    last.reason.assign(reason.data(), reason.size());
}

void set_io_error(string_view reason) {
    set_qxerrno(error_number::input_output, "input/output error", reason);
}

void set_io_error(const std::string& what, int reason) {
    set_io_error(what + ": " + std::strerror(reason));
}

} // namespace qx
