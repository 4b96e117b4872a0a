#include "wire.h"

#include "agent_fixture.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <sys/socket.h>

namespace {

using qx::test::framed;
using qx::test::Reply;
using qx::test::Text;
using qxplix::json_handle;
using qxplix::send_command;

class Wire : public ::testing::Test {
protected:
    qx::test::TestBroker broker;
};

TEST_F(Wire, ARequestIsOneLineWithMembersInOrder) {
    const json_handle data(json_pack("{s:[i,n],s:s}", "b", 1, "a", "\xc3\xa4\n"));
    EXPECT_EQ(send_command("enable_services", json_null(), nullptr), 0);
    EXPECT_EQ(send_command("list_all_features", nullptr, nullptr), 0);
    EXPECT_EQ(send_command("x", data.get(), nullptr), 0);
    EXPECT_EQ(broker.requests(),
              (std::vector<std::string>{
                  "{\"type\": \"command\", \"name\": \"enable_services\", \"data\": null}\n",
                  "{\"type\": \"command\", \"name\": \"list_all_features\"}\n",
                  "{\"type\": \"command\", \"name\": \"x\", \"data\": {\"b\": [1, null], "
                  "\"a\": \"\xc3\xa4\\n\"}}\n"}));
    EXPECT_EQ(data->refcount, 1U);
    EXPECT_EQ(send_command("\xff", nullptr, nullptr), -1);
    EXPECT_EQ(broker.requests().size(), 3U);
    broker.wait_for_connections(0);
}

std::string length_only(std::int32_t length) {
    std::string bytes(4, '\0');
    std::memcpy(bytes.data(), &length, 4);
    return bytes;
}

TEST_F(Wire, WhateverTheBrokerAnswers) {
    const std::string big(5'000'000, 'x');
    const std::string deep = std::string(100'000, '[');
    struct Case {
        const char* what;
        Reply reply;
        int result;
        std::string data;
    };
    const std::vector<Case> cases = {
        {"success", {framed(R"({"status": 0})")}, 0, "(none)"},
        {"an object", {framed(R"({"data":{"a":[2.5]},"status":0})")}, 0, R"({"a": [2.5]})"},
        {"a text", {framed(R"({"status": 0, "data": "x"})")}, 0, R"("x")"},
        {"a null", {framed(R"({"status": 0, "data": null})")}, 0, "null"},
        {"byte by byte", {framed(R"({"status": 0, "data": 1})"), false, true}, 0, "1"},
        {"5 MB", {framed(R"({"status": 0, "data": ")" + big + "\"}")}, 0, '"' + big + '"'},
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
        {"length 0", {length_only(0)}, -1, "(none)"},
        {"length -1", {length_only(-1)}, -1, "(none)"},
        {"least length", {length_only(INT32_MIN)}, -1, "(none)"},
        {"greatest length", {length_only(INT32_MAX)}, -1, "(none)"},
        {"just too long", {length_only(64 * 1024 * 1024 + 1)}, -1, "(none)"},
    };
    for (const Case& c : cases) {
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
    const auto before = qx::test::open_descriptors();
    EXPECT_EQ(send_command("x", nullptr, nullptr), -1);
    EXPECT_EQ(qx::test::open_descriptors(), before);
}

TEST(WireSocket, APeerThatHasGoneRaisesNoSignal) {
    ::signal(SIGPIPE, SIG_DFL);
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const qxplix::fd_handle mine(ends[0]);
    ::close(ends[1]);
    EXPECT_EQ(qxplix::send_request(mine.get(), "command", "x", nullptr), -1);
    char byte = 0;
    EXPECT_EQ(qxplix::recv_sync(mine.get(), &byte, 0), -1);
}

TEST(WireSocket, SendsMoreThanTheSocketHolds) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const qxplix::fd_handle mine(ends[0]);
    const qxplix::fd_handle theirs(ends[1]);
    const std::string sent(3'000'000, 'x');
    std::string received(sent.size(), '\0');
    std::thread reader(
        [&] { EXPECT_EQ(qxplix::recv_sync(theirs.get(), received.data(), received.size()), 0); });
    EXPECT_EQ(qxplix::send_sync(mine.get(), sent.data(), sent.size()), 0);
    reader.join();
    EXPECT_TRUE(received == sent);
}

} // namespace
