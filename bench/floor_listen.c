// The least that printing the broker's events costs: what listening with the tool is measured
// against. Received in large pieces, each event is parsed once, serialised once and written at
// once. Ends by a signal, or when the broker has gone.
#include "broker_socket.h"

#include <jansson.h>
#include <stdbool.h>
#include <stdint.h>
#include <unistd.h>

static const char kRequest[] = "{\"type\": \"subscribe\", \"name\": \"device_discovery\"}\n";
static const char kStart[] = "{\"event_name\": \"QX_PLIX_DEVICE_DISCOVERY\", \"data\": ";
static const char kEnd[] = "}\n";

enum { kHeader = sizeof(int32_t), kReceived = 64 * 1024, kLine = 64 * 1024 };

static bool print_event(const char* text, size_t length) {
    static char line[kLine];
    json_t* const event = json_loadb(text, length, 0, NULL);
    if (event == NULL) {
        return false;
    }
    const size_t start = sizeof kStart - 1;
    const size_t room = sizeof line - start - (sizeof kEnd - 1);
    memcpy(line, kStart, start);
    const size_t size = json_dumpb(event, line + start, room, 0);
    json_decref(event);
    if (size == 0 || size > room) {
        return false;
    }
    memcpy(line + start + size, kEnd, sizeof kEnd - 1);
    const size_t whole = start + size + sizeof kEnd - 1;
    return write(STDOUT_FILENO, line, whole) == (ssize_t)whole;
}

// Takes the whole frames off the front of `bytes`; the first is the answer to the request. The
// number of bytes taken, or -1.
static ssize_t take_frames(const char* bytes, size_t have, bool* answered) {
    size_t taken = 0;
    while (have - taken >= kHeader) {
        int32_t length = 0;
        memcpy(&length, bytes + taken, kHeader);
        if (length <= 0 || length > kReceived - kHeader) {
            return -1;
        }
        if (have - taken - kHeader < (size_t)length) {
            break;
        }
        if (*answered && !print_event(bytes + taken + kHeader, (size_t)length)) {
            return -1;
        }
        *answered = true;
        taken += kHeader + (size_t)length;
    }
    return (ssize_t)taken;
}

int main(void) {
    static char received[kReceived];
    size_t have = 0;
    bool answered = false;
    const int fd = connect_to_broker();
    if (fd < 0 || send(fd, kRequest, sizeof kRequest - 1, MSG_NOSIGNAL) < 0) {
        return 1;
    }
    for (;;) {
        const ssize_t got = recv(fd, received + have, sizeof received - have, 0);
        if (got <= 0) {
            return 1;
        }
        have += (size_t)got;
        const ssize_t taken = take_frames(received, have, &answered);
        if (taken < 0) {
            return 1;
        }
        have -= (size_t)taken;
        memmove(received, received + taken, have);
    }
}
