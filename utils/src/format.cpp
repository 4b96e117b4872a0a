#include "qx/format.h"

fmt::format_context::iterator
fmt::formatter<qx::string_view>::format(const qx::string_view& text,
                                        fmt::format_context& context) const {
    return fmt::formatter<fmt::string_view>::format({text.data(), text.size()}, context);
}
