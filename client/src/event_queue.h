// Messages that wait for their subscriber, first in, first out.
#pragma once

#include "mutex.h"

namespace qxplix {

struct event_node {
    char* message; ///< from malloc; goes to whoever dequeues the node
    event_node* next;
};

struct event_queue {
    event_node* head QX_GUARDED_BY(guard);
    event_node* tail QX_GUARDED_BY(guard);
    mutex guard{mutex::later{}};
};

/// An empty queue. 0, or -1 when the mutex cannot be made.
int event_queue_create(event_queue* queue);

/// Appends a node from malloc, whose next link is null. The queue owns it.
void event_queue_enqueue(event_node* node, event_queue* queue);

/// The oldest node, which the caller frees; null when there is none.
event_node* event_queue_dequeue(event_queue* queue);

/// Frees what still waits. No other thread may use the queue any more.
void event_queue_destroy(event_queue* queue);

} // namespace qxplix
