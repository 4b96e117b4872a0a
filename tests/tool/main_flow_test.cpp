// Starting, stopping and what is said when either cannot be.

#include "agent.h"
#include "sanitized.h"

#include <gmock/gmock.h>

#include <csignal>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using namespace qx::test;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

struct MainFlow : Agent {};

void expect(const Outcome& outcome, int status, std::string_view out, std::string_view err) {
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, err);
}

TEST(Usage, IsPrintedWithoutAnyAgent) {
    const Outcome help = run_tool({"help"});
    expect(help, 0, help.out, "(ok) no error\n");
    EXPECT_THAT(help.out, StartsWith("usage: qxagent-manage OPERATION [OPTION]...\n"));
    const Outcome surplus = run_tool({"help", "me"});
    expect(surplus, 0, help.out, "(surplus word) help takes no further word: 'me'\n");
    const Outcome none = run_tool({});
    expect(none, 1, help.out, "(missing operation) no operation given\n");
    expect(run_tool({"set_router_info", "--modle=x"}), 1, help.out,
           "(unknown option) set_router_info has no option '--modle'; did you mean '--model'?\n");
    EXPECT_FALSE(fs::exists(kInstallDir));
}

TEST(Start, SaysWhyThereIsNoBroker) {
    expect(run_tool({"is_enabled"}), 1, "", "");
    fs::create_directories(kInstallDir);
    expect(run_tool({"is_enabled"}), 1, "",
           "Daemon is down or you are running an older version of it\n");
    write_file(kInstallDir / "var/run/qxbrokerd.version", "1.3");
    expect(run_tool({"is_enabled"}), 1, "", "Daemon is down or you need to try again later\n");
    {
        const LockedVersionFile other(kInstallDir, "1.2");
        expect(run_tool({"is_enabled"}), 1, "",
               "Wrong Protocol Version: Daemon=(1.2) vs Client=(1.3)\n");
    }
    const LockedVersionFile right(kInstallDir);
    expect(run_tool({"is_enabled"}), 1, "", "");
}

TEST_F(MainFlow, NamesWhatItCannotStartWithAndLeavesItAlone) {
    fs::create_directories(log_file());
    expect(run_tool({"is_enabled"}), 1, "", "Cannot start qxlog\n");
    EXPECT_THAT(broker.requests(), IsEmpty());
    fs::remove(log_file());
    write_file(settings_file(), "{\"/a\": 1}");
    const Outcome outcome = run_tool({"set_quillet_location", "staging"});
    expect(outcome, 1, "", outcome.err);
    EXPECT_THAT(outcome.err, HasSubstr(settings_file().string()));
    EXPECT_EQ(read_file(settings_file()), "{\"/a\": 1}");
    EXPECT_THAT(log_text(), AllOf(StartsWith("ERROR "), HasSubstr(settings_file().string())));
}

TEST_F(MainFlow, SaysWhenItsOutputIsLost) {
    broker.answer("get_version_info", R"({"status":0,"data":{}})");
    const auto in_shell = [](const std::string& redirection) {
        return run({"sh", "-c", std::string(QX_TOOL) + " get_version_info " + redirection});
    };
    expect(in_shell(">/dev/full"), 1, "", "standard output: write error\n");
    // A closed descriptor must not be taken by the log or a socket, which would then get the
    // output.
    expect(in_shell(">&-"), 1, "", "standard output: write error\n");
    expect(in_shell("<&- >&- 2>&-"), 1, "", "");
    EXPECT_EQ(read_file(log_file()), "");
}

TEST_F(MainFlow, LaysOutResultsForATerminal) {
    broker.answer("get_version_info", R"({"status":0,"data":{"a":[1]}})");
    broker.answer("va_status", R"({"status":0,"data":{"status":1}})");
    const auto on_terminal = [](const char* operation) {
        int terminal = -1;
        const pid_t pid = ::forkpty(&terminal, nullptr, nullptr, nullptr);
        if (pid == 0) {
            ::execl(QX_TOOL, QX_TOOL, operation, nullptr);
            ::_exit(127);
        }
        std::string text;
        char bytes[4096];
        for (ssize_t got = 0; (got = ::read(terminal, bytes, sizeof bytes)) > 0;) {
            text.append(bytes, static_cast<std::size_t>(got));
        }
        ::close(terminal);
        ::waitpid(pid, nullptr, 0);
        return text;
    };
    EXPECT_EQ(on_terminal("get_version_info"), "{\r\n    \"a\": [\r\n        1\r\n    ]\r\n}\r\n");
    EXPECT_EQ(on_terminal("va_status"), "VA_scan_running: true\r\n");
}

TEST_F(MainFlow, TakesWhateverAHostileBrokerSends) {
    const std::string valid = framed(R"({"status": 0, "data": {"v": 1}})");
    // Lengths that lie, frames that are cut and texts of another kind: tests of misbehaviour.
    const std::pair<Reply, std::string> cases[] = {
        {{framed("{\"status\": 4294967296, \"data\": {}}")}, "{}\n"},
        {{framed("{\"status\": \"bad\", \"data\": {}}")}, "{}\n"},
        {{framed("{\"status\": 0, \"data\": null}")}, ""},
        {{valid + "surplus", true}, "{\"v\": 1}\n"},
        {{valid, false, true}, "{\"v\": 1}\n"},
    };
    for (const auto& [reply, out] : cases) {
        SCOPED_TRACE(::testing::PrintToString(reply.bytes));
        broker.reply("get_version_info", reply);
        expect(run_tool({"get_version_info"}), 0, out, "");
    }
    const std::string large(5'000'000, 'x');
    broker.answer("get_version_info", "{\"status\": 0, \"data\": [\"" + large + "\"]}");
    const Outcome outcome = run_tool({"get_version_info"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.out == "[\"" + large + "\"]\n");
}

TEST_F(MainFlow, WaitsForASilentBrokerWithTwoThreadsAndCanBeStopped) {
    for (const int signal : {SIGINT, SIGTERM}) {
        broker.forget_requests();
        broker.reply("get_version_info", {});
        Process tool({QX_TOOL, "get_version_info"});
        ASSERT_TRUE(broker.wait_for_requests(1));
        const fs::directory_iterator threads("/proc/" + std::to_string(tool.pid()) + "/task");
        if (!kSanitized && !kEmulated) {
            EXPECT_LE(std::distance(begin(threads), end(threads)), 2);
        }
        tool.signal(signal);
        EXPECT_EQ(tool.finish().signal, signal);
    }
}

} // namespace
