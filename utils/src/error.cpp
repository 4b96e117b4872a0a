#include "qx/error.h"

#include "qx/format.h"

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
    record.number = last_error().number;
    replace_text(record.first, last_error().kind);
    replace_text(record.second, last_error().reason);
    return record;
}

} // namespace qx

fmt::format_context::iterator
fmt::formatter<qx::_QXErrorStorage>::format(const qx::_QXErrorStorage& record,
                                            fmt::format_context& context) const {
    const char* const first = record.first.sview().data();
    const char* const second = record.second.sview().data();
    return fmt::vformat_to(context.out(), "({:s}) {:s}", fmt::make_format_args(first, second));
}
