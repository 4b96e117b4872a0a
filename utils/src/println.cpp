#include "qx/println.h"

#include "qx/escape.h"

#include <unistd.h>

namespace qx::detail {

void vprintln(std::FILE* stream, fmt::string_view format, fmt::format_args args) {
    fmt::basic_memory_buffer<char, 500> line;
    fmt::vformat_to(fmt::appender(line), format, args);
    const string_view text(line.data(), line.size());
    if (!is_printable_ascii(text) && ::isatty(::fileno(stream)) == 1) {
        const std::string safe = shown(text);
        line.clear();
        line.append(safe.data(), safe.data() + safe.size());
    }
    line.push_back('\n');
    std::fwrite(line.data(), 1, line.size(), stream);
}

} // namespace qx::detail
