// The FIFO queue of messages that wait for their subscriber.
#pragma once

#include <cstddef>

namespace qxplix {

struct event_chunk;

struct event_node {
    char* message;
    std::size_t length; ///< of the message, in bytes, including the terminator
    event_node* next;
    event_chunk* chunk; ///< the chunk that holds the node

    [[nodiscard]] std::size_t size() const { return sizeof(event_node) + length; }
};

/// A queue may hold tens of thousands of small nodes, freed roughly in the order of allocation. The
/// queue therefore allocates nodes from large chunks, and frees or reuses a chunk when its last
/// node is freed. A zero-initialised queue is empty. The registrar's lock guards every use.
struct event_queue {
    event_node* head;
    event_node* tail;
    event_chunk* chunk; ///< the chunk from which new nodes are allocated, or null
};

/// Appends `message`, which comes from malloc(). `length` is its size in bytes, including the
/// terminator. Takes ownership of the message even on failure. Returns the node, or null if memory
/// runs out.
const event_node* event_queue_enqueue(event_queue& queue, char* message, std::size_t length);

/// Removes the oldest node. Returns the node, which the caller frees with event_node_destroy, or
/// null if the queue is empty.
event_node* event_queue_dequeue(event_queue& queue);

/// Frees a dequeued node of `queue` together with its message.
void event_node_destroy(event_node* node, event_queue& queue);

/// Returns how many of the oldest messages are needed to reach `most` bytes, terminators included.
/// If all messages together are smaller, returns the number of all messages.
std::size_t event_queue_count(const event_queue& queue, std::size_t most);

/// Frees all nodes and chunks. Zero-initialise the queue before using it again.
void event_queue_destroy(event_queue& queue);

} // namespace qxplix
