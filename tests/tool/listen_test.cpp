// Listening: what is subscribed to and printed, and that it ends when it should, whatever the
// broker does.

#include "agent.h"
#include "base/descriptor.h"
#include "broker_client.h"

#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

namespace {

using namespace qx::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Clock = std::chrono::steady_clock;

const std::vector<std::string> kOneEvent = {"--events=QX_PLIX_DEVICE_DISCOVERY"};

/// A listener for one event whose standard output the shell redirects. `before` is run first.
std::vector<std::string> redirected(const std::string& redirection,
                                    const std::string& before = "") {
    // dash accepts only one-digit descriptors.
    return {"bash", "-c", before + "exec " + QX_TOOL + " listen " + kOneEvent[0] + redirection};
}

/// Whether a program is inside a system call on its standard output.
bool writes(const Process& tool) {
    std::istringstream words(read_file("/proc/" + std::to_string(tool.pid()) + "/syscall"));
    std::string call;
    std::string descriptor;
    words >> call >> descriptor;
    return descriptor == "0x1";
}

struct Listen : Agent {
    /// A listening tool that has subscribed to all that it wants.
    std::unique_ptr<Process> start(std::vector<std::string> words, std::size_t subscriptions) {
        words.insert(words.begin(), {QX_TOOL, "listen"});
        broker.forget_requests();
        auto tool = std::make_unique<Process>(words);
        EXPECT_TRUE(broker.wait_for_requests(subscriptions));
        return tool;
    }
};

TEST_F(Listen, SubscribesToAllEventsInTheOrderOfTheirTypes) {
    const auto tool = start({}, kEvents.size());
    std::vector<std::string> requests = kEvents;
    for (std::string& request : requests) {
        request = subscription(request);
    }
    EXPECT_EQ(broker.requests(), requests);
    for (const char* const event :
         {R"({"b":[1,"ü"],"a":null})", R"("no object")", "no JSON", "[]"}) {
        broker.emit("va_status_changed", event);
    }
    const std::string expected = printed("va_status_changed", R"({"b": [1, "ü"], "a": null})") +
                                 printed("va_status_changed", "[]");
    EXPECT_TRUE(tool->wait_for_output(expected));
    EXPECT_EQ(tool->stop(), (Outcome{.out = expected}));
}

TEST_F(Listen, SubscribesToNamedEventsInAscendingOrder) {
    const auto tool = start({"--events", "QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_DEVICE_DISCOVERY",
                             "--events", "QX_PLIX_VA_STATUS_CHANGED"},
                            2);
    EXPECT_THAT(broker.requests(),
                ElementsAre(subscription("device_discovery"), subscription("va_status_changed")));
}

TEST_F(Listen, NamesWhatItDoesNotKnow) {
    EXPECT_EQ(run_tool({"listen", "--events=QX_PLIX_VA_STATUS_CHANGED,qx_plix_device_discovery"}),
              (Outcome{.status = 1, .err = "Unknown event: qx_plix_device_discovery\n"}));
    EXPECT_THAT(broker.requests(), IsEmpty());
}

TEST_F(Listen, RefusesABacklogThatIsNoNumberOfMebibytes) {
    for (const std::string value :
         {"", "x", "1x", " 1", "-1", "0", "1048577", "18446744073709551617"}) {
        EXPECT_EQ(run_tool({"listen"}, {{"QX_LISTEN_BACKLOG", value}}),
                  (Outcome{.status = 1,
                           .err = "QX_LISTEN_BACKLOG: '" + value +
                                  "' is not a number of MiB from 1 to 1048576\n"}));
    }
    EXPECT_THAT(broker.requests(), IsEmpty());
}

void expect_quick_end(Process& tool, int signal) {
    tool.signal(signal);
    EXPECT_TRUE(tool.ends_within(std::chrono::seconds(2)));
    EXPECT_EQ(tool.finish().status, 0);
}

TEST_F(Listen, EndsOnASignalWhateverTheBrokerDoes) {
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM}) {
        expect_quick_end(*start(kOneEvent, 1), signal);
    }
    {
        SCOPED_TRACE("silent in the middle of a frame");
        const auto tool = start(kOneEvent, 1);
        broker.emit("device_discovery", "[1]");
        broker.emit_raw("device_discovery", std::string("\x10\0\0\0[", 5));
        ASSERT_TRUE(tool->wait_for_output(printed("device_discovery", "[1]")));
        expect_quick_end(*tool, SIGTERM);
    }
    {
        SCOPED_TRACE("takes connections and says nothing");
        const auto tool = start(kOneEvent, 1);
        broker.reply("device_discovery", {});
        broker.drop_subscribers("device_discovery");
        ASSERT_TRUE(broker.wait_for_requests(2));
        expect_quick_end(*tool, SIGTERM);
        broker.answer("device_discovery", kOk);
    }
    {
        SCOPED_TRACE("is gone");
        const auto tool = start(kOneEvent, 1);
        broker.stop();
        expect_quick_end(*tool, SIGTERM);
    }
}

/// Starts a tool with all signals blocked.
std::unique_ptr<Process> start_with_blocked_signals(const std::vector<std::string>& words) {
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    auto tool = std::make_unique<Process>(words);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return tool;
}

bool has_socket(const Process& tool) {
    const std::string directory = "/proc/" + std::to_string(tool.pid()) + "/fd/";
    for (const int fd : open_descriptors(std::to_string(tool.pid()))) {
        std::error_code gone;
        if (fs::read_symlink(directory + std::to_string(fd), gone).string().starts_with("socket")) {
            return true;
        }
    }
    return false;
}

TEST_F(Listen, EndsWithSuccessOnASignalBeforeItHasSubscribed) {
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM}) {
        SCOPED_TRACE("a silent broker");
        broker.reply("device_discovery", {});
        broker.forget_requests();
        const auto tool = start_with_blocked_signals({QX_TOOL, "listen"});
        ASSERT_TRUE(broker.wait_for_requests(1));
        expect_quick_end(*tool, signal);
    }
    // One connection fills the backlog of a broker that accepts none; the next one waits.
    broker.stop();
    const qx::io::descriptor listener(broker_socket(::bind));
    require(::listen(listener.get(), 0) == 0, "a broker without room");
    const qx::io::descriptor client(broker_socket(::connect));
    {
        SCOPED_TRACE("a broker that accepts no connection");
        const auto tool = start_with_blocked_signals({QX_TOOL, "listen"});
        wait_until([&] { return has_socket(*tool); });
        expect_quick_end(*tool, SIGTERM);
    }
}

/// A descriptor that children inherit while it lives.
struct Inherited {
    explicit Inherited(int number)
        : fd(number) {
        require(fd >= 0, "an output");
    }
    Inherited(const Inherited&) = delete;
    Inherited& operator=(const Inherited&) = delete;
    ~Inherited() { ::close(fd); }
    int fd;
};

TEST_F(Listen, EndsOnASignalWhateverItsOutputIs) {
    int sockets[2];
    require(::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) == 0, "socketpair");
    const Inherited near(sockets[0]);
    const Inherited far(sockets[1]);
    const Inherited terminal(::posix_openpt(O_RDWR | O_NOCTTY));
    require(::grantpt(terminal.fd) == 0 && ::unlockpt(terminal.fd) == 0, "a terminal");
    const std::string name = ::ptsname(terminal.fd);
    const Inherited slave(::open(name.c_str(), O_RDWR | O_NOCTTY));
    const std::string to_terminal = " >&" + std::to_string(slave.fd);
    for (const auto& [redirection, stty] :
         {std::pair(std::string(), ""), std::pair(" >&" + std::to_string(near.fd), ""),
          std::pair(to_terminal, "stty raw <&"), std::pair(to_terminal, "stty sane <&")}) {
        SCOPED_TRACE(redirection + stty);
        const std::string before = *stty == '\0' ? "" : stty + std::to_string(slave.fd) + " && ";
        broker.forget_requests();
        Process tool(redirected(redirection, before));
        ASSERT_TRUE(broker.wait_for_requests(1));
        for (int i = 0; i < 500; ++i) {
            broker.emit("device_discovery", "[\"" + std::string(1000, 'x') + "\"]");
        }
        wait_until([&] { return writes(tool); });
        expect_quick_end(tool, SIGTERM);
    }
}

TEST_F(Listen, EndsWhenAWriteFailsAndLeavesWholeLines) {
    const std::string full = "standard output: No space left on device\n";
    const std::string too_large = "standard output: File too large\n";
    const std::string small = "mount -t tmpfs -o size=64k tmpfs /opt/small && ";
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {" >/dev/full", "", full},
        {" >/opt/small/out", small, full},
        {" >>/opt/small/out", small, full},
        {" >/opt/small/out", "ulimit -f 40 && ", too_large},
        {" >>/opt/small/out", "ulimit -f 40 && ", too_large},
        {" >&-", "", "standard output: Bad file descriptor\n"},
    };
    fs::create_directories("/opt/small");
    const std::string line = printed("device_discovery", "[\"" + std::string(200, 'x') + "\"]");
    for (const auto& [redirection, before, reason] : rows) {
        SCOPED_TRACE(before + redirection);
        broker.forget_requests();
        Process tool(redirected(redirection, before));
        ASSERT_TRUE(broker.wait_for_requests(1));
        broker.wait_for_subscribers(1);
        for (int i = 0; i < 600; ++i) {
            broker.emit("device_discovery", "[\"" + std::string(200, 'x') + "\"]");
        }
        EXPECT_EQ(tool.finish(), (Outcome{.status = 1, .err = reason}));
        const std::string text = fs::exists("/opt/small/out") ? read_file("/opt/small/out") : "";
        EXPECT_EQ(text.empty(), before.empty());
        for (const std::string& written : lines_of(text)) {
            EXPECT_EQ(written + "\n", line);
        }
        EXPECT_TRUE(text.empty() || text.back() == '\n');
        ::umount("/opt/small");
        fs::remove("/opt/small/out");
    }
}

TEST_F(Listen, EndsQuietlyWhenItsReaderIsGone) {
    const auto idle = start({}, 7);
    idle->close_output();
    EXPECT_EQ(idle->finish(), Outcome{.status = 1});
    ASSERT_TRUE(broker.wait_for_subscribers(0));
    Process reader({"sh", "-c", std::string(QX_TOOL) + " listen | head -n 1"});
    ASSERT_TRUE(broker.wait_for_subscribers(7));
    broker.emit("device_discovery", "[]");
    EXPECT_EQ(reader.finish().out, printed("device_discovery", "[]"));
}

/// Greets each new subscriber to the event, so that a test sees when it is there.
std::string greeting(const std::string& event) {
    return R"({"event": ")" + event + R"(", "when": "subscribe", "data": ["hello"]})";
}

/// Returns when the whole burst is on its way: the order behind it has been followed.
void send_burst(Process& simulator, int events, const std::string& filler) {
    simulator.write("burst " + std::to_string(events) +
                    R"( devices_list_updated {"n": %n, "filler": ")" + filler + "\"}\n");
    simulator.write("nonsense\n");
    ASSERT_TRUE(simulator.wait_for_error("nonsense"));
}

TEST(ListenToTheSimulator, EndsOnASignalWhileItsReaderStandsStill) {
    Simulator simulator("{\"events\": [" + greeting("devices_list_updated") + "]}");
    for (const std::size_t filler : {std::size_t{10}, std::size_t{100'000}}) {
        Process tool({QX_TOOL, "listen", "--events=QX_PLIX_DEVICES_LIST_UPDATED"});
        ASSERT_TRUE(tool.wait_for_output(printed("devices_list_updated", R"(["hello"])")));
        send_burst(simulator, 8'000'000 / static_cast<int>(filler + 90), std::string(filler, 'x'));
        wait_until([&] { return resident_kib(std::to_string(tool.pid())) > 4000; });
        tool.signal(SIGTERM);
        EXPECT_TRUE(tool.ends_within(std::chrono::seconds(2)));
        const Outcome outcome = tool.finish();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(filler > 4096 || outcome.out.back() == '\n');
    }
}

/// The peak resident memory of a process, in KiB.
long peak_kib(const std::string& pid) {
    const std::string label = "VmHWM:";
    const std::string status = read_file("/proc/" + pid + "/status");
    return std::atol(status.c_str() + status.find(label) + label.size());
}

TEST(ListenToTheSimulator, LosesNothingWhileItsReaderStandsStill) {
    constexpr int events = 100'000;
    constexpr long size_kib = events * 200L / 1024;
    const std::string filler(178, 'x');
    std::string expected = printed("devices_list_updated", R"(["hello"])");
    for (int n = 1; n <= events; ++n) {
        expected += printed("devices_list_updated",
                            "{\"n\": " + std::to_string(n) + R"(, "filler": ")" + filler + "\"}");
    }
    Simulator simulator("{\"events\": [" + greeting("devices_list_updated") + "]}");
    for (const char* const bound : {"32", "1"}) {
        SCOPED_TRACE(bound);
        Process tool({QX_TOOL, "listen", "--events=QX_PLIX_DEVICES_LIST_UPDATED"},
                     {{"QX_LISTEN_BACKLOG", bound}});
        ASSERT_TRUE(tool.wait_for_output("hello"));
        send_burst(simulator, events, filler);
        const std::string pid = std::to_string(tool.pid());
        const bool takes_all = bound[0] == '3';
        // Up to the bound, the broker is not kept waiting.
        wait_until([&] { return takes_all ? resident_kib(pid) > size_kib : writes(tool); });
        EXPECT_TRUE(tool.wait_for_output("\"n\": " + std::to_string(events) + ","));
        if (!kSanitized && !kEmulated) {
            EXPECT_TRUE(takes_all || peak_kib(pid) < size_kib / 2) << peak_kib(pid);
            wait_until([&] { return resident_kib(pid) < 4000; });
        }
        const Outcome outcome = tool.stop();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(outcome.out == expected)
            << outcome.out.size() << " bytes instead of " << expected.size();
    }
}

TEST(ListenToTheSimulator, SurvivesFiftyRestarts) {
    std::string greetings;
    for (const std::string& name : kEvents) {
        greetings += (greetings.empty() ? "" : ", ") + greeting(name);
    }
    Simulator simulator("{\"events\": [" + greetings + "]}");
    Process tool({QX_TOOL, "listen"});
    std::size_t greeted = 0;
    const auto all_are_greeted = [&] {
        greeted += kEvents.size();
        return tool.wait_for_output("hello", greeted);
    };
    ASSERT_TRUE(all_are_greeted());
    const std::string pid = std::to_string(tool.pid());
    const std::vector<int> descriptors = open_descriptors(pid);
    for (int restart = 0; restart < 50; ++restart) {
        const auto begin = Clock::now();
        simulator.write("restart 0\n");
        ASSERT_TRUE(all_are_greeted()) << restart;
        EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(1500));
    }
    EXPECT_EQ(open_descriptors(pid), descriptors);
    const Outcome outcome = tool.stop();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(lines_of(outcome.out).size(), greeted);
}

} // namespace
