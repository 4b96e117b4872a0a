// A minimal request, the reference for the cost of the tool: asks the broker for its version and
// prints the data of the reply without parsing it. Works only with fast_broker.
#include "broker_socket.h"

#include <stdint.h>
#include <unistd.h>

static const char kRequest[] =
    "{\"type\": \"command\", \"name\": \"get_version_info\", \"data\": null}\n";
static const char kAnswerStart[] = "{\"status\": 0, \"data\": ";

enum { kHeader = sizeof(int32_t), kLargest = 4096 };

// Receives one whole frame. Returns the length of its text, or 0 on failure.
static size_t receive_frame(int fd, char* frame) {
    size_t have = 0;
    int32_t length = 0;
    do {
        const ssize_t got = recv(fd, frame + have, kLargest - have, 0);
        if (got <= 0) {
            return 0;
        }
        have += (size_t)got;
        if (have >= kHeader) {
            memcpy(&length, frame, kHeader);
        }
    } while (have < kHeader || have - kHeader < (size_t)length);
    return (size_t)length;
}

int main(void) {
    char frame[kLargest];
    const int fd = connect_to_broker();
    if (fd < 0 || send(fd, kRequest, sizeof kRequest - 1, MSG_NOSIGNAL) < 0) {
        return 1;
    }
    const size_t length = receive_frame(fd, frame);
    const size_t start = sizeof kAnswerStart - 1;
    if (length <= start || memcmp(frame + kHeader, kAnswerStart, start) != 0) {
        return 1;
    }
    // Replace the closing brace of the reply with a line feed.
    frame[kHeader + length - 1] = '\n';
    const size_t size = length - start;
    return write(STDOUT_FILENO, frame + kHeader + start, size) == (ssize_t)size ? 0 : 1;
}
