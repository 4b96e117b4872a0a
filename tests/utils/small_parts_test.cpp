#include "base/descriptor.h"
#include "base/epoll.h"
#include "qx/json.h"
#include "qx/scope_guard.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <unistd.h>

namespace {

using qx::io::descriptor;

TEST(EpollSetFd, AddsADescriptorThenChangesItsEvents) {
    const descriptor set(::epoll_create1(EPOLL_CLOEXEC));
    int ends[2] = {-1, -1};
    ASSERT_EQ(::pipe(ends), 0);
    const descriptor read_end(ends[0]);
    const descriptor write_end(ends[1]);
    epoll_event ready{};
    EXPECT_EQ(qx::io::epoll_set_fd(set.get(), ends[1], EPOLLOUT), 0);
    ASSERT_EQ(::epoll_wait(set.get(), &ready, 1, 0), 1);
    EXPECT_EQ(ready.data.fd, ends[1]);
    EXPECT_EQ(qx::io::epoll_set_fd(set.get(), ends[1], EPOLLIN), 0);
    EXPECT_EQ(::epoll_wait(set.get(), &ready, 1, 0), 0);
    EXPECT_EQ(qx::io::epoll_set_fd(set.get(), -1, EPOLLIN), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(ScopeGuards, RunInReverseOrderEvenWhenOneThrows) {
    std::string order;
    const auto leave = [&] {
        const qx::scope_guard first([&] { order += "1"; });
        const qx::scope_guard second([&] {
            order += "2";
            throw std::runtime_error("of the guard");
        });
        throw std::logic_error("of the scope");
    };
    EXPECT_THROW(leave(), std::logic_error);
    EXPECT_EQ(order, "21");
}

TEST(JsonArrayAppend, TakesOwnershipOfTheValue) {
    const qx::json_ptr array(::json_array());
    json_t* const text = ::json_string("a");
    const qx::json_ptr kept(::json_incref(text));
    EXPECT_TRUE(qx::json_array_append_value(array.get(), qx::json_ptr(text)));
    EXPECT_EQ(::json_array_get(array.get(), 0), text);
    EXPECT_FALSE(qx::json_array_append_value(array.get(), qx::json_ptr(::json_string("\xff"))));
    EXPECT_FALSE(qx::json_array_append_value(kept.get(), qx::json_ptr(::json_true())));
}

} // namespace
