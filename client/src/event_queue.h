// Messages that wait for their subscriber, first in, first out.
#pragma once

#include <cstddef>

namespace qxplix {

struct event_chunk;

struct event_node {
    char* message;
    std::size_t length; ///< of the message, with its terminator
    event_node* next;
    event_chunk* chunk; ///< where the node lies

    [[nodiscard]] std::size_t size() const { return sizeof(event_node) + length; }
};

/// A long queue is tens of thousands of small blocks, allocated and freed in about the same order.
/// They lie side by side in chunks; a chunk is freed with the last of its nodes. Zero-initialised,
/// a queue is empty. The registrar's lock guards every use.
struct event_queue {
    event_node* head;
    event_node* tail;
    event_chunk* chunk; ///< where the next node is going to lie, or null
};

/// Appends a message of `length` bytes, with its terminator, from malloc. Takes ownership of the
/// message even on failure. Returns the node, or null when memory is short.
const event_node* event_queue_enqueue(event_queue& queue, char* message, std::size_t length);

/// The oldest node, which the caller destroys; null when there is none.
event_node* event_queue_dequeue(event_queue& queue);

/// Frees a dequeued node of this queue with its message.
void event_node_destroy(event_node* node, event_queue& queue);

/// Counts how many of the oldest messages it takes to reach `most` bytes, terminators included.
/// Counts all of them when they have less.
std::size_t event_queue_count(const event_queue& queue, std::size_t most);

/// Frees what still waits.
void event_queue_destroy(event_queue& queue);

} // namespace qxplix
