#include "trace.h"

#include "text.h"

#include <cstdio>
#include <string>

namespace qx::sim {
namespace {

std::string printable(std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7f) {
            result.push_back(c);
        } else {
            result.append({'\\', 'x', digits[byte >> 4], digits[byte & 15]});
        }
    }
    return result;
}

void print(std::string line) {
    line.push_back('\n');
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

} // namespace

void Trace::client(std::uint64_t client, std::string_view what, std::string_view text) const {
    if (is_on_) {
        print(concat(
            {"#", std::to_string(client), " ", what, text.empty() ? "" : " ", printable(text)}));
    }
}

void Trace::event(std::string_view name, std::size_t count, std::string_view text) const {
    if (is_on_) {
        print(concat({"event ", name, " to ", std::to_string(count), ": ", printable(text)}));
    }
}

} // namespace qx::sim
