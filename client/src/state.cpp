#include "state.h"

#include <cstring>

int stopped = 1;

namespace qxplix {
namespace {

int initialised = 0;

constexpr const char* kErrorNames[] = {"none", "invalid params", "invalid JSON schema",
                                       "internal error"};
constexpr std::int32_t kErrorCount = sizeof kErrorNames / sizeof *kErrorNames;

bool continues_character(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::size_t length_that_fits(const char* text, std::size_t room) {
    std::size_t length = ::strnlen(text, room);
    if (length < room) {
        return length;
    }
    --length;
    while (length > 0 && continues_character(text[length])) {
        --length;
    }
    return length;
}

} // namespace

bool is_initialised() {
    return __atomic_load_n(&initialised, __ATOMIC_ACQUIRE) != 0;
}

void set_initialised(bool now) {
    __atomic_store_n(&initialised, now ? 1 : 0, __ATOMIC_RELEASE);
}

bool is_stopped() {
    return __atomic_load_n(&stopped, __ATOMIC_ACQUIRE) != 0;
}

void set_stopped(bool now) {
    __atomic_store_n(&stopped, now ? 1 : 0, __ATOMIC_RELEASE);
}

void set_error(qx_plix_error_t* err, std::int32_t code, const char* description) {
    if (err == nullptr) {
        return;
    }
    std::memset(err, 0, sizeof *err);
    err->code = code;
    if (code >= 0 && code < kErrorCount) {
        std::memcpy(err->message, kErrorNames[code], std::strlen(kErrorNames[code]));
    }
    const std::size_t length = length_that_fits(description, sizeof err->description);
    std::memcpy(err->description, description, length);
}

} // namespace qxplix
