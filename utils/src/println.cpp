#include "qx/println.h"

namespace qx::detail {

void vprintln(std::FILE* stream, fmt::string_view format, fmt::format_args args) {
    fmt::basic_memory_buffer<char, 500> line;
    fmt::vformat_to(fmt::appender(line), format, args);
    line.push_back('\n');
    std::fwrite(line.data(), 1, line.size(), stream);
}

} // namespace qx::detail
