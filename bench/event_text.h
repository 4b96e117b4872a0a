// The events of the benchmark's broker. They have jansson's layout, so the output that a listener
// must print is known without parsing.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Events of one size that differ only in their number.
struct event_template {
    char* text;
    size_t size;
};

/// Returns a template of events of exactly `size` bytes. `text` is null if `size` is too small (200
/// is enough) or memory is short. The caller frees `text`.
struct event_template event_template_make(size_t size);

/// Writes the text of event `number` to `out`, which must have room for `events->size` bytes.
/// Writes no terminator.
void event_write(const struct event_template* events, uint32_t number, char* out);

#ifdef __cplusplus
}
#endif
