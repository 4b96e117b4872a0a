// A broker that does almost no work, so a measurement shows the time of the client. Creates and
// locks DIR/var/run/qxbrokerd.version, listens, and prints "ready". Prints "subscribed" for every
// subscription. The line "burst COUNT SIZE" on standard input sends COUNT events of SIZE bytes to
// every subscriber. Ends at EOF on standard input.
// usage: fast_broker DIR
#define _GNU_SOURCE
#include "base/install.h"
#include "base/protocol.h"
#include "event_text.h"

#include <errno.h>
#include <fcntl.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <unistd.h>

static const char kAccepted[] = "{\"status\": 0}";
static const char kAnswer[] =
    "{\"status\": 0, \"data\": {\"agent\": \"4.2.1\", \"broker\": \"1.3\", "
    "\"engine\": \"7.90.1\", \"signatures\": \"20240107\"}}";

enum {
    kBacklog = 64,
    kEvents = 64,
    kClients = 32,
    kRequest = 4096,   // the longest request
    kOut = 256 * 1024, // size of the output buffer
};

struct client {
    bool connected;
    bool subscribed;
    int fd;
    size_t have;   // bytes received of the request
    uint32_t sent; // events of the burst that were put into `out` so far
    size_t out_at;
    size_t out_end;
    char request[kRequest];
    char out[kOut];
};

struct broker {
    int epoll;
    int listener;
    struct event_template events;
    uint32_t burst;
    struct client clients[kClients];
};

static void fail(const char* what) {
    perror(what);
    exit(1);
}

// --- the agent's files ---------------------------------------------------------------------------

static void make_directory(const char* directory, const char* below) {
    char name[4096];
    snprintf(name, sizeof name, "%s%s", directory, below);
    if (mkdir(name, 0755) != 0 && errno != EEXIST) {
        fail(name);
    }
}

// Leaves the descriptor open: closing it would release the lock.
static void lock_version_file(const char* directory) {
    make_directory(directory, "/var");
    make_directory(directory, "/var/run");
    char name[4096];
    snprintf(name, sizeof name, "%s" QX_VERSION_FILE, directory);
    const struct flock lock = {.l_type = F_WRLCK, .l_whence = SEEK_SET};
    const int fd = open(name, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const ssize_t size = sizeof QX_PROTOCOL_VERSION - 1;
    if (fd < 0 || fcntl(fd, F_SETLK, &lock) != 0 ||
        write(fd, QX_PROTOCOL_VERSION, (size_t)size) != size) {
        fail(name);
    }
}

// --- clients -------------------------------------------------------------------------------------

static void watch(const struct broker* broker, int fd, uint32_t events, void* what) {
    struct epoll_event event = {.events = events, .data.ptr = what};
    if (epoll_ctl(broker->epoll, EPOLL_CTL_ADD, fd, &event) != 0) {
        fail("epoll_ctl");
    }
}

static struct client* free_client(struct broker* broker) {
    for (struct client* client = broker->clients; client < broker->clients + kClients; ++client) {
        if (!client->connected) {
            return client;
        }
    }
    return NULL;
}

static void drop(struct client* client) {
    close(client->fd);
    client->connected = false;
}

static void accept_all(struct broker* broker) {
    for (;;) {
        const int fd = accept4(broker->listener, NULL, NULL, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0) {
            return;
        }
        struct client* const client = free_client(broker);
        if (client == NULL) {
            fprintf(stderr, "fast_broker: too many clients\n");
            exit(1);
        }
        client->connected = true;
        client->subscribed = false;
        client->fd = fd;
        client->have = 0;
        watch(broker, fd, EPOLLIN | EPOLLOUT | EPOLLET, client);
    }
}

static size_t put_frame(char* out, const char* text, size_t length) {
    const int32_t header = (int32_t)length;
    memcpy(out, &header, sizeof header);
    memcpy(out + sizeof header, text, length);
    return sizeof header + length;
}

static bool answer(const struct client* client, const char* text) {
    char frame[1024];
    const size_t size = put_frame(frame, text, strlen(text));
    return send(client->fd, frame, size, MSG_NOSIGNAL) == (ssize_t)size;
}

static bool make_frames(const struct broker* broker, struct client* client) {
    const int32_t size = (int32_t)broker->events.size;
    const size_t frame = sizeof size + broker->events.size;
    client->out_at = 0;
    client->out_end = 0;
    while (client->sent < broker->burst && client->out_end + frame <= kOut) {
        char* const out = client->out + client->out_end;
        memcpy(out, &size, sizeof size);
        event_write(&broker->events, client->sent++, out + sizeof size);
        client->out_end += frame;
    }
    return client->out_end > 0;
}

// Sends the burst until the socket buffer is full; the caller continues when epoll reports room.
// Returns false if the client has closed the connection.
static bool send_burst(const struct broker* broker, struct client* client) {
    while (client->out_at < client->out_end || make_frames(broker, client)) {
        const ssize_t sent = send(client->fd, client->out + client->out_at,
                                  client->out_end - client->out_at, MSG_NOSIGNAL);
        if (sent < 0) {
            return errno == EAGAIN;
        }
        client->out_at += (size_t)sent;
    }
    return true;
}

static bool subscribe(const struct broker* broker, struct client* client) {
    if (!answer(client, kAccepted)) {
        return false;
    }
    client->subscribed = true;
    client->sent = broker->burst; // skip an earlier burst
    client->out_at = 0;
    client->out_end = 0;
    puts("subscribed");
    return true;
}

// Answers the requests that have arrived. Returns false if the client must be dropped.
static bool read_request(const struct broker* broker, struct client* client) {
    for (;;) {
        char* const end = client->request + client->have;
        const ssize_t got = recv(client->fd, end, sizeof client->request - 1 - client->have, 0);
        if (got < 0) {
            return errno == EAGAIN;
        }
        if (got == 0) {
            return false;
        }
        client->have += (size_t)got;
        client->request[client->have] = '\0';
        if (client->request[client->have - 1] != '\n') {
            continue;
        }
        client->have = 0;
        const bool wants_events = strstr(client->request, "\"type\": \"subscribe\"") != NULL;
        if (!(wants_events ? subscribe(broker, client) : answer(client, kAnswer))) {
            return false;
        }
    }
}

// --- the console ---------------------------------------------------------------------------------

static void start_burst(struct broker* broker, uint32_t count, size_t size) {
    free(broker->events.text);
    broker->events = event_template_make(size);
    if (broker->events.text == NULL || size + sizeof(int32_t) > kOut) {
        fprintf(stderr, "fast_broker: cannot make events of %zu bytes\n", size);
        exit(1);
    }
    broker->burst = count;
    for (struct client* client = broker->clients; client < broker->clients + kClients; ++client) {
        if (client->connected && client->subscribed) {
            client->sent = 0;
            // Ignore a failure: epoll reports the closed connection, and handle() drops the client.
            send_burst(broker, client);
        }
    }
}

static void read_console(struct broker* broker) {
    char line[128];
    const ssize_t got = read(STDIN_FILENO, line, sizeof line - 1);
    if (got <= 0) {
        exit(0);
    }
    line[got] = '\0';
    char* end = NULL;
    const char word[] = "burst ";
    const unsigned long count =
        strncmp(line, word, sizeof word - 1) == 0 ? strtoul(line + sizeof word - 1, &end, 10) : 0;
    const unsigned long size = end != NULL ? strtoul(end, NULL, 10) : 0;
    if (count == 0 || count > UINT32_MAX || size == 0) {
        fprintf(stderr, "fast_broker: invalid line: %s", line);
        exit(1);
    }
    start_burst(broker, (uint32_t)count, size);
}

// --- the loop ------------------------------------------------------------------------------------

static void open_listener(struct broker* broker) {
    struct sockaddr_un address;
    const socklen_t length = qx_broker_address(&address);
    broker->listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (bind(broker->listener, (const struct sockaddr*)&address, length) != 0 ||
        listen(broker->listener, kBacklog) != 0) {
        fail("listen");
    }
}

static void handle(struct broker* broker, const struct epoll_event* event) {
    if (event->data.ptr == &broker->listener) {
        accept_all(broker);
    } else if (event->data.ptr == broker) {
        read_console(broker);
    } else {
        struct client* const client = event->data.ptr;
        if (!read_request(broker, client) || (client->subscribed && !send_burst(broker, client))) {
            drop(client);
        }
    }
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: fast_broker DIR\n");
        return 1;
    }
    static struct broker broker;
    setvbuf(stdout, NULL, _IOLBF, BUFSIZ);
    broker.epoll = epoll_create1(EPOLL_CLOEXEC);
    lock_version_file(argv[1]);
    open_listener(&broker);
    watch(&broker, broker.listener, EPOLLIN, &broker.listener);
    watch(&broker, STDIN_FILENO, EPOLLIN, &broker);
    puts("ready");
    for (;;) {
        struct epoll_event events[kEvents];
        const int count = epoll_wait(broker.epoll, events, kEvents, -1);
        for (int i = 0; i < count; ++i) {
            handle(&broker, &events[i]);
        }
    }
}
