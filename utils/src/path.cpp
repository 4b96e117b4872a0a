#include "qx/path.h"

#include "base/install.h"
#include "install_directory.h"

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

std::string to_string(common_path directory) {
    switch (directory) {
    case common_path::programs:
        return install_directory() + QX_PROGRAM_DIRECTORY;
    case common_path::configuration:
        return install_directory() + QX_CONFIGURATION_DIRECTORY;
    }
    return {};
}

void detail::print_common_path(std::ostream& stream, common_path directory) {
    stream << qx::to_string(directory);
}

std::string constant_path::to_string() const {
    const std::string directory = qx::to_string(directory_);
    return directory.empty() ? text_ : directory + "/" + text_;
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
