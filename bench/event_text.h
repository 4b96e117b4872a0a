// Builds the events that fast_broker, the broker of the benchmarks, sends. They are laid out as
// jansson prints them, so a correct listener prints them unchanged.
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

/// Returns a template of events of exactly `size` bytes. Its `text` is null if `size` is too small
/// (200 is enough) or memory runs out. The caller frees `text`.
struct event_template event_template_make(size_t size);

/// Writes event `number` to `out`: exactly `events->size` bytes and no terminator.
void event_write(const struct event_template* events, uint32_t number, char* out);

#ifdef __cplusplus
}
#endif
