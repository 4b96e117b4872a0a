// Messages that wait for their subscriber, first in, first out.
#pragma once

#include "mutex.h"

#include <cstddef>

namespace qxplix {

struct event_chunk;

struct event_node {
    char* message;
    event_node* next;
    event_chunk* chunk; ///< where the node lies
    std::size_t size;   ///< bytes of memory that node and message take
};

/// A queue that gets long is tens of thousands of small blocks, which come and go in about the same
/// order. They lie side by side in chunks, each of which goes with the last of them.
struct event_queue {
    event_node* head QX_GUARDED_BY(guard);
    event_node* tail QX_GUARDED_BY(guard);
    mutex guard{mutex::later{}};
    event_chunk* chunk QX_GUARDED_BY(guard); ///< where the next node is going to lie, or null
};

/// An empty queue. 0, or -1 when the mutex cannot be made.
int event_queue_create(event_queue* queue);

/// Creates a node of this queue for a message of `size` bytes from malloc, and takes ownership of
/// the message even on failure. Returns null when memory is short.
event_node* event_node_create(char* message, std::size_t size, event_queue* queue);

/// Frees a node, that is in no queue any more, with its message.
void event_node_destroy(event_node* node, event_queue* queue);

/// Appends a node, whose next link is null. The queue owns it.
void event_queue_enqueue(event_node* node, event_queue* queue);

/// The oldest node, which the caller destroys; null when there is none.
event_node* event_queue_dequeue(event_queue* queue);

/// Counts how many of the oldest messages it takes to reach `size` bytes of text. Counts all of
/// them when they have less.
std::size_t event_queue_count(event_queue* queue, std::size_t size);

/// Frees what still waits. No other thread may use the queue any more.
void event_queue_destroy(event_queue* queue);

} // namespace qxplix
