#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace qxplix {
namespace {

static_assert(sizeof(qx_plix_failure_t) == 1024);

__thread qx_plix_failure_t last;

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

// Keeps only the first failure of a call, which explains the later ones.
bool begin_record(qx_plix_stage stage) {
    if (last.stage != QX_PLIX_STAGE_NONE) {
        return false;
    }
    last.stage = stage;
    return true;
}

qx_plix_stage stage_of(int error, qx_plix_stage otherwise) {
    switch (error) {
    case EINTR:
        return QX_PLIX_STAGE_INTERRUPTED;
    case ETIMEDOUT:
        return QX_PLIX_STAGE_TIMED_OUT;
    case ENOMEM:
        return QX_PLIX_STAGE_MEMORY;
    case EMFILE:
    case ENFILE:
        return QX_PLIX_STAGE_LIMIT;
    default:
        return otherwise;
    }
}

void set_message(const char* sentence, const char* detail) {
    copy_text(last.message, sizeof last.message, sentence);
    if (detail != nullptr) {
        append_text(last.message, sizeof last.message, ": ");
        append_text(last.message, sizeof last.message, detail);
    }
}

} // namespace

void clear_failure() {
    // The record is large and most calls succeed, so clear it only if it holds a failure.
    if (last.stage != QX_PLIX_STAGE_NONE) {
        last = {};
    }
}

int fail(qx_plix_stage stage, const char* sentence, const char* detail) {
    if (begin_record(stage)) {
        set_message(sentence, detail);
    }
    return -1;
}

int fail_with_errno(qx_plix_stage stage, const char* sentence) {
    const int error = errno;
    if (begin_record(stage_of(error, stage))) {
        last.system_error = error;
        // C libraries disagree on the text of ETIMEDOUT.
        set_message(sentence, error == ETIMEDOUT ? "the time is up" : std::strerror(error));
    }
    errno = error;
    return -1;
}

int fail_for_memory() {
    return fail(QX_PLIX_STAGE_MEMORY, "out of memory");
}

int fail_not_started() {
    return fail(QX_PLIX_STAGE_NOT_RUNNING, "the library is not started");
}

int fail_in_callback() {
    return fail(QX_PLIX_STAGE_ARGUMENT, "the call is not allowed in a callback");
}

int fail_refused(const refusal& reason) {
    if (!begin_record(QX_PLIX_STAGE_REFUSED)) {
        return -1;
    }
    if (reason.description != nullptr) {
        copy_text(last.description, sizeof last.description, reason.description);
    }
    const bool is_described = last.description[0] != '\0';
    set_message("refused by the broker", is_described ? last.description : nullptr);
    last.has_code = reason.has_code ? 1 : 0;
    last.code = reason.code;
    if (reason.has_code) {
        char code[32];
        std::snprintf(code, sizeof code, " (code %ld)", static_cast<long>(last.code));
        append_text(last.message, sizeof last.message, code);
    }
    return -1;
}

void copy_text(char* to, std::size_t size, const char* text) {
    const std::size_t length = length_that_fits(text, size);
    std::memcpy(to, text, length);
    to[length] = '\0';
}

void append_text(char* to, std::size_t size, const char* text) {
    const std::size_t length = std::strlen(to);
    copy_text(to + length, size - length, text);
}

} // namespace qxplix

using namespace qxplix;

int qx_plix_last_failure(qx_plix_failure_t* failure) {
    if (failure == nullptr) {
        return -1;
    }
    *failure = last;
    return 0;
}
