#include "qx/error.h"

#include <cstring>

namespace qx {
namespace {

constexpr long kTextCapacity = 128;

void replace_text(basic_memstream& stream, string_view text) {
    stream.truncate(0);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

} // namespace

_QXErrorStorage::_QXErrorStorage()
    : number(error_number::none)
    , first(kTextCapacity)
    , second(kTextCapacity) {
    first << "ok";
    second << "no error";
}

_QXErrorStorage& _get_qxerrno() {
    static _QXErrorStorage record;
    return record;
}

void set_qxerrno(std::int32_t number, string_view first, string_view second) {
    _QXErrorStorage& record = _get_qxerrno();
    record.number = number;
    replace_text(record.first, first);
    replace_text(record.second, second);
}

void set_io_error(string_view reason) {
    set_qxerrno(error_number::input_output, "input/output error", reason);
}

void set_io_error(const std::string& what, int reason) {
    set_io_error(what + ": " + std::strerror(reason));
}

} // namespace qx
