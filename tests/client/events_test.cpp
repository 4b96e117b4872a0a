#include "events.h"

#include "agent_fixture.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <iterator>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using namespace qx::test;
using Clock = std::chrono::steady_clock;
using Events = std::vector<std::string>;

constexpr auto kStarted = QX_PLIX_QXAGENT_STARTED;
constexpr auto kScan = QX_PLIX_VA_STATUS_CHANGED;
const std::string kStartedName = "qxagent_started";
const std::string kScanName = "va_status_changed";
const std::string kAccepted = framed(kOk);

class Subscriptions : public StartedClient {
protected:
    int subscribe(qx_plix_event_type type, Inbox& box) {
        int fd = -1;
        EXPECT_EQ(qx_plix_subscribe(type, Inbox::note, &box, &fd), 0);
        return fd;
    }

    Inbox inbox;
};

Events numbered(std::size_t count) {
    Events events;
    for (std::size_t i = 0; i < count; ++i) {
        events.push_back("{\"n\": " + std::to_string(i) + "}");
    }
    return events;
}

TEST(EventNames, AreTranslatedBothWays) {
    int number = 0;
    for (const std::string& event : kEvents) {
        const auto type = static_cast<qx_plix_event_type>(number++);
        const char* const name = qx_plix_event_type_to_str(type);
        EXPECT_EQ(qx_plix_event_type_from_str(name), type);
        char broker_name[qxplix::kBrokerNameSize];
        EXPECT_EQ(qxplix::to_broker_event_name(name, broker_name), 0);
        EXPECT_EQ(broker_name, event);
        EXPECT_EQ(qx_plix_event_type_from_str(broker_name), QX_PLIX_EVENT_UNKNOWN);
    }
    EXPECT_EQ(qx_plix_event_type_to_str(QX_PLIX_EVENT_UNKNOWN), nullptr);
    EXPECT_STREQ(qx_plix_event_type_to_str(kStarted), "QX_PLIX_QXAGENT_STARTED");
    EXPECT_EQ(qx_plix_event_type_from_str(nullptr), QX_PLIX_EVENT_UNKNOWN);
    EXPECT_EQ(qx_plix_event_type_from_str("qx_plix_device_discovery"), QX_PLIX_EVENT_UNKNOWN);

    char name[qxplix::kBrokerNameSize];
    const std::string longest = "QX_PLIX_" + std::string(55, 'X');
    EXPECT_EQ(qxplix::to_broker_event_name(longest.c_str(), name), 0);
    EXPECT_EQ(name, std::string(55, 'x'));
    EXPECT_EQ(qxplix::to_broker_event_name("QX_PLIX_AB CD", name), 0);
    EXPECT_STREQ(name, "ab");
    for (const std::string& bad : Events{longest + "X", "QX_PLIX_", "QX_PLI_X", "", "OTHER"}) {
        EXPECT_EQ(qxplix::to_broker_event_name(bad.c_str(), name), -1) << bad;
    }
}

TEST_F(Subscriptions, AreAskedForAndMayBeRefused) {
    int fd = -1;
    EXPECT_EQ(qx_plix_subscribe(QX_PLIX_EVENT_UNKNOWN, Inbox::note, nullptr, &fd), -1);
    EXPECT_EQ(qx_plix_subscribe(kStarted, nullptr, nullptr, &fd), -1);
    EXPECT_TRUE(broker.requests().empty());
    settle(0);
    const auto before = open_descriptors();
    broker.answer(kStartedName, R"({"status": 1})");
    EXPECT_EQ(qx_plix_subscribe(kStarted, Inbox::note, nullptr, &fd), -1);
    EXPECT_EQ(broker.requests(), Events{subscription(kStartedName)});
    broker.reply(kStartedName, {"\1", true});
    EXPECT_EQ(qx_plix_subscribe(kStarted, Inbox::note, nullptr, &fd), -1);
    broker.wait_for_connections(0);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(qx_plix_read_event_fd(fd, 0), -1);
    ASSERT_EQ(qx_plix_subscribe(kScan, Inbox::note, &inbox, nullptr), 0);
    EXPECT_EQ(qx_plix_read_event_fd(-1, 0), -1) << "which stands for no descriptor";
}

TEST_F(Subscriptions, HandEventsToTheirReaderOneByOneInPortionsOrAllAtOnce) {
    const int fd = subscribe(kStarted, inbox);
    EXPECT_EQ(qx_plix_read_events(fd, 1), 0) << "does not wait";
    broker.emit_raw(kStartedName,
                    framed("0") + framed("1") + framed("2") + framed("3") + framed("4"));
    EXPECT_EQ(qx_plix_read_event_fd(fd, 0), 0) << "waits for the first";
    EXPECT_EQ(inbox.events(), (Events{"0"}));
    ASSERT_TRUE(is_readable(fd, kPatience));
    EXPECT_EQ(qx_plix_read_events(fd, 3), 0);
    EXPECT_EQ(inbox.events(), (Events{"0", "1", "2"})) << "the terminating zero bytes count too";
    ASSERT_TRUE(is_readable(fd, kPatience));
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(qx_plix_read_events(fd, 0), 0) << "hands nothing over";
    }
    ASSERT_TRUE(is_readable(fd, kPatience));
    EXPECT_EQ(qx_plix_read_event_fd(fd, 1), 0);
    EXPECT_EQ(inbox.events(), (Events{"0", "1", "2", "3", "4"}));
    EXPECT_FALSE(is_readable(fd, std::chrono::milliseconds(0)));
}

TEST_F(Subscriptions, AreEightAtMost) {
    for (int i = 0; i < 8; ++i) {
        ASSERT_EQ(qx_plix_subscribe(kStarted, Inbox::note, &inbox, nullptr), 0);
    }
    const auto before = open_descriptors();
    int fd = -1;
    EXPECT_EQ(qx_plix_subscribe(kScan, Inbox::note, &inbox, &fd), -1);
    broker.wait_for_connections(8);
    EXPECT_EQ(broker.requests().size(), 9U);
    qx_plix_unsubscribe(kStarted);
    broker.wait_for_connections(7);
    EXPECT_EQ(qx_plix_subscribe(kScan, Inbox::note, &inbox, nullptr), 0);
    EXPECT_LT(open_descriptors().size(), before.size() + 2);
}

int bytes_in(int fd) {
    int bytes = -1;
    EXPECT_EQ(::ioctl(fd, FIONREAD, &bytes), 0);
    return bytes;
}

TEST_F(Subscriptions, ToTheSameEventEndOneAtATime) {
    Inbox second;
    const int first_fd = subscribe(kStarted, inbox);
    const int second_fd = subscribe(kStarted, second);
    qx_plix_unsubscribe(kScan);
    broker.emit(kStartedName, "1");
    read_until(first_fd, 1, inbox, 1);
    read_until(second_fd, 1, second, 1);
    qx_plix_unsubscribe(kStarted);
    broker.wait_for_subscribers(1);
    // The number may stand for something else by now.
    int others[2] = {-1, -1};
    ASSERT_EQ(::pipe(others), 0);
    ASSERT_TRUE(others[0] == first_fd || ::dup2(others[0], first_fd) == first_fd);
    ASSERT_EQ(::write(others[1], "..", 2), 2);
    EXPECT_EQ(qx_plix_read_event_fd(first_fd, 1), -1);
    EXPECT_EQ(qx_plix_read_events(first_fd, 1), -1);
    EXPECT_EQ(bytes_in(first_fd), 2);
    broker.emit(kStartedName, "2");
    read_until(second_fd, 1, second, 2);
    EXPECT_EQ(inbox.events(), Events{"1"});
}

TEST_F(Subscriptions, LoseNothingToAFullPipe) {
    const Events events = numbered(10000);
    std::string bytes;
    for (const std::string& event : events) {
        bytes += framed(event);
    }
    // In the smaller pipe most notification bytes find no room, nor may the last piece of 512.
    const struct {
        int drain;
        int pipe_size;
        int held;
    } cases[] = {{0, 4096, 4096 - 511},
                 {1, 4096, 4096 - 511},
                 {kPortions, 4096, 4096 - 511},
                 {1, 65536, 10000}};
    for (const auto& c : cases) {
        Inbox all;
        const int fd = subscribe(kStarted, all);
        ASSERT_EQ(::fcntl(fd, F_SETPIPE_SZ, c.pipe_size), c.pipe_size);
        broker.emit_raw(kStartedName, bytes);
        wait_until([&] { return bytes_in(fd) >= c.held; });
        read_until(fd, c.drain, all, events.size());
        EXPECT_TRUE(all.events() == events);
        EXPECT_FALSE(is_readable(fd, std::chrono::milliseconds(0)));
        qx_plix_unsubscribe(kStarted);
    }
}

void count(const char* /*event*/, void* counter) {
    ++*static_cast<std::atomic<int>*>(counter);
}

TEST_F(Subscriptions, GiveTheMemoryOfALongQueueBack) {
    if (kSanitized) {
        GTEST_SKIP() << "a sanitizer keeps what is freed";
    }
    std::atomic<int> seen{0};
    int fd = -1;
    ASSERT_EQ(qx_plix_subscribe(kStarted, count, &seen, &fd), 0);
    std::string bytes;
    for (int i = 0; i < 1000; ++i) {
        bytes += framed('"' + std::string(198, 'x') + '"');
    }
    constexpr long kMib = 1024;
    const long before = resident_kib();
    for (int i = 0; i < 100; ++i) {
        broker.emit_raw(kStartedName, bytes);
    }
    wait_until([&] { return resident_kib() >= before + 15 * kMib; });
    while (seen < 100'000) {
        ASSERT_TRUE(is_readable(fd, kPatience));
        ASSERT_EQ(qx_plix_read_event_fd(fd, 1), 0);
    }
    wait_until([&] { return resident_kib() <= before + 2 * kMib; });
}

// Small limits, and the warnings that they cause.
class Backlog : public Subscriptions {
protected:
    void SetUp() override {
        Subscriptions::SetUp();
        qx_plix_set_warning_cb(Inbox::note, &warnings);
        EXPECT_EQ(qx_plix_set_backlog_limit(0), -1);
    }
    void TearDown() override {
        Subscriptions::TearDown();
        qx_plix_set_warning_cb(nullptr, nullptr);
    }

    Inbox warnings;
};

TEST_F(Backlog, IsBoundedAndLosesNothing) {
    constexpr std::size_t kLimit = std::size_t{1} << 20;
    EXPECT_EQ(qx_plix_set_backlog_limit(kLimit), 0);
    const Events events = numbered(200'000);
    std::string bytes;
    for (const std::string& event : events) {
        bytes += framed(event);
    }
    for (const bool reads : {true, false}) {
        Inbox all;
        Inbox other;
        const int fd = subscribe(kStarted, all);
        const int other_fd = subscribe(kScan, other);
        ASSERT_EQ(::fcntl(fd, F_SETPIPE_SZ, 1 << 20), 1 << 20);
        const std::size_t told = warnings.events().size();
        std::thread emitter([&] {
            broker.emit_raw(kStartedName, bytes);
            broker.emit(kScanName, "1");
        });
        warnings.wait_for(told + 1);
        const int held = bytes_in(fd);
        EXPECT_LT(static_cast<std::size_t>(held) * 32, 2 * kLimit);
        const std::clock_t before = std::clock();
        ::usleep(300'000); // a spinning thread would use as much processor time
        EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 10);
        EXPECT_EQ(bytes_in(fd), held);
        if (reads) {
            read_until(fd, 1, all, events.size());
            EXPECT_TRUE(all.events() == events);
        } else {
            qx_plix_unsubscribe(kStarted);
        }
        read_until(other_fd, 1, other, 1);
        emitter.join();
        warnings.wait_for(told + 2);
        EXPECT_EQ(warnings.events().size(), told + 2);
        qx_plix_unsubscribe(kStarted);
        qx_plix_unsubscribe(kScan);
    }
}

TEST_F(Backlog, IsOvercomeAfterASecondOfReading) {
    using std::chrono::milliseconds;
    EXPECT_EQ(qx_plix_set_backlog_limit(1000), 0);
    const int fd = subscribe(kStarted, inbox);
    broker.emit(kStartedName, '"' + std::string(2000, 'x') + '"');
    warnings.wait_for(1);
    const auto relieved = Clock::now();
    read_until(fd, 1, inbox, 1);
    while (warnings.events().size() < 2 && Clock::now() - relieved < kPatience) {
        broker.emit(kStartedName, "1");
        ASSERT_TRUE(is_readable(fd, kPatience));
        EXPECT_EQ(qx_plix_read_event_fd(fd, 1), 0);
    }
    EXPECT_EQ(warnings.events().size(), 2U);
    EXPECT_GE(Clock::now() - relieved, milliseconds(990));
}

TEST_F(Backlog, AdmitsFramesAboveTheLimitOneByOne) {
    EXPECT_EQ(qx_plix_set_backlog_limit(50'000), 0);
    Inbox other;
    Inbox called;
    const int fd = subscribe(kStarted, inbox);
    const int other_fd = subscribe(kScan, other);
    ASSERT_EQ(qx_plix_subscribe(QX_PLIX_DEVICE_DISCOVERY, Inbox::note, &called, nullptr), 0);
    const std::string event = '"' + std::string(100'000, 'x') + '"';
    const std::string frame = framed(event);
    const std::size_t half = frame.size() / 2;
    broker.emit_raw(kStartedName, frame.substr(0, half + 1000));
    warnings.wait_for(1);
    broker.emit_raw(kScanName, frame.substr(0, half));
    broker.emit_raw("device_discovery", frame);
    broker.emit_raw(kStartedName, frame.substr(half + 1000) + frame);
    read_until(fd, 1, inbox, 2);
    broker.emit_raw(kScanName, frame.substr(half));
    read_until(other_fd, 1, other, 1);
    called.wait_for(1);
    warnings.wait_for(2);
    for (const Inbox* const box : {&inbox, &other, &called}) {
        EXPECT_TRUE(box->events().front() == event);
    }
    EXPECT_EQ(broker.requests().size(), 3U);
}

TEST_F(Backlog, IsNotExceededByFramesThatNeverEnd) {
    if (kSanitized) {
        GTEST_SKIP() << "a sanitizer takes memory of its own";
    }
    constexpr std::size_t kMib = std::size_t{1} << 20;
    EXPECT_EQ(qx_plix_set_backlog_limit(kMib), 0);
    const int fd = subscribe(kStarted, inbox);
    const int other_fd = subscribe(kScan, inbox);
    const auto announced = static_cast<std::int32_t>(21 * kMib);
    std::string frame(20 * kMib, 'x');
    std::memcpy(frame.data(), &announced, sizeof announced);
    const long before = resident_kib();
    std::thread emitter([&] {
        broker.emit_raw(kStartedName, frame);
        broker.emit_raw(kScanName, frame);
    });
    long most = 0;
    // Each stalled subscription is given up in turn and subscribed again.
    wait_until([&] {
        most = std::max(most, resident_kib());
        return broker.requests().size() == 4;
    });
    emitter.join();
    EXPECT_GT(most, before + 18 * 1024);
    EXPECT_LT(most, before + 26 * 1024);
    broker.wait_for_subscribers(2);
    broker.emit(kStartedName, "1");
    broker.emit(kScanName, "2");
    read_until(fd, 1, inbox, 1);
    read_until(other_fd, 1, inbox, 2);
}

TEST_F(Subscriptions, OutliveTheBroker) {
    Inbox called;
    const int fd = subscribe(kStarted, inbox);
    ASSERT_EQ(qx_plix_subscribe(kScan, Inbox::note, &called, nullptr), 0);
    broker.wait_for_requests(2);
    settle(2);
    const auto before = open_descriptors();
    for (std::size_t round = 1; round <= 5; ++round) {
        broker.stop();
        broker.start();
        const auto back = Clock::now();
        broker.wait_for_subscribers(2);
        EXPECT_LT(since(back).count(), 1500);
        broker.emit(kStartedName, std::to_string(round));
        broker.emit(kScanName, std::to_string(round));
        read_until(fd, 1, inbox, round);
        called.wait_for(round);
    }
    EXPECT_EQ(inbox.events(), (Events{"1", "2", "3", "4", "5"}));
    EXPECT_EQ(called.events(), inbox.events());
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(broker.requests().size(), 10U);
}

TEST_F(Subscriptions, BeginAnewWhenTheirStreamBreaks) {
    ASSERT_EQ(qx_plix_subscribe(kStarted, Inbox::note, &inbox, nullptr), 0);
    const std::string half = framed(R"({"never": "whole"})").substr(0, 9);
    std::size_t count = 0;
    for (const std::string& broken :
         {std::string("\x05"), half, std::string(4, '\0'), std::string(4, '\xff'),
          std::string("\x01\x00\x00\x7f", 4), framed("0") + half}) {
        broker.forget_requests();
        broker.emit_raw(kStartedName, broken);
        broker.drop_subscribers(kStartedName);
        broker.wait_for_requests(1);
        broker.wait_for_subscribers(1);
        broker.emit(kStartedName, std::to_string(count));
        inbox.wait_for(++count);
    }
}

TEST_F(Subscriptions, TakeBigEventsAndSlowOnes) {
    ASSERT_EQ(qx_plix_subscribe(kStarted, Inbox::note, &inbox, nullptr), 0);
    const std::string big = '"' + std::string(5'000'000, 'x') + '"';
    broker.emit_raw(kStartedName, framed("1") + framed(big) + framed("2"));
    for (const char byte : framed("3")) {
        broker.emit_raw(kStartedName, {&byte, 1});
    }
    inbox.wait_for(4);
    EXPECT_TRUE(inbox.events() == (Events{"1", big, "2", "3"}));
}

TEST_F(Subscriptions, GetEventsThatFollowTheAnswerDirectly) {
    broker.reply(kStartedName, {kAccepted + framed("1") + framed("2")});
    ASSERT_EQ(qx_plix_subscribe(kStarted, Inbox::note, &inbox, nullptr), 0);
    inbox.wait_for(2);
    broker.reply(kStartedName, {kAccepted + framed("3") + framed("4").substr(0, 2)});
    broker.drop_subscribers(kStartedName);
    inbox.wait_for(3);
    broker.emit_raw(kStartedName, framed("4").substr(2));
    inbox.wait_for(4);
    EXPECT_EQ(inbox.events(), (Events{"1", "2", "3", "4"}));
}

TEST_F(Subscriptions, AreNotHeldUpByASilentBroker) {
    Inbox other;
    subscribe(kStarted, inbox);
    const int other_fd = subscribe(kScan, other);
    for (const std::string& silence : {std::string(), kAccepted.substr(0, 7)}) {
        broker.forget_requests();
        broker.reply(kStartedName, {silence});
        broker.drop_subscribers(kStartedName);
        broker.wait_for_requests(1);
        const auto start = Clock::now();
        const std::size_t before = other.events().size();
        broker.emit(kScanName, "1");
        read_until(other_fd, 1, other, before + 1);
        EXPECT_LT(since(start).count(), 500);
        // Given up and asked again, a second later.
        broker.wait_for_requests(2);
        EXPECT_GE(since(start).count(), 900);
    }
    // In the middle of an event.
    broker.emit_raw(kScanName, framed("[1, 2, 3]").substr(0, 8));
    const auto unsubscribing = Clock::now();
    qx_plix_unsubscribe(kStarted);
    qx_plix_unsubscribe(kScan);
    EXPECT_EQ(qx_plix_uninit(), 0);
    EXPECT_LT(since(unsubscribing).count(), 500);
    broker.wait_for_connections(0);
}

// What a slow callback sees and what it waits for.
struct Slow {
    TestBroker& broker;
    std::atomic<int> calls{0};
    std::atomic<bool> other_came{false};
};

// From now on the other threads run only while this one waits, as on a busy router.
void outrank_other_threads() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<std::size_t>(::sched_getcpu()), &one);
    const sched_param none{};
    for (const auto& task : fs::directory_iterator("/proc/self/task")) {
        const pid_t id = std::stoi(task.path().filename());
        EXPECT_EQ(::sched_setaffinity(id, sizeof one, &one), 0);
        if (id != ::gettid()) {
            EXPECT_EQ(::syscall(SYS_sched_setscheduler, id, SCHED_IDLE, &none), 0);
        }
    }
}

TEST_F(Subscriptions, GetTheirTurnWhileAnotherIsReadSlowly) {
    constexpr int kEvents = 500;
    Slow slow{broker};
    int fd = -1;
    const auto work = [](const char*, void* data) {
        auto& self = *static_cast<Slow*>(data);
        if (self.calls++ == 0) {
            self.broker.emit(kScanName, "1");
        }
        if (!self.other_came) {
            ::usleep(1000);
        }
    };
    const auto note = [](const char*, void* data) {
        auto& self = *static_cast<Slow*>(data);
        self.other_came = true;
    };
    ASSERT_EQ(qx_plix_subscribe(kStarted, work, &slow, &fd), 0);
    ASSERT_EQ(qx_plix_subscribe(kScan, note, &slow, nullptr), 0);
    for (int i = 0; i < kEvents; ++i) {
        broker.emit(kStartedName, "{}");
    }
    wait_until([&] { return bytes_in(fd) == kEvents; });
    outrank_other_threads();
    EXPECT_EQ(qx_plix_read_event_fd(fd, 1), 0);
    EXPECT_EQ(slow.calls, kEvents);
    EXPECT_TRUE(slow.other_came);
}

TEST_F(Subscriptions, KeepTheirNotificationsRightForTwoReaders) {
    constexpr int kEvents = 100;
    std::atomic<int> calls{0};
    const auto work = [](const char*, void* data) {
        ::usleep(1000);
        ++*static_cast<std::atomic<int>*>(data);
    };
    int fd = -1;
    ASSERT_EQ(qx_plix_subscribe(kStarted, work, &calls, &fd), 0);
    for (int i = 0; i < kEvents; ++i) {
        broker.emit(kStartedName, "{}");
    }
    wait_until([&] { return bytes_in(fd) == kEvents; });
    std::thread other([&] {
        wait_until([&] { return calls > 0; });
        EXPECT_EQ(qx_plix_read_events(fd, SIZE_MAX), 0);
    });
    EXPECT_EQ(qx_plix_read_events(fd, SIZE_MAX), 0);
    other.join();
    EXPECT_EQ(calls, kEvents);
    EXPECT_EQ(bytes_in(fd), 0);
}

std::size_t count_threads() {
    using fs::directory_iterator;
    return static_cast<std::size_t>(std::distance(directory_iterator("/proc/self/task"), {}));
}

TEST_F(Subscriptions, ShareTheEventThreadEventByEvent) {
    struct Turns {
        TestBroker& broker;
        int calls = 0;
        int calls_before_other = -1;
    } turns{broker};
    const auto work = [](const char*, void* data) {
        auto& self = *static_cast<Turns*>(data);
        if (self.calls++ == 0) {
            self.broker.emit(kScanName, "1");
        }
    };
    const auto stop = [](const char*, void* data) {
        auto& self = *static_cast<Turns*>(data);
        self.calls_before_other = self.calls;
        __atomic_store_n(&stopped, 1, __ATOMIC_RELEASE);
    };
    const std::size_t before = count_threads();
    ASSERT_EQ(qx_plix_subscribe(kStarted, work, &turns, nullptr), 0);
    ASSERT_EQ(qx_plix_subscribe(kScan, stop, &turns, nullptr), 0);
    std::string burst;
    for (const std::string& event : numbered(300)) {
        burst += framed(event);
    }
    broker.emit_raw(kStartedName, burst);
    wait_until([&] { return count_threads() < before; });
    qx_plix_uninit();
    EXPECT_LE(turns.calls_before_other, 8);
    EXPECT_LE(turns.calls, turns.calls_before_other + 8);
}

TEST_F(Subscriptions, AreNotGivenUpForTheTimeOfASlowCallback) {
    Slow slow{broker};
    const int fd = subscribe(kStarted, inbox);
    const auto answer_and_work = [](const char*, void* data) {
        auto& self = *static_cast<Slow*>(data);
        self.broker.emit_raw(kStartedName, kAccepted + framed("1"));
        ::usleep(1'100'000);
        ++self.calls;
    };
    ASSERT_EQ(qx_plix_subscribe(kScan, answer_and_work, &slow, nullptr), 0);
    broker.reply(kStartedName, {""});
    broker.forget_requests();
    broker.drop_subscribers(kStartedName);
    broker.wait_for_requests(1);
    broker.emit(kScanName, "1");
    read_until(fd, 1, inbox, 1);
    EXPECT_EQ(slow.calls, 1);
    EXPECT_EQ(broker.requests().size(), 1U);
}

TEST_F(Subscriptions, AreAskedForAgainCalmly) {
    ASSERT_EQ(qx_plix_subscribe(kStarted, Inbox::note, &inbox, nullptr), 0);
    broker.answer(kStartedName, R"({"status": 1})");
    broker.forget_requests();
    const auto start = Clock::now();
    broker.drop_subscribers(kStartedName);
    broker.wait_for_requests(5);
    EXPECT_GE(since(start).count(), 4 * 190);
    const std::string deep = "{\"status\": 0, \"x\": " + std::string(2000, '[');
    broker.answer(kStartedName, deep + std::string(2000, ']') + '}');
    broker.forget_requests();
    broker.wait_for_requests(1);
    broker.emit(kStartedName, "1");
    inbox.wait_for(1);
}

// Callbacks run under the registrar's lock, on which these calls would deadlock.
TEST_F(Subscriptions, CallbacksMayUnsubscribeButNotSubscribeReadOrStop) {
    struct Misuse {
        qx_plix_event_type ends;
        int fd = -1;
        int waiting_fd = -1;
        std::atomic<int> calls{0};
    };
    const auto misuse = [](const char*, void* data) {
        auto& self = *static_cast<Misuse*>(data);
        int fd = -7;
        EXPECT_EQ(qx_plix_subscribe(kScan, count, nullptr, &fd), -1);
        EXPECT_EQ(fd, -7);
        EXPECT_EQ(qx_plix_read_event_fd(self.waiting_fd, 0), -1);
        EXPECT_EQ(qx_plix_read_events(self.waiting_fd, 1), -1);
        EXPECT_EQ(qx_plix_uninit(), -1);
        EXPECT_EQ(qx_plix_init(), -1);
        EXPECT_EQ(stopped, 0);
        qx_plix_unsubscribe(self.ends);
        EXPECT_EQ(qx_plix_reapply_firewall_rules(), 0);
        ++self.calls;
    };
    for (const bool piped : {false, true}) {
        for (const auto ends : {kStarted, kScan}) {
            settle(0);
            const auto before = open_descriptors();
            Misuse self{ends};
            self.waiting_fd = subscribe(kScan, inbox);
            broker.emit(kScanName, "1");
            ASSERT_TRUE(is_readable(self.waiting_fd, kPatience));
            ASSERT_EQ(qx_plix_subscribe(kStarted, misuse, &self, piped ? &self.fd : nullptr), 0);
            broker.emit_raw(kStartedName, framed("1") + framed("2"));
            if (piped) {
                wait_until([&] { return bytes_in(self.fd) == 2; });
                EXPECT_EQ(qx_plix_read_event_fd(self.fd, 1), 0);
            }
            const int calls = ends == kStarted ? 1 : 2;
            wait_until([&] { return self.calls == calls; });
            broker.wait_for_subscribers(1);
            qx_plix_unsubscribe(ends == kStarted ? kScan : kStarted);
            EXPECT_EQ(self.calls, calls);
            EXPECT_TRUE(inbox.events().empty());
            settle(0);
            EXPECT_EQ(open_descriptors(), before);
        }
    }
}

bool sleeps(int thread_stat) {
    char text[128];
    const ssize_t size = ::pread(thread_stat, text, sizeof text, 0);
    return size > 0 &&
           std::string(text, static_cast<std::size_t>(size)).find(") S ") != std::string::npos;
}

TEST_F(Subscriptions, ReadersWaitWithoutADescriptorUntilWokenOrCancelled) {
    struct Reader {
        int fd;
        std::atomic<int> stat{-1};
        std::atomic<int> result{7};
    };
    const auto read = [](void* data) -> void* {
        auto& self = *static_cast<Reader*>(data);
        const int stat = ::open("/proc/thread-self/stat", O_RDONLY | O_CLOEXEC);
        rlimit none{};
        ::getrlimit(RLIMIT_NOFILE, &none);
        none.rlim_cur = 1; // poll needs a limit that is not below its number of descriptors
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
        self.stat = stat;
        self.result = qx_plix_read_event_fd(self.fd, 1);
        return nullptr;
    };
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    settle(0);
    const auto before = open_descriptors();
    // What ends the wait, and the result; 7 means that the call did not return.
    const struct {
        std::function<void(pthread_t)> act;
        int result;
    } cases[] = {
        {[&](pthread_t) { broker.emit(kStartedName, "1"); }, 0},
        {[](pthread_t) { qx_plix_unsubscribe(kStarted); }, -1},
        {[](pthread_t thread) { ::pthread_cancel(thread); }, 7},
        {[](pthread_t) { qx_plix_uninit(); }, -1},
    };
    for (const auto& c : cases) {
        Reader reader{subscribe(kStarted, inbox)};
        pthread_t thread{};
        ASSERT_EQ(::pthread_create(&thread, nullptr, read, &reader), 0);
        wait_until([&] { return reader.stat >= 0 && sleeps(reader.stat); });
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
        c.act(thread);
        ::pthread_join(thread, nullptr);
        ::close(reader.stat);
        EXPECT_EQ(reader.result, c.result);
        qx_plix_unsubscribe(kStarted);
    }
    broker.wait_for_connections(0);
    EXPECT_EQ(open_descriptors().size(), before.size() - 2) << "the thread's own";
}

TEST_F(Subscriptions, LeaveNothingOpen) {
    qx_plix_uninit();
    settle(0);
    const auto before = open_descriptors();
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(qx_plix_init(), 0);
        const int fd = subscribe(kStarted, inbox);
        subscribe(kStarted, inbox);
        ASSERT_EQ(qx_plix_subscribe(kScan, Inbox::note, &inbox, nullptr), 0);
        broker.emit_raw(kStartedName, framed("1") + framed("2").substr(0, 3));
        is_readable(fd, kPatience);
        broker.reply(kScanName, {""});
        broker.forget_requests();
        broker.drop_subscribers(kScanName);
        broker.wait_for_requests(1);
        for (const int open : open_descriptors()) {
            const bool inherited = std::count(before.begin(), before.end(), open) > 0;
            EXPECT_TRUE(inherited || (::fcntl(open, F_GETFD) & FD_CLOEXEC) != 0) << open;
        }
        EXPECT_EQ(qx_plix_uninit(), 0);
        settle(0);
        EXPECT_EQ(open_descriptors(), before);
        broker.answer(kScanName, kOk);
    }
}

TEST_F(Subscriptions, ProgramsMayStopTheThreadByTheFlagAlone) {
    const std::size_t before = count_threads();
    const auto start = Clock::now();
    __atomic_store_n(&stopped, 1, __ATOMIC_RELEASE);
    wait_until([&] { return count_threads() < before; });
    EXPECT_LT(since(start).count(), 1500);
    EXPECT_EQ(qx_plix_uninit(), 0);
}

// Subscribing, unsubscribing, reading, commands and a broker that restarts, all at once.
TEST_F(Subscriptions, FromManyThreads) {
    std::atomic<bool> over{false};
    std::atomic<bool> silent{false};
    std::atomic<int> events{0};
    std::vector<std::thread> threads;
    const auto until = [](const std::atomic<bool>& end, const std::function<void()>& work) {
        return std::thread([&end, work] {
            while (!end) {
                work();
            }
        });
    };
    for (const auto type : {kStarted, kScan, QX_PLIX_DEVICE_DISCOVERY}) {
        threads.push_back(until(over, [&, type] {
            int fd = -1;
            if (qx_plix_subscribe(type, count, &events, &fd) == 0) {
                for (int i = 0; i < 10 && is_readable(fd, std::chrono::milliseconds(5)); ++i) {
                    qx_plix_read_event_fd(fd, i % 2);
                }
                qx_plix_unsubscribe(type);
            }
        }));
        threads.push_back(until(over, [&, type] {
            if (qx_plix_subscribe(type, count, &events, nullptr) == 0) {
                ::sched_yield();
                qx_plix_unsubscribe(type);
            }
        }));
    }
    threads.push_back(until(over, [] {
        int status = 0;
        qx_plix_is_enabled(&status);
        // These are other threads' subscriptions, if anybody's.
        qx_plix_read_event_fd(10, 1);
        qx_plix_unsubscribe(kScan);
    }));
    // Readers take notifications from each other, and go on waiting; so this one ends last.
    std::thread emitter = until(silent, [&] {
        broker.emit(kStartedName, "1");
        broker.emit(kScanName, "[1, 2]");
        broker.emit_raw("device_discovery", framed("{}") + framed("[]"));
    });
    for (int round = 0; round < 10; ++round) {
        const int seen = events;
        wait_until([&] { return events >= seen + 100; });
        broker.stop();
        broker.start();
    }
    over = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    silent = true;
    emitter.join();
}

} // namespace
