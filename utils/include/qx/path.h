// Paths of files and of settings, built from pieces. Main thread only.
#pragma once

#include "qx/constant_path.h"
#include "qx/memstream.h"
#include "qx/string_view.h"

#include <ostream>
#include <string>
#include <type_traits>

namespace qx {

namespace detail {

/// Writes the path of `directory` to `stream`.
void print_common_path(std::ostream& stream, common_path directory);

} // namespace detail

/// A path as text in a memory stream. A copy has its own text. Throws std::bad_alloc if memory runs
/// out.
class path : public basic_memstream {
public:
    /// Makes an empty path, or the path of an agent's directory or of a constant.
    path();
    path(common_path&& directory);
    path(const constant_path& constant);

    /// Copies the text of `other`.
    path(const path& other);
    path& operator=(const path&) = delete;

    /// Appends `piece` with exactly one "/" before it. An empty piece changes nothing. If the path
    /// is still empty, `first` decides: true appends the piece unchanged, false drops its leading
    /// "/", so that a relative piece cannot make the path absolute.
    void add_piece(bool first, string_view piece);

    /// Does the same with the text of `piece`: a common_path, or any value with a stream operator.
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

    /// Returns a copy of the text.
    [[nodiscard]] std::string to_string() const;
};

} // namespace qx
