#include "base/descriptor.h"
#include "wire.h"

#include "agent_fixture.h"

#include <sys/socket.h>

namespace {

using namespace qx::test;
using qxplix::send_command;

class Wire : public ::testing::Test {
protected:
    TestBroker broker;
};

TEST_F(Wire, WhateverTheBrokerAnswers) {
    const std::string big(5'000'000, 'x');
    const std::string deep = std::string(100'000, '[');
    const struct {
        const char* what;
        Reply reply;
        int result;
        std::string data;
    } cases[] = {
        {"success", {framed(R"({"status": 0})")}, 0, "(none)"},
        {"an object", {framed(R"({"data":{"a":[2.5]},"status":0})")}, 0, R"({"a": [2.5]})"},
        {"a text", {framed(R"({"status": 0, "data": "x"})")}, 0, R"("x")"},
        {"a null", {framed(R"({"status": 0, "data": null})")}, 0, "null"},
        {"byte by byte", {framed(R"({"status": 0, "data": 1})"), false, true}, 0, "1"},
        {"5 MB", {framed(R"({"status": 0, "data": ")" + big + "\"}")}, 0, '"' + big + '"'},
        {"something behind", {framed(success("1")) + "surplus", true}, 0, "1"},
        {"failure", {framed(R"({"status": 1})")}, -1, "(none)"},
        {"details", {framed(R"({"status": -5, "data": {"code": 2}})")}, -1, R"({"code": 2})"},
        {"2 to the 32nd", {framed(R"({"status": 4294967296})")}, 0, "(none)"},
        {"a text as status", {framed(R"({"status": "1"})")}, 0, "(none)"},
        {"a real as status", {framed(R"({"status": 1.5})")}, 0, "(none)"},
        {"null as status", {framed(R"({"status": null})")}, 0, "(none)"},
        {"an object as status", {framed(R"({"status": {"status": 1}})")}, 0, "(none)"},
        {"no status", {framed(R"({"data": 7})")}, -1, "7"},
        {"an array", {framed("[0]")}, -1, "(none)"},
        {"a bare number", {framed("0")}, -1, "(none)"},
        {"not JSON", {framed("status 0")}, -1, "(none)"},
        {"too deep", {framed(deep)}, -1, "(none)"},
        {"not UTF-8", {framed("{\"status\": 0, \"data\": \"\xff\"}")}, -1, "(none)"},
        {"a zero byte", {framed(std::string("{\"status\"\0: 0}", 14))}, -1, "(none)"},
        {"nothing", {"", true}, -1, "(none)"},
        {"half a length", {"\x04", true}, -1, "(none)"},
        {"half a body", {framed(R"({"status": 0})").substr(0, 16), true}, -1, "(none)"},
        {"length 0", {std::string(4, '\0')}, -1, "(none)"},
    };
    for (const auto& c : cases) {
        broker.reply("x", c.reply);
        Text data;
        EXPECT_EQ(send_command("x", json_null(), data.out()), c.result) << c.what;
        EXPECT_TRUE(data.str() == c.data) << c.what << ": " << data.str().substr(0, 100);
        EXPECT_EQ(send_command("x", json_null(), nullptr), c.result) << c.what;
    }
    broker.wait_for_connections(0);
}

TEST_F(Wire, ABrokerThatIsGone) {
    broker.stop();
    const auto before = open_descriptors();
    EXPECT_EQ(send_command("x", nullptr, nullptr), -1);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(WireSocket, SendsMoreThanTheSocketHoldsAndRaisesNoSignal) {
    ::signal(SIGPIPE, SIG_DFL);
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const qx::io::descriptor mine(ends[0]);
    const std::string sent(3'000'000, 'x');
    std::string received(sent.size(), '\0');
    std::thread reader([&] {
        EXPECT_EQ(qxplix::recv_sync(ends[1], received.data(), received.size()), 0);
        ::close(ends[1]);
    });
    EXPECT_EQ(qxplix::send_sync(mine.get(), sent.data(), sent.size()), 0);
    reader.join();
    EXPECT_TRUE(received == sent);
    EXPECT_EQ(qxplix::send_request(mine.get(), "command", "x", nullptr), -1);
    EXPECT_EQ(qxplix::recv_sync(mine.get(), received.data(), 0), -1);
}

} // namespace
