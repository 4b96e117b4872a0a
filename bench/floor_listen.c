// A minimal version of `qxagent-manage listen`. The measurements compare the tool's cost with the
// cost of this program. Receives events in pieces of up to 64 KiB, and parses and serialises each
// event once with jansson. Writes each line immediately. With the argument "collect", batches
// lines: writes 64 KiB at a time, and the rest before it blocks on input. Ends on a signal or when
// the broker closes the connection.
//
// usage: floor_listen [collect]
#include "broker_socket.h"

#include <errno.h>
#include <jansson.h>
#include <stdbool.h>
#include <stdint.h>
#include <unistd.h>

static const char kRequest[] = "{\"type\": \"subscribe\", \"name\": \"device_discovery\"}\n";
static const char kStart[] = "{\"event_name\": \"QX_PLIX_DEVICE_DISCOVERY\", \"data\": ";
static const char kEnd[] = "}\n";

enum { kHeader = sizeof(int32_t), kReceived = 64 * 1024, kPiece = 64 * 1024 };

struct output {
    bool collects;
    size_t size;
    char lines[2 * kPiece];
};

// Writes lines until at most `kept` bytes are left.
static bool write_lines(struct output* output, size_t kept) {
    while (output->size > kept) {
        const size_t size = output->size < kPiece ? output->size : kPiece;
        if (write(STDOUT_FILENO, output->lines, size) != (ssize_t)size) {
            return false;
        }
        output->size -= size;
        memmove(output->lines, output->lines + size, output->size);
    }
    return true;
}

static bool print_event(struct output* output, const char* text, size_t length) {
    json_t* const event = json_loadb(text, length, 0, NULL);
    if (event == NULL) {
        return false;
    }
    char* line = output->lines + output->size;
    memcpy(line, kStart, sizeof kStart - 1);
    line += sizeof kStart - 1;
    const size_t room = (size_t)(output->lines + sizeof output->lines - line) - sizeof kEnd;
    const size_t size = json_dumpb(event, line, room, 0);
    json_decref(event);
    if (size == 0 || size > room) {
        return false;
    }
    memcpy(line + size, kEnd, sizeof kEnd - 1);
    output->size += sizeof kStart - 1 + size + sizeof kEnd - 1;
    return write_lines(output, output->collects ? kPiece - 1 : 0);
}

// Prints the complete frames at the front of `bytes`. Skips the first frame of the connection,
// which is the reply to the request. Returns the number of consumed bytes, or -1 on failure.
static ssize_t take_frames(struct output* output, const char* bytes, size_t have, bool* answered) {
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
        if (*answered && !print_event(output, bytes + taken + kHeader, (size_t)length)) {
            return -1;
        }
        *answered = true;
        taken += kHeader + (size_t)length;
    }
    return (ssize_t)taken;
}

// Works like recv(), but writes the collected lines before it blocks.
static ssize_t receive(struct output* output, int fd, char* bytes, size_t size) {
    const ssize_t got = recv(fd, bytes, size, output->collects ? MSG_DONTWAIT : 0);
    if (got >= 0 || errno != EAGAIN) {
        return got;
    }
    return write_lines(output, 0) ? recv(fd, bytes, size, 0) : -1;
}

int main(int argc, char** argv) {
    static char received[kReceived];
    static struct output output;
    output.collects = argc == 2 && strcmp(argv[1], "collect") == 0;
    size_t have = 0;
    bool answered = false;
    const int fd = connect_to_broker();
    if (fd < 0 || send(fd, kRequest, sizeof kRequest - 1, MSG_NOSIGNAL) < 0) {
        return 1;
    }
    for (;;) {
        const ssize_t got = receive(&output, fd, received + have, sizeof received - have);
        if (got <= 0) {
            return 1;
        }
        have += (size_t)got;
        const ssize_t taken = take_frames(&output, received, have, &answered);
        if (taken < 0) {
            return 1;
        }
        have -= (size_t)taken;
        memmove(received, received + taken, have);
    }
}
