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

// A longer message keeps its own block instead of being copied into the chunk.
constexpr std::size_t kLongest = std::size_t{64} * 1024;

// A drained chunk is reused if at most this many of its bytes were used; otherwise it is freed.
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

const event_node* event_queue_enqueue(event_queue& queue, char* message, std::size_t length) {
    const bool moves = length <= kLongest;
    void* const room = take_room(queue.chunk, sizeof(event_node) + (moves ? length : 0));
    if (room == nullptr) {
        std::free(message);
        return nullptr;
    }
    auto* const node = new (room) event_node{message, length, nullptr, queue.chunk};
    if (moves) {
        node->message = static_cast<char*>(std::memcpy(text_behind(node), message, length));
        std::free(message);
    }
    (queue.head == nullptr ? queue.head : queue.tail->next) = node;
    queue.tail = node;
    return node;
}

event_node* event_queue_dequeue(event_queue& queue) {
    event_node* const node = queue.head;
    if (node != nullptr) {
        queue.head = node->next;
    }
    return node;
}

void event_node_destroy(event_node* node, event_queue& queue) {
    if (node->message != text_behind(node)) {
        std::free(node->message);
    }
    event_chunk* const chunk = node->chunk;
    if (--chunk->nodes > 0) {
        return;
    }
    if (chunk == queue.chunk && chunk->used <= kKept) {
        chunk->used = 0;
        return;
    }
    if (chunk == queue.chunk) {
        queue.chunk = nullptr;
    }
    std::free(chunk);
}

std::size_t event_queue_count(const event_queue& queue, std::size_t most) {
    std::size_t count = 0;
    std::size_t counted = 0;
    for (const event_node* node = queue.head; node != nullptr && counted < most;
         node = node->next) {
        counted += node->length;
        ++count;
    }
    return count;
}

void event_queue_destroy(event_queue& queue) {
    while (event_node* const node = event_queue_dequeue(queue)) {
        event_node_destroy(node, queue);
    }
    std::free(queue.chunk);
}

} // namespace qxplix
