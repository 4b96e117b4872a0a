#include "environment.h"

#include "qx_plix.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace qx::manage {
namespace {

constexpr std::uint64_t kMostSeconds = 1'000'000;

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// Adds the digits after a decimal point to `thousandths`, rounded up. Returns the position of the
// first character that is not a digit.
const char* read_thousandths(const char* at, std::uint64_t& thousandths) {
    std::uint64_t unit = 100;
    bool is_cut = false;
    for (; is_digit(*at); ++at, unit /= 10) {
        thousandths += static_cast<std::uint64_t>(*at - '0') * unit;
        is_cut = is_cut || (unit == 0 && *at != '0');
    }
    thousandths += is_cut ? 1 : 0;
    return at;
}

bool require_broker_user(const char* value) {
    if (std::strcmp(value, "any") == 0) {
        return qx_plix_require_broker_uid(QX_PLIX_BROKER_UID_ANY) == 0;
    }
    std::uint32_t uid = 0;
    const char* const end = value + std::strlen(value);
    const auto [rest, failure] = std::from_chars(value, end, uid);
    return failure == std::errc() && rest == end && qx_plix_require_broker_uid(uid) == 0;
}

bool set_timeout(const char* value) {
    const auto limit = milliseconds_of(value);
    if (!limit) {
        return false;
    }
    qx_plix_set_timeout(*limit);
    return true;
}

bool accept_errors(const char* /*value*/) {
    return errors_setting_is_valid();
}

struct Variable {
    const char* name;
    bool (*apply)(const char* value);
    Message is_invalid;
};

constexpr Variable kVariables[] = {
    {"QX_ERRORS", accept_errors, message::errors_is_invalid},
    {"QX_TIMEOUT", set_timeout, message::timeout_is_invalid},
    {"QX_BROKER_UID", require_broker_user, message::broker_uid_is_invalid},
};

} // namespace

std::optional<std::uint64_t> milliseconds_of(const char* seconds) {
    const char* at = seconds;
    std::uint64_t whole = 0;
    for (; is_digit(*at); ++at) {
        whole = whole * 10 + static_cast<std::uint64_t>(*at - '0');
        if (whole > kMostSeconds) {
            return std::nullopt;
        }
    }
    bool has_digits = at != seconds;
    std::uint64_t thousandths = 0;
    if (*at == '.') {
        const char* const fraction = at + 1;
        at = read_thousandths(fraction, thousandths);
        has_digits = has_digits || at != fraction;
    }
    const std::uint64_t milliseconds = whole * 1000 + thousandths;
    if (!has_digits || *at != '\0' || milliseconds > kMostSeconds * 1000) {
        return std::nullopt;
    }
    return milliseconds;
}

std::optional<Failure> apply_environment() {
    for (const Variable& variable : kVariables) {
        const char* const value = std::getenv(variable.name);
        if (value != nullptr && !variable.apply(value)) {
            return Failure{variable.is_invalid, value};
        }
    }
    return std::nullopt;
}

} // namespace qx::manage
