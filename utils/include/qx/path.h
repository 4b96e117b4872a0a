// Paths of files and of settings, built piece by piece in a stream.
#pragma once

#include "qx/constant_path.h"
#include "qx/memstream.h"
#include "qx/string_view.h"

#include <ostream>
#include <string>
#include <type_traits>

namespace qx {

namespace detail {

/// Writes the same to a stream.
void print_common_path(std::ostream& stream, common_path directory);

} // namespace detail

/// A path as text in a memory stream. Copies are independent of each other.
class path : public basic_memstream {
public:
    path();
    path(common_path&& directory);
    path(const constant_path& constant);
    path(const path& other);
    path& operator=(const path&) = delete;

    /// Appends `piece`, with exactly one "/" between it and what is there; an empty piece changes
    /// nothing. On an empty path `first` decides: true takes the piece as it stands, false without
    /// leading "/", so that a piece that is meant to follow another never makes a path absolute.
    void add_piece(bool first, string_view piece);

    /// The same for anything that a stream can print, and for a common_path.
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

    [[nodiscard]] std::string to_string() const;
};

} // namespace qx
