#include "console.h"

#include "text.h"

#include <algorithm>
#include <charconv>

namespace qx::sim {
namespace {

constexpr std::string_view kBlanks = " \t\r";

/// Removes the first word from `line` and returns it.
std::string_view take_word(std::string_view& line) {
    const std::size_t start = line.find_first_not_of(kBlanks);
    if (start == std::string_view::npos) {
        line = {};
        return {};
    }
    line.remove_prefix(start);
    const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
    line.remove_prefix(word.size());
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    return word;
}

template <typename Number>
bool read_number(std::string_view word, Number& number) {
    const char* const end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    return error == std::errc() && stop == end;
}

Order refused(std::string fault) {
    Order order;
    order.fault = std::move(fault);
    return order;
}

Order parse_send(std::string_view verb, std::string_view rest) {
    Order order;
    order.kind = Order::Kind::send;
    order.is_numbered = verb == "burst";
    if (order.is_numbered && !read_number(take_word(rest), order.times)) {
        return refused("burst needs a count");
    }
    const std::string_view name = take_word(rest);
    const auto type = event_type(name);
    if (!type) {
        return refused(concat({"unknown event '", name, "'"}));
    }
    order.event = *type;
    if (rest.empty()) {
        return refused(concat({verb, " needs a text to send"}));
    }
    order.content = {Content::Kind::text, std::string(rest)};
    if (verb == "raw") {
        const auto bytes = bytes_of_hex(rest);
        if (!bytes) {
            return refused("raw needs pairs of hexadecimal digits");
        }
        order.content = {Content::Kind::raw, *bytes};
    }
    return order;
}

Order parse_restart(std::string_view rest) {
    Order order;
    order.kind = Order::Kind::restart;
    std::uint32_t down = 100;
    if (!rest.empty() && (!read_number(take_word(rest), down) || !rest.empty())) {
        return refused("restart takes a number of milliseconds and nothing more");
    }
    order.down = Milliseconds(down);
    return order;
}

} // namespace

Order parse_order(std::string_view line) {
    const std::string_view verb = take_word(line);
    line = line.substr(0, line.find_last_not_of(kBlanks) + 1);
    if (verb.empty()) {
        return {};
    }
    if (verb == "emit" || verb == "burst" || verb == "raw") {
        return parse_send(verb, line);
    }
    if (verb == "restart") {
        return parse_restart(line);
    }
    if (verb == "drop") {
        if (!line.empty()) {
            return refused("drop takes nothing more");
        }
        Order order;
        order.kind = Order::Kind::drop;
        return order;
    }
    return refused(concat({"unknown order '", verb, "'; --help lists them"}));
}

} // namespace qx::sim
