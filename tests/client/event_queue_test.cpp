#include "event_queue.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using namespace qxplix;

void enqueue(event_queue& queue, const char* text) {
    auto* const node = static_cast<event_node*>(std::malloc(sizeof(event_node)));
    *node = {::strdup(text), nullptr};
    event_queue_enqueue(node, &queue);
}

std::string dequeue(event_queue& queue) {
    event_node* const node = event_queue_dequeue(&queue);
    if (node == nullptr) {
        return "(none)";
    }
    std::string text = node->message;
    std::free(node->message);
    std::free(node);
    return text;
}

void expect_empty(event_queue& queue) {
    EXPECT_EQ(dequeue(queue), "(none)");
    const mutex_guard lock(queue.guard);
    EXPECT_EQ(queue.head, nullptr);
    EXPECT_EQ(queue.tail, nullptr);
}

TEST(EventQueue, IsFirstInFirstOutAndFreesWhatIsLeft) {
    event_queue queue{};
    ASSERT_EQ(event_queue_create(&queue), 0);
    expect_empty(queue);
    for (int round = 0; round < 2; ++round) {
        enqueue(queue, "1");
        enqueue(queue, "2");
        EXPECT_EQ(dequeue(queue), "1");
        enqueue(queue, "3");
        EXPECT_EQ(dequeue(queue), "2");
        EXPECT_EQ(dequeue(queue), "3");
        expect_empty(queue);
    }
    enqueue(queue, "4");
    enqueue(queue, "5");
    event_queue_destroy(&queue);
}

} // namespace
