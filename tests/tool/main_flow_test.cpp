// Starting, stopping and what is said when either cannot be.

#include "agent.h"

#include <tuple>

namespace {

using namespace qx::test;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

using MainFlow = Agent;

/// What the tool writes to a terminal.
std::string on_terminal(const std::string& words, const std::string& before = "") {
    std::string text = output_of({"script", "-qec", before + QX_TOOL + " " + words, "/dev/null"});
    std::erase(text, '\r');
    return text;
}

TEST(Usage, IsPrintedWithoutAnyAgent) {
    const Outcome outcome = run_tool({"help"});
    EXPECT_THAT(outcome.out, StartsWith("usage: qxagent-manage OPERATION [OPTION]...\n"));
    EXPECT_EQ(run_tool({"set_router_info", "--modle=x"}).out, outcome.out);
    EXPECT_FALSE(fs::exists(kInstallDir));
}

TEST(Usage, HeadingsAreBoldOnACapableTerminalOnly) {
    ::unsetenv("NO_COLOR");
    const std::string plain = run_tool({"help"}, {{"TERM", "xterm"}}).out;
    EXPECT_THAT(plain, Not(HasSubstr("\033")));
    ::setenv("TERM", "xterm", 1);
    EXPECT_THAT(on_terminal("help"), HasSubstr("  \033[1mlisten\033[0m                  start"));
    for (const char* const variables : {"TERM= ", "TERM=dumb ", "-u TERM ", "NO_COLOR=1 "}) {
        EXPECT_EQ(on_terminal("help 2>/dev/null", std::string("env ") + variables), plain)
            << variables;
    }
}

TEST(Start, SaysWhyThereIsNoBroker) {
    const auto expect_refusal = [](const std::string& reason) {
        EXPECT_EQ(run_tool({"is_enabled"}), (Outcome{.status = 1, .err = reason}));
    };
    expect_refusal("");
    fs::create_directories(kInstallDir);
    expect_refusal("Daemon is down or you are running an older version of it\n");
    write_file(kVersionFile, "1.3");
    expect_refusal("Daemon is down or you need to try again later\n");
    {
        const LockedVersionFile other(kInstallDir, "1.2");
        expect_refusal("Wrong Protocol Version: Daemon=(1.2) vs Client=(1.3)\n");
    }
    const LockedVersionFile right(kInstallDir);
    expect_refusal("");
}

TEST_F(MainFlow, NamesWhatItCannotStartWithAndLeavesItAlone) {
    fs::create_directories(kLogFile);
    EXPECT_EQ(run_tool({"is_enabled"}), (Outcome{.status = 1, .err = "Cannot start qxlog\n"}));
    EXPECT_THAT(broker.requests(), IsEmpty());
    fs::remove(kLogFile);
    write_file(kSettingsFile, "{\"/a\": 1}");
    const Outcome outcome = run_tool({"set_quillet_location", "staging"});
    EXPECT_EQ(outcome, (Outcome{.status = 1, .err = outcome.err}));
    EXPECT_THAT(outcome.err, HasSubstr(kSettingsFile.string()));
    EXPECT_EQ(read_file(kSettingsFile), "{\"/a\": 1}");
    EXPECT_THAT(log_text(), AllOf(StartsWith("ERROR "), HasSubstr(kSettingsFile.string())));
}

TEST_F(MainFlow, AcceptsTheBrokerOfTheUserInBrokerUid) {
    for (const std::string uid : {"any", "0"}) {
        EXPECT_EQ(run_tool({"enable"}, {{"QX_BROKER_UID", uid}}), Outcome{}) << uid;
    }
    broker.forget_requests();
    for (const std::string bad :
         {"", "root", "-1", "1x", " 0", "+0", "4294967295", "99999999999"}) {
        const std::string reason =
            "QX_BROKER_UID: '" + bad + "' is neither a user id nor \"any\"\n";
        EXPECT_EQ(run_tool({"enable"}, {{"QX_BROKER_UID", bad}}),
                  (Outcome{.status = 1, .err = reason}));
    }
    EXPECT_EQ(log_text(), "");
    EXPECT_EQ(run_tool({"enable"}, {{"QX_BROKER_UID", "1234"}}), Outcome{.status = 1});
    EXPECT_THAT(log_text(), AllOf(StartsWith("WARN "), HasSubstr("has the user id 0, which is")));
    EXPECT_THAT(broker.requests(), IsEmpty());
}

TEST_F(MainFlow, SendsNoTokenToAnImpostor) {
    broker.stop();
    {
        const OtherUser impostor(1234);
        if (!impostor) {
            GTEST_SKIP() << "only root can act as another user";
        }
        broker.start();
    }
    EXPECT_EQ(run_tool({"register_to_cloud", "--params", "token=t,redeem=r"}),
              Outcome{.status = 1});
    EXPECT_THAT(log_text(), HasSubstr("has the user id 1234, which is neither"));
    EXPECT_THAT(broker.requests(), IsEmpty());
}

TEST_F(MainFlow, SaysWhenItsOutputIsLost) {
    broker.answer("get_version_info", R"({"status":0,"data":{}})");
    const std::string lost = "standard output: write error\n";
    const std::string without_devices = "mount -t tmpfs tmpfs /dev && ";
    // If the log or a socket took the number of a closed descriptor, the output would go there.
    const std::tuple<std::string, const char*, std::string> rows[] = {
        {"", ">/dev/full", lost},       {"", ">&-", lost},
        {"", "<&- >&- 2>&-", ""},       {"ulimit -f 0 && ", ">/opt/output", lost},
        {without_devices, ">&-", lost}, {without_devices, "<&- >&- 2>&-", ""},
    };
    for (const auto& [before, redirection, reason] : rows) {
        if (kSanitized && before.starts_with("ulimit")) {
            continue; // the thread sanitizer writes a file before the program starts
        }
        const std::string line = before + QX_TOOL + " get_version_info " + redirection;
        EXPECT_EQ(run({"unshare", "-m", "sh", "-c", line}), (Outcome{.status = 1, .err = reason}))
            << line;
    }
    EXPECT_EQ(read_file(kLogFile), "");
}

TEST_F(MainFlow, SurvivesASizeLimitThatStopsItsLog) {
    if (kSanitized) {
        GTEST_SKIP() << "the thread sanitizer writes a file before the program starts";
    }
    write_file(kSettingsFile, "[]");
    fs::create_directories(kLogFile.parent_path());
    const Outcome outcome =
        run({"sh", "-c", "ulimit -f 0 && exec " + std::string(QX_TOOL) + " is_enabled"});
    EXPECT_EQ(outcome, (Outcome{.status = 1, .err = outcome.err}));
    EXPECT_THAT(outcome.err, HasSubstr(kSettingsFile.string()));
    EXPECT_EQ(read_file(kLogFile), "");
}

TEST_F(MainFlow, LaysOutResultsForATerminal) {
    broker.answer("get_version_info", R"({"status":0,"data":{"a":[1]}})");
    broker.answer("va_status", R"({"status":0,"data":{"status":1}})");
    EXPECT_EQ(on_terminal("get_version_info"), "{\n    \"a\": [\n        1\n    ]\n}\n");
    EXPECT_EQ(on_terminal("va_status"), "VA_scan_running: true\n");
}

TEST_F(MainFlow, PrintsEveryKindOfValue) {
    broker.answer(
        "get_version_info",
        R"({"status":0,"data":[{},[],[[{"a":null}]],true,false,-9223372036854775808,)"
        R"(-0,1E22,0.1,"\u0001\b\t\n\u000b\f\r\"\\\/\u001f\u007f\u0080",{"\n":"\u00e4"}]})");
    EXPECT_EQ(run_tool({"get_version_info"}).out,
              R"([{}, [], [[{"a": null}]], true, false, -9223372036854775808, )"
              R"(0, 1e22, 0.10000000000000001, "\u0001\b\t\n\u000B\f\r\"\\/\u001F)"
              "\x7f\u0080\", {\"\\n\": \"\u00e4\"}]\n");
}

// Text that sets a title, forges a line, erases the display and changes the writing direction.
TEST_F(MainFlow, EscapesControlCharactersForTerminalsOnly) {
    const std::string sent = R"(t\u001b]0;x\u0007\nerror:\u007f\u009b2J\u00e4\u202e)";
    const std::string raw = "t\x1b]0;x\x07\nerror:\x7f\xc2\x9b"
                            "2J\u00e4\u202e";
    const std::string shown = R"(t\x1b]0;x\x07\x0aerror:\x7f\xc2\x9b2J)"
                              "\u00e4"
                              R"(\xe2\x80\xae)";
    const std::string json = R"(t\u001B]0;x\u0007\nerror:\u007F\u009B2J)"
                             "\u00e4\u202e";
    broker.answer("start_registration",
                  R"({"status":1,"data":{"code":1,"description":")" + sent + R"("}})");
    broker.answer("va_set_schedule", R"({"status":1,"data":{"error":")" + sent + R"("}})");
    broker.answer("get_version_info",
                  R"({"status":0,"data":{")" + sent + R"(":")" + sent + R"("}})");
    const std::pair<std::string, std::string> errors[] = {
        {"register --params a=b", "  description: "},
        {"va_set_schedule --at 1 --every_num 1 --every_unit day", "error_message="},
        {"listen --events '" + raw + "'", "Unknown event: "},
        {"register_to_cloud --params '" + raw + "=x'", "Unknown key: "},
    };
    for (const auto& [words, before] : errors) {
        EXPECT_THAT(run({"sh", "-c", QX_TOOL + (" " + words)}).err, HasSubstr(before + raw + "\n"));
        EXPECT_THAT(on_terminal(words + " || true"), HasSubstr(before + shown + "\n"));
    }
    EXPECT_EQ(on_terminal("get_version_info"), "{\n    \"" + json + "\": \"" + json + "\"\n}\n");
    fs::remove(kVersionFile);
    const LockedVersionFile other(kInstallDir, "1.3\x1b]\n");
    EXPECT_THAT(on_terminal("enable || true"), HasSubstr(R"(Daemon=(1.3\x1b]\x0a) vs)"));
}

} // namespace
