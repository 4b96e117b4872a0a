#include "qx/format.h"

using Iterator = fmt::format_context::iterator;

Iterator fmt::formatter<qx::string_view>::format(const qx::string_view& text,
                                                 fmt::format_context& context) const {
    return fmt::formatter<fmt::string_view>::format({text.data(), text.size()}, context);
}

Iterator fmt::formatter<qx::path>::format(const qx::path& path,
                                          fmt::format_context& context) const {
    const qx::string_view text = path.sview();
    return fmt::vformat_to(context.out(), "{:s}", fmt::make_format_args(text));
}

Iterator fmt::formatter<qx::_QXErrorStorage>::format(const qx::_QXErrorStorage& record,
                                                     fmt::format_context& context) const {
    const char* const first = record.first.sview().data();
    const char* const second = record.second.sview().data();
    return fmt::vformat_to(context.out(), "({:s}) {:s}", fmt::make_format_args(first, second));
}
