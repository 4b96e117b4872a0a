// The events of the benchmark's broker, in jansson's layout, so that what a listener must print is
// known without parsing.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Events of one size; they differ in their number only.
struct event_template {
    char* text;
    size_t size;
};

/// Events of exactly `size` bytes; `text` is null when that is too small (200 will do) or memory is
/// short. The caller frees `text`.
struct event_template event_template_make(size_t size);

/// Writes the text of event `number`, without a terminator, to `out`.
void event_write(const struct event_template* events, uint32_t number, char* out);

#ifdef __cplusplus
}
#endif
