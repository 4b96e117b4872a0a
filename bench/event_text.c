#include "event_text.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char kStart[] = "{\"sequence\": \"0000000000\", \"devices\": [";
static const char kMiddle[] = "], \"note\": \"";
static const char kEnd[] = "\"}";
enum { kNumberAt = 14, kDigits = 10, kDeviceRoom = 160 };

static size_t write_device(char* out, unsigned index) {
    return (size_t)snprintf(out, kDeviceRoom,
                            "%s{\"id\": \"d%04u\", \"mac\": \"02:00:5e:10:%02x:%02x\", "
                            "\"ip\": [\"192.168.%u.%u\"], \"online\": true, \"name\": \"Küche\"}",
                            index == 0 ? "" : ", ", index, index / 256 % 256, index % 256,
                            index / 200 % 256, index % 200);
}

struct event_template event_template_make(size_t size) {
    const size_t frame = sizeof kStart + sizeof kMiddle + sizeof kEnd - 3;
    struct event_template events = {NULL, size};
    char device[kDeviceRoom];
    if (size < frame + write_device(device, 0)) {
        return events;
    }
    char* const text = malloc(size);
    if (text == NULL) {
        return events;
    }
    size_t at = sizeof kStart - 1;
    memcpy(text, kStart, at);
    const size_t last = size - (sizeof kMiddle - 1) - (sizeof kEnd - 1);
    for (unsigned index = 0;; ++index) {
        const size_t length = write_device(device, index);
        if (length > last - at) {
            break;
        }
        memcpy(text + at, device, length);
        at += length;
    }
    memcpy(text + at, kMiddle, sizeof kMiddle - 1);
    at += sizeof kMiddle - 1;
    memset(text + at, '.', size - (sizeof kEnd - 1) - at);
    memcpy(text + size - (sizeof kEnd - 1), kEnd, sizeof kEnd - 1);
    events.text = text;
    return events;
}

void event_write(const struct event_template* events, uint32_t number, char* out) {
    memcpy(out, events->text, events->size);
    for (size_t digit = kDigits; digit > 0; --digit) {
        out[kNumberAt + digit - 1] = (char)('0' + number % 10);
        number /= 10;
    }
}
