#include "event_queue.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace qxplix {

struct event_chunk {
    std::size_t used;
    std::size_t nodes;
    alignas(event_node) char bytes[std::size_t{256} * 1024];
};

namespace {

// A longer message stays where it is.
constexpr std::size_t kLongest = std::size_t{64} * 1024;

// An empty chunk is used again unless more of it than this has been.
constexpr std::size_t kKept = kLongest;

char* text_behind(event_node* node) {
    return reinterpret_cast<char*>(node + 1);
}

void* take_room(event_chunk*& chunk, std::size_t size) {
    if (chunk == nullptr || sizeof chunk->bytes - chunk->used < size) {
        auto* const fresh = static_cast<event_chunk*>(std::malloc(sizeof(event_chunk)));
        if (fresh == nullptr) {
            return nullptr;
        }
        fresh->used = 0;
        fresh->nodes = 0;
        chunk = fresh;
    }
    void* const room = chunk->bytes + chunk->used;
    constexpr std::size_t grain = alignof(event_node);
    chunk->used += (size + grain - 1) / grain * grain;
    ++chunk->nodes;
    return room;
}

} // namespace

int event_queue_create(event_queue* queue) {
    if (queue->guard.create() != 0) {
        return -1;
    }
    const mutex_guard lock(queue->guard);
    queue->head = nullptr;
    queue->tail = nullptr;
    queue->chunk = nullptr;
    return 0;
}

event_node* event_node_create(char* message, std::size_t size, event_queue* queue) {
    const std::size_t length = std::strlen(message) + 1;
    const bool moves = length <= kLongest;
    const mutex_guard lock(queue->guard);
    void* const room = take_room(queue->chunk, sizeof(event_node) + (moves ? length : 0));
    if (room == nullptr) {
        std::free(message);
        return nullptr;
    }
    auto* const node =
        new (room) event_node{message, nullptr, queue->chunk, sizeof(event_node) + size};
    if (moves) {
        node->size = sizeof(event_node) + length;
        node->message = static_cast<char*>(std::memcpy(text_behind(node), message, length));
        std::free(message);
    }
    return node;
}

void event_node_destroy(event_node* node, event_queue* queue) {
    if (node->message != text_behind(node)) {
        std::free(node->message);
    }
    event_chunk* const chunk = node->chunk;
    const mutex_guard lock(queue->guard);
    if (--chunk->nodes > 0) {
        return;
    }
    if (chunk == queue->chunk && chunk->used <= kKept) {
        chunk->used = 0;
        return;
    }
    if (chunk == queue->chunk) {
        queue->chunk = nullptr;
    }
    std::free(chunk);
}

void event_queue_enqueue(event_node* node, event_queue* queue) {
    const mutex_guard lock(queue->guard);
    if (queue->head == nullptr) {
        queue->head = node;
    } else {
        queue->tail->next = node;
    }
    queue->tail = node;
}

event_node* event_queue_dequeue(event_queue* queue) {
    const mutex_guard lock(queue->guard);
    event_node* const node = queue->head;
    if (node == nullptr) {
        return nullptr;
    }
    queue->head = node->next;
    if (queue->tail == node) {
        queue->tail = nullptr;
    }
    return node;
}

std::size_t event_queue_count(event_queue* queue, std::size_t size) {
    const mutex_guard lock(queue->guard);
    std::size_t count = 0;
    std::size_t counted = 0;
    for (const event_node* node = queue->head; node != nullptr && counted < size;
         node = node->next) {
        counted += std::strlen(node->message) + 1;
        ++count;
    }
    return count;
}

void event_queue_destroy(event_queue* queue) {
    while (event_node* const node = event_queue_dequeue(queue)) {
        event_node_destroy(node, queue);
    }
    {
        const mutex_guard lock(queue->guard);
        std::free(queue->chunk);
    }
    queue->guard.destroy();
}

} // namespace qxplix
