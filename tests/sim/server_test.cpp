#include "broker_client.h"

#include <algorithm>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sys/stat.h>

namespace {

using namespace qx::test;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

bool is_locked() {
    const int fd = ::open(kVersionFile.c_str(), O_RDONLY | O_CLOEXEC);
    struct flock query {};
    query.l_type = F_WRLCK;
    query.l_whence = SEEK_SET;
    EXPECT_EQ(::fcntl(fd, F_GETLK, &query), 0);
    ::close(fd);
    return query.l_type != F_UNLCK;
}

Outcome run_simulator(std::vector<std::string> words) {
    words.insert(words.begin(), QX_SIMULATOR);
    return run(words);
}

std::string emitted(int number) {
    return "{\"n\": " + std::to_string(number) + ", \"filler\": \"" + std::string(170, 'x') + "\"}";
}

TEST(Presence, MakesItsFilesAndTakesThemAway) {
    fs::create_directories(kInstallDir / "var");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        Simulator simulator;
        EXPECT_EQ(read_file(kVersionFile), "1.3");
        EXPECT_TRUE(is_locked());
        EXPECT_EQ(simulator.stop(signal).status, 0);
        EXPECT_FALSE(fs::exists(kInstallDir / "var/run"));
        EXPECT_TRUE(fs::exists(kInstallDir / "var"));
        EXPECT_EQ(broker_socket(::connect), -1);
    }
}

TEST(Presence, TakesOverWhatADeadBrokerLeft) {
    Simulator().stop(SIGKILL);
    write_file(kVersionFile, "something longer");
    const Simulator second;
    EXPECT_EQ(read_file(kVersionFile), "1.3");
}

TEST(Presence, RefusesAnythingButAPlainVersionFile) {
    const fs::path victim = "/opt/victim";
    write_file(victim, "precious");
    fs::create_directories(kVersionFile.parent_path());
    const std::function<void()> plants[] = {
        [&] { fs::create_symlink(victim, kVersionFile); },
        [&] { fs::create_hard_link(victim, kVersionFile); },
        [&] { require(::mkfifo(kVersionFile.c_str(), 0644) == 0, "mkfifo"); },
        [&] { fs::create_directory(kVersionFile); },
    };
    for (const auto& plant : plants) {
        fs::remove(kVersionFile);
        plant();
        EXPECT_EQ(run_simulator({"--install-dir", kInstallDir}),
                  (Outcome{.status = 1,
                           .err = "qxbrokerd-sim: '/opt/norvane/var/run/qxbrokerd.version' is "
                                  "not a regular file with one link\n"}));
        EXPECT_EQ(read_file(victim), "precious");
    }
}

TEST(Presence, ASecondBrokerLeavesTheFirstAlone) {
    const Simulator first;
    const char* const reason =
        "qxbrokerd-sim: another broker has the socket '@:qxbrokerd-1.3.skt' already\n";
    EXPECT_EQ(run_simulator({"--install-dir", kInstallDir}), (Outcome{.status = 1, .err = reason}));
    // Elsewhere the socket is free, but the directory is not, whether or not it is to be locked.
    for (const char* const scenario : {"{}", "{\"lock\": false}"}) {
        const Outcome elsewhere = run({"unshare", "-n", QX_SIMULATOR, "--install-dir", kInstallDir,
                                       "--scenario", scenario_file(scenario)});
        EXPECT_EQ(elsewhere.status, 1);
        EXPECT_THAT(elsewhere.err,
                    HasSubstr("another broker holds '/opt/norvane/var/run/qxbrokerd.version'"));
    }
    EXPECT_EQ(read_file(kVersionFile), "1.3");
    EXPECT_TRUE(is_locked());
    EXPECT_EQ(ask("enable_services"), kOk);
}

TEST(Presence, AWrongCommandLineIsNamed) {
    EXPECT_THAT(run_simulator({"--help"}).out, StartsWith("usage: qxbrokerd-sim"));
    const std::pair<std::vector<std::string>, const char*> wrong[] = {
        {{}, "--install-dir DIR is needed"},
        {{"--install-dir"}, "'--install-dir' needs a value"},
        {{"-install-dir", "/opt/x", "--trase"}, "unknown option '--trase'"},
        {{"-install", "/opt/x", "-trase=1"}, "unknown option '-trase=1'"},
        {{"--trace=1"}, "'--trace=1': the option takes no value"},
        {{"--install-dir", "/opt/x", "more"}, "surplus word 'more'"},
        {{"--install-dir", "/etc/passwd"}, "cannot make the directory '/etc/passwd/var'"},
    };
    for (const auto& [words, reason] : wrong) {
        const Outcome outcome = run_simulator(words);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err, StartsWith(std::string("qxbrokerd-sim: ") + reason));
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1);
    }
}

TEST(Clients, AreServedAtOnceAndInOrder) {
    const Simulator simulator;
    std::vector<std::unique_ptr<BrokerClient>> clients;
    for (int i = 0; i < 300; ++i) {
        clients.push_back(std::make_unique<BrokerClient>());
        clients.back()->send(
            "{\"type\": \"command\", "); // the rest comes later, byte by byte or not at all
    }
    const std::string rest = "\"name\": \"get_services_status\"}\n" + command("get_router_model");
    for (const char byte : rest) {
        clients[7]->send({&byte, 1});
    }
    clients[7]->end_sending();
    EXPECT_EQ(clients[7]->read_frame(), R"({"status": 0, "data": {"status": 1}})");
    EXPECT_EQ(clients[7]->read_frame(), R"({"status": 0, "data": "NV-AX3000"})");
    EXPECT_TRUE(clients[7]->ends());
    clients.clear();
    EXPECT_EQ(ask("enable_services"), kOk);
}

TEST(Clients, AreRefusedWhileNoDescriptorIsLeft) {
    Process limited({"sh", "-c", "ulimit -n 12; exec \"$@\"", "sh", QX_SIMULATOR, "--install-dir",
                     kInstallDir, "--trace"});
    limited.wait_for_output("listening");
    auto holders = std::make_unique<std::array<BrokerClient, 12>>();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(BrokerClient().ends());
    }
    holders.reset();
    limited.wait_for_output("#1 closed");
    EXPECT_EQ(ask("enable_services"), kOk);
}

constexpr std::size_t kMiB = 1 << 20;

TEST(Limits, ALineAboveOneMebibyteClosesItsClient) {
    const Simulator simulator;
    const BrokerClient client;
    client.send(std::string(kMiB, ' '));
    EXPECT_EQ(ask("enable_services"), kOk);
    EXPECT_FALSE(client.has_input());
    client.send(" ");
    EXPECT_TRUE(client.ends());
}

TEST(Limits, UnfinishedLinesOfAllClientsTakeAtMost32Mebibytes) {
    const Simulator simulator;
    const std::array<BrokerClient, 50> clients;
    for (const BrokerClient& client : clients) {
        client.send(std::string(kMiB, ' '));
    }
    const auto is_closed = [](const BrokerClient& client) { return client.has_input(); };
    wait_until([&] { return std::count_if(clients.begin(), clients.end(), is_closed) >= 18; });
    EXPECT_EQ(ask("enable_services"), kOk);
    EXPECT_EQ(std::count_if(clients.begin(), clients.end(), is_closed), 18);
    for (const BrokerClient& client : clients) {
        if (!is_closed(client)) {
            client.send("\n");
            client.read_frame();
        }
    }
    if (!kSanitized) {
        EXPECT_LT(resident_kib(std::to_string(simulator.pid())), 16384);
    }
}

TEST(Limits, RequestsWaitUntilTheirClientReadsAnswers) {
    constexpr std::size_t requests = 50;
    const std::string answer(500000, 'x');
    Simulator simulator(R"({"commands": {"va_stop": [{"raw": ")" + answer + R"(", "times": 0}]}})",
                        {"--trace"});
    const BrokerClient client;
    std::string lines;
    for (std::size_t i = 0; i < requests; ++i) {
        lines += command("va_stop");
    }
    client.send(lines + command("get_router_name"));
    client.end_sending();
    EXPECT_EQ(ask("enable_services"), kOk);
    simulator.wait_for_output("#2 closed");
    EXPECT_THAT(simulator.output(), Not(HasSubstr("get_router_name")));
    EXPECT_EQ(client.read(requests * answer.size()).size(), requests * answer.size());
    EXPECT_EQ(client.read_frame(), success("\"Home Router\""));
    EXPECT_TRUE(client.ends());
}

TEST(Limits, SubscribersThatDoNotReadAreClosed) {
    const std::string text(kMiB - 4, 'x');
    struct Case {
        std::size_t subscribers, events;
        long closed;
    };
    for (const Case& each : {Case{1, 40, 1}, Case{6, 30, 2}}) {
        Simulator simulator;
        const std::vector<BrokerClient> clients(each.subscribers);
        for (const BrokerClient& client : clients) {
            client.subscribe("va_status_changed");
        }
        for (std::size_t i = 0; i < each.events; ++i) {
            simulator.write("emit va_status_changed " + text + "\n");
        }
        EXPECT_EQ(ask("enable_services"), kOk);
        const std::size_t all = each.events * kMiB;
        EXPECT_EQ(std::count_if(
                      clients.begin(), clients.end(),
                      [&](const BrokerClient& client) { return client.read(all).size() < all; }),
                  each.closed);
    }
}

TEST(Console, SendsEventsAndSaysWhatItDoesNotUnderstand) {
    Simulator simulator;
    const BrokerClient client;
    const BrokerClient other;
    client.subscribe("va_status_changed");
    other.subscribe("device_discovery");
    simulator.write(
        "emit va_status_changed {\"a\":  %n}\nemit QX_PLIX_VA_STATUS_CHANGED not JSON \n"
        "burst 2 va_status_changed %n-%n\nraw va_status_changed 01 0000 00 78\n");
    for (const char* text : {"{\"a\":  %n}", "not JSON", "1-1", "2-2", "x"}) {
        EXPECT_EQ(client.read_frame(), text);
    }
    const std::pair<const char*, const char*> wrong[] = {
        {"emit nothing {}", "unknown event 'nothing'"},
        {"emit QX_PLIX_va_status_changed {}", "unknown event 'QX_PLIX_va_status_changed'"},
        {"emit va_status_changed", "emit needs something to send"},
        {"burst many va_status_changed x", "burst needs a count"},
        {"raw va_status_changed 0", "raw needs pairs of hexadecimal digits"},
        {"restart soon", "restart takes a number of milliseconds and nothing more"},
        {"restart 0 1", "restart takes a number of milliseconds and nothing more"},
        {"drop va_status_changed", "drop takes nothing more"},
        {"jump", "unknown order 'jump'; --help lists them"},
    };
    for (const auto& [line, reason] : wrong) {
        simulator.write(std::string("\n") + line + "\n");
        simulator.wait_for_error(std::string("qxbrokerd-sim: ") + reason + "\n");
    }
    simulator.close_input();
    EXPECT_EQ(ask("enable_services"), kOk);
    EXPECT_FALSE(other.has_input());
}

TEST(Console, DropsClientsAndRestarts) {
    Simulator simulator;
    for (const char* const order : {"drop\n", "restart 0\n"}) {
        const BrokerClient dropped;
        dropped.subscribe("va_status_changed");
        simulator.write(order);
        EXPECT_TRUE(dropped.ends());
    }
    simulator.wait_for_output("listening again (restart 1)");
    EXPECT_TRUE(is_locked());
    EXPECT_EQ(ask("enable_services"), kOk);
}

TEST(Console, ABurstIsMadeAsFastAsItsReaderTakesIt) {
    constexpr int kEvents = 100000;
    Simulator simulator;
    const std::string pid = std::to_string(simulator.pid());
    const long before = resident_kib(pid);
    const BrokerClient reader;
    reader.subscribe("va_status_changed");
    std::string text = emitted(1);
    simulator.write("burst " + std::to_string(kEvents) + " va_status_changed " +
                    text.replace(6, 1, "%n") + "\n");
    EXPECT_EQ(reader.read_frame(), emitted(1));
    EXPECT_EQ(ask("enable_services"), kOk); // others do not wait with it
    if (!kSanitized) {
        EXPECT_LT(resident_kib(pid) - before, 4096);
    }
    for (int n = 2; n <= kEvents; ++n) {
        ASSERT_EQ(reader.read_frame(), emitted(n));
    }
    EXPECT_EQ(ask("enable_services"), kOk);
}

TEST(Trace, ShowsRequestsAnswersAndEvents) {
    Simulator simulator("", {"--trace"});
    {
        const BrokerClient client;
        client.subscribe("va_status_changed");
        simulator.write("emit va_status_changed {}\n");
        EXPECT_EQ(client.read_frame(), "{}");
        client.send("\x1b\n");
    }
    simulator.wait_for_output("#1 closed");
    EXPECT_THAT(simulator.output(),
                HasSubstr("#1 connected\n"
                          "#1 request {\"type\": \"subscribe\", \"name\": \"va_status_changed\"}\n"
                          "#1 answer {\"status\": 0}\n"
                          "event va_status_changed to 1: {}\n"
                          "#1 request \\x1b\n"));
}

} // namespace
