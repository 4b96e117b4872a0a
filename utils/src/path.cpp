#include "qx/path.h"

#include "qx/format.h"

namespace qx {
namespace {

constexpr long kCapacity = 128;

std::size_t count_leading_slashes(string_view text) {
    std::size_t count = 0;
    while (count < text.size() && text[count] == '/') {
        ++count;
    }
    return count;
}

std::size_t length_without_trailing_slashes(string_view text) {
    std::size_t length = text.size();
    while (length > 0 && text[length - 1] == '/') {
        --length;
    }
    return length;
}

} // namespace

void detail::print_common_path(std::ostream& stream, common_path directory) {
    stream << qx::to_string(directory);
}

path::path()
    : basic_memstream(kCapacity) {}

path::path(common_path&& directory)
    : path() {
    add_piece(true, directory);
}

path::path(const constant_path& constant)
    : path() {
    add_piece(true, constant.to_string());
}

path::path(const path& other)
    : path() {
    add_piece(true, other.sview());
}

void path::add_piece(bool first, string_view piece) {
    const string_view text = sview();
    if (!text.empty() || !first) {
        piece = piece.substr(count_leading_slashes(piece));
    }
    if (piece.empty()) {
        return;
    }
    if (!text.empty()) {
        truncate(length_without_trailing_slashes(text));
        put('/');
    }
    write(piece.data(), static_cast<std::streamsize>(piece.size()));
}

std::string path::to_string() const {
    return sview().to_string();
}

} // namespace qx

fmt::format_context::iterator fmt::formatter<qx::path>::format(const qx::path& path,
                                                               fmt::format_context& context) const {
    const qx::string_view text = path.sview();
    return fmt::vformat_to(context.out(), "{:s}", fmt::make_format_args(text));
}
