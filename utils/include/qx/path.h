// Paths of files and keys of settings, built from pieces. Usable on any thread, but threads must
// not share an object.
#pragma once

#include "qx/constant_path.h"
#include "qx/memstream.h"
#include "qx/string_view.h"

#include <ostream>
#include <string>
#include <type_traits>

namespace qx {

namespace detail {

/// Writes the absolute path of `directory` to `stream`, or nothing if the value is not an
/// enumerator.
void print_common_path(std::ostream& stream, common_path directory);

} // namespace detail

/// A path, which owns its text in a memory stream. Constructors and add_piece throw std::bad_alloc
/// if memory runs out.
class path : public basic_memstream {
public:
    /// Makes an empty path.
    path();
    /// Makes the absolute path of one of the agent's directories.
    path(common_path&& directory);
    /// Makes the path that `constant` describes. Copies its text.
    path(const constant_path& constant);

    /// Copies the text of `other`.
    path(const path& other);
    path& operator=(const path&) = delete;

    /// Appends a copy of `piece` with exactly one "/" before it. A piece that is empty or consists
    /// of slashes changes nothing. An empty path becomes the piece: unchanged if `first` is true,
    /// else without its leading slashes, so that the path stays relative.
    void add_piece(bool first, string_view piece);

    /// Appends `piece`, a common_path or a value that operator<< can write to a stream, like the
    /// other overload.
    template <typename Piece>
    void add_piece(bool first, Piece&& piece) {
        basic_memstream rendered(128);
        if constexpr (std::is_same_v<std::remove_cvref_t<Piece>, common_path>) {
            detail::print_common_path(rendered, piece);
        } else {
            rendered << piece;
        }
        add_piece(first, rendered.sview());
    }

    /// Returns a copy of the path. sview() of the base class returns a view.
    [[nodiscard]] std::string to_string() const;
};

} // namespace qx
