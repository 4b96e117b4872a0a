// The FIFO queue of messages that wait for their subscriber.
#pragma once

#include <cstddef>

namespace qxplix {

struct event_chunk;

struct event_node {
    char* message;
    std::size_t length; ///< length of the message, including its terminator
    event_node* next;
    event_chunk* chunk; ///< the chunk that holds the node

    [[nodiscard]] std::size_t size() const { return sizeof(event_node) + length; }
};

/// A long queue has tens of thousands of small nodes, which are freed in about the order of their
/// allocation. They are allocated in large chunks; a chunk is freed with its last node. A
/// zero-initialised queue is empty. The registrar's lock guards every use.
struct event_queue {
    event_node* head;
    event_node* tail;
    event_chunk* chunk; ///< the chunk for the next node, or null
};

/// Appends a message from malloc; `length` includes its terminator. Takes ownership of the message
/// even on failure. Returns the node, or null if memory runs out.
const event_node* event_queue_enqueue(event_queue& queue, char* message, std::size_t length);

/// Removes and returns the oldest node, which the caller destroys, or null if the queue is empty.
event_node* event_queue_dequeue(event_queue& queue);

/// Frees a dequeued node of `queue` together with its message.
void event_node_destroy(event_node* node, event_queue& queue);

/// Returns how many of the oldest messages reach `most` bytes together, terminators included, or
/// the number of all messages if they have fewer bytes.
std::size_t event_queue_count(const event_queue& queue, std::size_t most);

/// Frees the queue with all its nodes.
void event_queue_destroy(event_queue& queue);

} // namespace qxplix
