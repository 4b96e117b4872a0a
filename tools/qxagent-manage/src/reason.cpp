#include "reason.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace qx::manage {
namespace {

constexpr const char* kStages[] = {nullptr,       "argument", "not_running", "wrong_version",
                                   "connection",  "refused",  "bad_reply",   "timed_out",
                                   "interrupted", "memory",   "limit"};
static_assert(std::size(kStages) == QX_PLIX_STAGE_LIMIT + 1);

Reason& noted() {
    static Reason the_reason;
    return the_reason;
}

} // namespace

const Reason& reason() {
    return noted();
}

void note_reason(const char* stage, string_view message, bool is_told) {
    Reason& first = noted();
    if (first.stage != nullptr) {
        return;
    }
    first.stage = stage;
    first.is_told = is_told;
    std::size_t length = std::min(message.size(), sizeof first.failure.message - 1);
    // Do not split a UTF-8 character.
    while (length > 0 && length < message.size() && (message.data()[length] & 0xC0) == 0x80) {
        --length;
    }
    std::memcpy(first.failure.message, message.data(), length);
}

void note_library_reason(bool is_told) {
    Reason& first = noted();
    qx_plix_failure_t failure;
    if (first.stage != nullptr || qx_plix_last_failure(&failure) != 0) {
        return;
    }
    first.stage = kStages[failure.stage];
    first.is_told = is_told;
    first.failure = failure;
}

} // namespace qx::manage
