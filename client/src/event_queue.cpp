#include "event_queue.h"

#include <cstdlib>

namespace qxplix {

int event_queue_create(event_queue* queue) {
    if (queue->guard.create() != 0) {
        return -1;
    }
    const mutex_guard lock(queue->guard);
    queue->head = nullptr;
    queue->tail = nullptr;
    return 0;
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

void event_queue_destroy(event_queue* queue) {
    while (event_node* const node = event_queue_dequeue(queue)) {
        std::free(node->message);
        std::free(node);
    }
    queue->guard.destroy();
}

} // namespace qxplix
