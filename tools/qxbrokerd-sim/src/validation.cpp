#include "validation.h"

#include "json.h"
#include "text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <optional>

namespace qx::sim {
namespace {

// These limits bound the memory for reported devices.
constexpr std::size_t kLongestName = 255;
constexpr std::size_t kMostAddresses = 32;

/// A hexadecimal digit of a MAC pattern. An interval of digits, such as 2-5, must stay within one
/// of the ranges 0-9, A-F and a-f.
struct Digit {
    unsigned value;
    char first; ///< '0', 'A' or 'a': the start of the range that contains the digit
};

std::optional<Digit> hex_digit(char c) {
    const auto value = hex_value(c);
    if (!value) {
        return std::nullopt;
    }
    const char letter = c >= 'a' ? 'a' : 'A';
    return Digit{*value, *value < 10 ? '0' : letter};
}

class PatternReader {
public:
    explicit PatternReader(std::string_view pattern)
        : rest_(pattern) {}

    std::string check() {
        for (int nibble = 0; nibble < 12; ++nibble) {
            if (nibble > 0 && nibble % 2 == 0 && !take(':')) {
                return "groups of two digits must be separated by ':'";
            }
            std::string fault = take('[') ? choice() : single();
            if (!fault.empty()) {
                return fault;
            }
        }
        return rest_.empty() ? "" : "there is more after the sixth group";
    }

private:
    bool take(char c) {
        if (rest_.empty() || rest_.front() != c) {
            return false;
        }
        rest_.remove_prefix(1);
        return true;
    }

    std::optional<Digit> digit() {
        const auto found = rest_.empty() ? std::nullopt : hex_digit(rest_.front());
        rest_.remove_prefix(found ? 1 : 0);
        return found;
    }

    std::string single() { return digit() ? "" : "a hexadecimal digit is missing"; }

    std::string choice() {
        unsigned seen = 0;
        do {
            const auto from = digit();
            const auto to = from && take('-') ? digit() : from;
            if (!from || !to) {
                return "a '[' needs single digits or intervals, separated by '|'";
            }
            if (from->first != to->first || from->value > to->value) {
                return "an interval must ascend within 0-9, A-F or a-f";
            }
            for (unsigned value = from->value; value <= to->value; ++value) {
                if ((seen >> value & 1U) != 0) {
                    return "values between '[' and ']' overlap";
                }
                seen |= 1U << value;
            }
        } while (take('|'));
        return take(']') ? "" : "a ']' is missing";
    }

    std::string_view rest_;
};

bool is_time(std::string_view text) {
    const auto number = [text](std::size_t at) {
        const bool digits =
            text[at] >= '0' && text[at] <= '9' && text[at + 1] >= '0' && text[at + 1] <= '9';
        return digits ? (text[at] - '0') * 10 + (text[at + 1] - '0') : 99;
    };
    return text.size() == 5 && text[2] == ':' && number(0) < 24 && number(3) < 60;
}

template <std::size_t N>
bool is_one_of(std::string_view word, const std::array<std::string_view, N>& words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool is_weekday(const json_t* day) {
    constexpr std::array<std::string_view, 7> days = {"monday", "tuesday",  "wednesday", "thursday",
                                                      "friday", "saturday", "sunday"};
    return is_one_of(text_of(day), days);
}

bool is_empty(const json_t* text) {
    return text == nullptr || (json_is_string(text) && text_of(text).empty());
}

std::string check_day(std::string_view unit, const json_t* prefix, const json_t* day) {
    constexpr std::array<std::string_view, 6> prefixes = {"first",  "second", "third",
                                                          "fourth", "fifth",  "last"};
    if (!is_empty(prefix) && unit != "month") {
        return "'on.prefix' goes with the unit month only";
    }
    if (!is_empty(prefix) && !is_one_of(text_of(prefix), prefixes)) {
        return "'on.prefix' must be first, second, third, fourth, fifth or last";
    }
    if (!is_empty(prefix) && !is_weekday(day)) {
        return "'on.prefix' needs a day of the week in 'on.day'";
    }
    if (is_empty(day)) {
        return "";
    }
    if (unit == "day") {
        return "'on.day' does not go with the unit day";
    }
    const json_int_t last = unit == "week" ? 7 : 31;
    const json_int_t number = json_integer_value(day);
    if (is_weekday(day) || (json_is_integer(day) && number >= 1 && number <= last)) {
        return "";
    }
    return concat({"'on.day' must be 1 to ", std::to_string(last), " or monday to sunday"});
}

std::string check_addresses(const json_t* ip) {
    if (json_is_string(ip)) {
        return is_ip(json_string_value(ip)) ? "" : "'ip' is not an IP address";
    }
    if (!json_is_array(ip) || json_array_size(ip) == 0 || json_array_size(ip) > kMostAddresses) {
        return "'ip' must be an address or an array of 1 to 32 when the device is online";
    }
    std::size_t index = 0;
    json_t* address = nullptr;
    json_array_foreach(ip, index, address) {
        if (!json_is_string(address) || !is_ip(json_string_value(address))) {
            return concat({"'ip' holds something that is not an IP address: ", dump(address)});
        }
    }
    return "";
}

} // namespace

bool is_mac(std::string_view text) {
    return text.size() == 17 && PatternReader(text).check().empty() &&
           text.find('[') == std::string_view::npos;
}

bool is_ip(const std::string& text) {
    unsigned char bytes[16];
    return ::inet_pton(AF_INET, text.c_str(), bytes) == 1 ||
           ::inet_pton(AF_INET6, text.c_str(), bytes) == 1;
}

bool is_name(const json_t* text) {
    return !text_of(text).empty() && text_of(text).size() <= kLongestName;
}

std::string check_mac_pattern(std::string_view pattern) {
    return PatternReader(pattern).check();
}

std::string check_schedule(const json_t* schedule) {
    constexpr std::array<std::string_view, 3> units = {"day", "week", "month"};
    const json_t* const every = json_object_get(schedule, "every");
    const json_t* const on = json_object_get(schedule, "on");
    if (!is_time(text_of(json_object_get(schedule, "at")))) {
        return "'at' must be HH:MM, from 00:00 to 23:59";
    }
    if (json_integer_value(json_object_get(every, "num")) < 1) {
        return "'every.num' must be an integer from 1 on";
    }
    const std::string_view unit = text_of(json_object_get(every, "unit"));
    if (!is_one_of(unit, units)) {
        return "'every.unit' must be day, week or month";
    }
    if (on != nullptr && !json_is_object(on)) {
        return "'on' must be an object";
    }
    return check_day(unit, json_object_get(on, "prefix"), json_object_get(on, "day"));
}

std::string check_online_status(const json_t* entry) {
    const json_t* const online = json_object_get(entry, "is_online");
    const json_t* const hostname = json_object_get(entry, "hostname");
    if (!is_mac(text_of(json_object_get(entry, "mac")))) {
        return "'mac' is not a MAC address";
    }
    if (!is_name(json_object_get(entry, "interface"))) {
        return "'interface' must be a string of 1 to 255 bytes";
    }
    if (!json_is_boolean(online)) {
        return "'is_online' must be a boolean";
    }
    if (hostname != nullptr &&
        (!json_is_string(hostname) || json_string_length(hostname) > kLongestName)) {
        return "'hostname' must be a string of at most 255 bytes";
    }
    return json_is_true(online) ? check_addresses(json_object_get(entry, "ip")) : "";
}

std::string check_interfaces(const json_t* interfaces) {
    if (!json_is_array(interfaces)) {
        return "interfaces must be an array";
    }
    std::size_t index = 0;
    json_t* entry = nullptr;
    json_array_foreach(interfaces, index, entry) {
        if (text_of(json_object_get(entry, "name")).empty() ||
            text_of(json_object_get(entry, "type")).empty()) {
            return concat({"an interface needs a name and a type: ", dump(entry)});
        }
    }
    return "";
}

} // namespace qx::sim
