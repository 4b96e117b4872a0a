#include "events.h"

#include "agent_fixture.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <list>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using namespace qx::test;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Clock = std::chrono::steady_clock;
using Events = std::vector<std::string>;

const std::string kAccepted = framed(kOk);

class Subscriptions : public StartedClient {
protected:
    Inbox inbox;
};

// Aliases that name the suites in failure reports.
using Registrar = Subscriptions;
using EventCallbacks = Subscriptions;
using EventReaders = Subscriptions;
using EventThread = Subscriptions;

Events numbered(std::size_t count) {
    Events events;
    for (std::size_t i = 0; i < count; ++i) {
        events.push_back("{\"n\": " + std::to_string(i) + "}");
    }
    return events;
}

std::string stream_of(const Events& events) {
    std::string bytes;
    for (const std::string& event : events) {
        bytes += framed(event);
    }
    return bytes;
}

std::size_t count_threads() {
    using fs::directory_iterator;
    return static_cast<std::size_t>(std::distance(directory_iterator("/proc/self/task"), {}));
}

TEST(EventNames, TranslateToLowerCaseBrokerNamesOfAtMost55Characters) {
    EXPECT_EQ(qx_plix_event_type_from_str(nullptr), QX_PLIX_EVENT_UNKNOWN);
    EXPECT_EQ(qx_plix_event_type_to_str(QX_PLIX_EVENT_UNKNOWN), nullptr);
    const std::pair<std::string, std::string> broker_names[] = {
        {"QX_PLIX_" + std::string(55, 'X'), std::string(55, 'x')},
        {"QX_PLIX_" + std::string(56, 'X'), "(none)"},
        {"QX_PLIX_AB CD", "ab"},
        {"QX_PLIX_", "(none)"},
        {"QX_PLI_X", "(none)"},
        {"", "(none)"},
    };
    for (const auto& [name, broker_name] : broker_names) {
        char translated[qxplix::kBrokerNameSize];
        const int result = qxplix::to_broker_event_name(name.c_str(), translated);
        EXPECT_EQ(result == 0 ? translated : "(none)", broker_name) << name;
    }
}

TEST_F(Subscriptions, LeaveNoConnectionOrDescriptorOpenWhenRefused) {
    int fd = -1;
    EXPECT_EQ(qx_plix_subscribe(QX_PLIX_EVENT_UNKNOWN, Inbox::note, nullptr, &fd), -1);
    EXPECT_EQ(qx_plix_subscribe(kStarted, nullptr, nullptr, &fd), -1);
    EXPECT_THAT(broker.requests(), IsEmpty());
    settle(0);
    const auto before = open_descriptors();
    for (const Reply& refusal : {Reply{framed(R"({"status": 1})")}, Reply{"\1", true}}) {
        broker.reply(kStartedName, refusal);
        EXPECT_EQ(qx_plix_subscribe(kStarted, Inbox::note, nullptr, &fd), -1);
    }
    EXPECT_THAT(broker.requests(), SizeIs(2));
    broker.wait_for_connections(0);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(qx_plix_read_event_fd(fd, 0), -1);
    listen(kScan, inbox);
    EXPECT_EQ(qx_plix_read_event_fd(-1, 0), -1) << "-1 is not a descriptor";
}

TEST_F(Subscriptions, DeliverOneSomeOrAllEventsPerRead) {
    const int fd = subscribe(kStarted, inbox);
    EXPECT_EQ(qx_plix_read_events(fd, 1), 0) << "the read must succeed at once if no event waits";
    broker.emit_raw(kStartedName, stream_of({"0", "1", "2", "3", "4"}));
    EXPECT_EQ(qx_plix_read_event_fd(fd, 0), 0) << "the read must wait for the first event";
    EXPECT_THAT(inbox.events(), ElementsAre("0"));
    ASSERT_TRUE(is_readable(fd));
    EXPECT_EQ(qx_plix_read_events(fd, 3), 0);
    EXPECT_THAT(inbox.events(), SizeIs(3))
        << "each event counts towards the three bytes with its terminating zero";
    ASSERT_TRUE(is_readable(fd));
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(qx_plix_read_events(fd, 0), 0) << "a read with a limit of 0 bytes must succeed";
    }
    ASSERT_TRUE(is_readable(fd));
    EXPECT_EQ(qx_plix_read_event_fd(fd, 1), 0);
    EXPECT_THAT(inbox.events(), ElementsAre("0", "1", "2", "3", "4"));
    EXPECT_EQ(bytes_in(fd), 0);
}

TEST_F(Registrar, RefusesNinthSubscription) {
    for (int i = 0; i < 8; ++i) {
        listen(kStarted, inbox);
    }
    const auto before = open_descriptors();
    int fd = -1;
    EXPECT_EQ(qx_plix_subscribe(kScan, Inbox::note, &inbox, &fd), -1);
    broker.wait_for_connections(8);
    qx_plix_unsubscribe(kStarted);
    broker.wait_for_connections(7);
    listen(kScan, inbox);
    EXPECT_LT(open_descriptors().size(), before.size() + 2);
}

TEST_F(Registrar, UnsubscribeEndsOnlyOneOfTwoSubscriptionsToAnEvent) {
    Inbox second;
    const int first_fd = subscribe(kStarted, inbox);
    const int second_fd = subscribe(kStarted, second);
    qx_plix_unsubscribe(kScan);
    broker.emit(kStartedName, "1");
    read_until(first_fd, 1, inbox, 1);
    read_until(second_fd, 1, second, 1);
    qx_plix_unsubscribe(kStarted);
    broker.wait_for_subscribers(1);
    // Reuse the number of the closed descriptor for another pipe, as an application may.
    int others[2] = {-1, -1};
    ASSERT_EQ(::pipe(others), 0);
    ASSERT_TRUE(others[0] == first_fd || ::dup2(others[0], first_fd) == first_fd);
    ASSERT_EQ(::write(others[1], "..", 2), 2);
    EXPECT_EQ(qx_plix_read_event_fd(first_fd, 1), -1);
    EXPECT_EQ(qx_plix_read_events(first_fd, 1), -1);
    EXPECT_EQ(bytes_in(first_fd), 2);
    broker.emit(kStartedName, "2");
    read_until(second_fd, 1, second, 2);
    EXPECT_THAT(inbox.events(), ElementsAre("1"));
}

TEST_F(Subscriptions, LoseNoEventWhenTheirPipeIsFull) {
    const Events events = numbered(10000);
    const auto read_portion = [](int fd) { return qx_plix_read_events(fd, 1000); };
    const auto read_one = [](int fd) { return qx_plix_read_event_fd(fd, 0); };
    const auto read_all = [](int fd) { return qx_plix_read_event_fd(fd, 1); };
    // The small pipe holds only some of the notification bytes. The library writes up to 512 of
    // them at a time, so up to 511 bytes of the pipe may stay free.
    const std::tuple<std::function<int(int)>, int, int> cases[] = {
        {read_one, 4096, 4096 - 511},
        {read_all, 4096, 4096 - 511},
        {read_portion, 4096, 4096 - 511},
        {read_all, 65536, 10000},
    };
    for (const auto& [read, pipe_size, held] : cases) {
        Inbox all;
        const int fd = subscribe(kStarted, all);
        ASSERT_EQ(::fcntl(fd, F_SETPIPE_SZ, pipe_size), pipe_size);
        broker.emit_raw(kStartedName, stream_of(events));
        wait_until([fd, least = held] { return bytes_in(fd) >= least; });
        read_until(fd, all, events.size(), read);
        EXPECT_TRUE(all.events() == events);
        EXPECT_EQ(bytes_in(fd), 0);
        qx_plix_unsubscribe(kStarted);
    }
}

/// Collects the warnings about the backlog. Each test sets a small limit.
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

    std::atomic<int> event_thread{-1}; ///< its /proc stat file, or -1 before a warning
    Inbox warnings{[this] { event_thread = event_thread < 0 ? open_own_stat() : +event_thread; }};
};

TEST_F(Backlog, IsBoundedAndLosesNoEvent) {
    constexpr std::size_t kLimit = std::size_t{1} << 20;
    EXPECT_EQ(qx_plix_set_backlog_limit(kLimit), 0);
    const Events events = numbered(200'000);
    for (const bool reads : {true, false}) {
        Inbox all;
        Inbox other;
        const int fd = subscribe(kStarted, all);
        const int other_fd = subscribe(kScan, other);
        ASSERT_EQ(::fcntl(fd, F_SETPIPE_SZ, 1 << 20), 1 << 20);
        const std::size_t told = warnings.count();
        std::thread emitter([&] {
            broker.emit_raw(kStartedName, stream_of(events));
            broker.emit(kScanName, "1");
        });
        warnings.wait_for(told + 1);
        const int held = bytes_in(fd);
        EXPECT_LT(static_cast<std::size_t>(held) * 32, 2 * kLimit);
        wait_until([&] { return event_thread >= 0 && sleeps(event_thread); });
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
        EXPECT_EQ(warnings.count(), told + 2);
        qx_plix_unsubscribe(kStarted);
        qx_plix_unsubscribe(kScan);
    }
}

TEST_F(Backlog, EndIsReportedOnlyAfterASecondWithoutBackPressure) {
    EXPECT_EQ(qx_plix_set_backlog_limit(1000), 0);
    const int fd = subscribe(kStarted, inbox);
    broker.emit(kStartedName, '"' + std::string(2000, 'x') + '"');
    warnings.wait_for(1);
    const auto relieved = Clock::now();
    read_until(fd, 1, inbox, 1);
    wait_until([&] {
        broker.emit(kStartedName, "1");
        return is_readable(fd) && qx_plix_read_event_fd(fd, 1) == 0 && warnings.count() == 2;
    });
    EXPECT_GE(since(relieved).count(), 990);
}

TEST_F(Backlog, AdmitsOneFrameAtATimeAboveTheLimit) {
    EXPECT_EQ(qx_plix_set_backlog_limit(50'000), 0);
    Inbox other;
    Inbox called;
    const int fd = subscribe(kStarted, inbox);
    const int other_fd = subscribe(kScan, other);
    listen(QX_PLIX_DEVICE_DISCOVERY, called);
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
    EXPECT_THAT(broker.requests(), SizeIs(3));
}

TEST_F(Backlog, StaysBoundedWhenFramesNeverEnd) {
    if (kSanitized) {
        GTEST_SKIP() << "sanitizers add to the memory that the test measures";
    }
    constexpr std::size_t kMib = std::size_t{1} << 20;
    EXPECT_EQ(qx_plix_set_backlog_limit(kMib), 0);
    const int fd = subscribe(kStarted, inbox);
    const int other_fd = subscribe(kScan, inbox);
    const auto announced = static_cast<std::int32_t>(21 * kMib);
    std::string part(20 * kMib, 'x');
    std::memcpy(part.data(), &announced, sizeof announced);
    const long before = resident_kib();
    std::thread emitter([&] {
        broker.emit_raw(kStartedName, part);
        broker.emit_raw(kScanName, part);
    });
    long most = 0;
    // The library drops the two stalled connections one by one and subscribes again, which sends
    // the third and the fourth request.
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

TEST_F(Subscriptions, ReconnectAfterABrokenOrTruncatedFrame) {
    broker.reply(kStartedName, {kAccepted + framed("1")});
    listen(kStarted, inbox);
    inbox.wait_for(1);
    const std::string half = framed(R"({"never": "whole"})").substr(0, 9);
    for (const std::string& broken : {std::string("\x05"), half, std::string(4, '\0')}) {
        const std::size_t before = inbox.count();
        broker.emit_raw(kStartedName, broken);
        broker.drop_subscribers(kStartedName);
        inbox.wait_for(before + 1);
    }
    const std::size_t before = inbox.count();
    broker.emit_raw(kStartedName, framed("0") + half);
    broker.drop_subscribers(kStartedName);
    inbox.wait_for(before + 2);
    EXPECT_THAT(inbox.events(), AllOf(Contains("0"), Each(AnyOf("0", "1"))));
}

TEST_F(Subscriptions, ReceiveEventsSentTogetherWithTheReply) {
    broker.reply(kStartedName, {kAccepted + stream_of({"1", "2"})});
    listen(kStarted, inbox);
    inbox.wait_for(2);
    broker.reply(kStartedName, {kAccepted + framed("3") + framed("4").substr(0, 2)});
    broker.drop_subscribers(kStartedName);
    inbox.wait_for(3);
    for (const char byte : framed("4").substr(2)) {
        broker.emit_raw(kStartedName, {&byte, 1});
    }
    inbox.wait_for(4);
    EXPECT_THAT(inbox.events(), ElementsAre("1", "2", "3", "4"));
}

TEST_F(Subscriptions, ReceiveEventsWhileAnotherWaitsForASilentBroker) {
    Inbox other;
    subscribe(kStarted, inbox);
    const int other_fd = subscribe(kScan, other);
    for (const std::string& silence : {std::string(), kAccepted.substr(0, 7)}) {
        broker.reply(kStartedName, {silence});
        broker.forget_requests();
        const auto dropped = Clock::now();
        broker.drop_subscribers(kStartedName);
        broker.wait_for_requests(4);
        EXPECT_GE(since(dropped).count(), 1990)
            << "the library sent four requests in less than two timeouts of one second";
        // An event of the other subscription must arrive while the reply is outstanding. On a busy
        // machine, that may take several attempts.
        wait_until([&] {
            broker.forget_requests();
            broker.wait_for_requests(1);
            const auto asked = Clock::now();
            broker.emit(kScanName, "1");
            read_until(other_fd, 1, other, other.count() + 1);
            return since(asked).count() < 500;
        });
    }
    // Neither an outstanding reply nor an incomplete event may block unsubscribe or uninit.
    broker.emit_raw(kScanName, framed("[1, 2, 3]").substr(0, 8));
    qx_plix_unsubscribe(kStarted);
    qx_plix_unsubscribe(kScan);
    EXPECT_EQ(qx_plix_uninit(), 0);
    broker.wait_for_connections(0);
}

// Confines all threads to one core and gives all but the calling thread the lowest priority, so
// they run only while the calling thread waits.
void outrank_other_threads() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<std::size_t>(::sched_getcpu()), &one);
    const sched_param none{};
    for (const auto& task : fs::directory_iterator("/proc/self/task")) {
        const pid_t id = std::stoi(task.path().filename());
        EXPECT_EQ(::sched_setaffinity(id, sizeof one, &one), 0);
        EXPECT_TRUE(id == ::gettid() ||
                    ::syscall(SYS_sched_setscheduler, id, SCHED_IDLE, &none) == 0);
    }
}

TEST_F(Subscriptions, AreNotStarvedByASlowReaderOfAnotherSubscription) {
    constexpr int kCount = 500;
    std::atomic<int> event_thread{-1};
    std::size_t before_other = 0;
    Inbox other([&] { event_thread = event_thread < 0 ? open_own_stat() : +event_thread; });
    Inbox slow([&] {
        if (slow.count() == 1) {
            broker.emit(kScanName, "2");
            // A sleeping event thread waits for the registrar's lock, which the reader holds.
            wait_until([&] { return ::usleep(1000) == 0 && sleeps(event_thread); });
        }
        before_other = other.count() < 2 ? slow.count() : before_other;
    });
    const int fd = subscribe(kStarted, slow);
    listen(kScan, other);
    broker.emit(kScanName, "1");
    broker.emit_raw(kStartedName, stream_of(numbered(kCount)));
    wait_until([&] { return event_thread >= 0 && bytes_in(fd) == kCount; });
    outrank_other_threads();
    EXPECT_EQ(qx_plix_read_event_fd(fd, 1), 0);
    EXPECT_EQ(slow.count(), kCount);
    EXPECT_LE(before_other, 64);
}

TEST_F(Subscriptions, LeaveNoNotificationAfterTwoReadersDrainThem) {
    constexpr int kCount = 100;
    Inbox slow([] { ::usleep(1000); });
    const int fd = subscribe(kStarted, slow);
    broker.emit_raw(kStartedName, stream_of(numbered(kCount)));
    wait_until([&] { return bytes_in(fd) == kCount; });
    std::thread other([&] {
        slow.wait_for(1);
        EXPECT_EQ(qx_plix_read_events(fd, SIZE_MAX), 0);
    });
    EXPECT_EQ(qx_plix_read_events(fd, SIZE_MAX), 0);
    other.join();
    EXPECT_EQ(slow.count(), kCount);
    EXPECT_EQ(bytes_in(fd), 0);
}

TEST_F(Subscriptions, TakeTurnsOnTheEventThread) {
    const std::size_t threads = count_threads();
    std::size_t before_other = 0;
    Inbox busy([&] {
        if (busy.count() == 1) {
            broker.emit(kScanName, "1");
        }
    });
    Inbox other([&] {
        before_other = busy.count();
        __atomic_store_n(&stopped, 1, __ATOMIC_RELEASE);
    });
    listen(kStarted, busy);
    listen(kScan, other);
    broker.emit_raw(kStartedName, stream_of(numbered(300)));
    wait_until([&] { return count_threads() < threads; });
    qx_plix_uninit();
    EXPECT_EQ(other.count(), 1);
    EXPECT_LE(before_other, 8);
    EXPECT_LE(busy.count(), before_other + 8);
}

TEST_F(Subscriptions, DoNotTimeOutDuringASlowCallback) {
    std::size_t asked = 0;
    Inbox slow([&] {
        asked = broker.requests().size();
        broker.emit_raw(kStartedName, kAccepted + framed("1"));
        ::usleep(1'100'000);
    });
    const int fd = subscribe(kStarted, inbox);
    listen(kScan, slow);
    broker.reply(kStartedName, {""});
    // On a busy machine the retry may time out before the callback runs, so repeat the attempt.
    wait_until([&] {
        broker.forget_requests();
        broker.drop_subscribers(kStartedName);
        broker.wait_for_requests(1);
        broker.emit(kScanName, "1");
        read_until(fd, 1, inbox, inbox.count() + 1);
        return asked == 1;
    });
    EXPECT_THAT(broker.requests(), SizeIs(1));
}

TEST_F(Subscriptions, AreRetriedEvery200Milliseconds) {
    listen(kStarted, inbox);
    broker.answer(kStartedName, R"({"status": 1})");
    broker.forget_requests();
    const auto start = Clock::now();
    broker.drop_subscribers(kStartedName);
    broker.wait_for_requests(5);
    EXPECT_GE(since(start).count(), 4 * 190);
    const std::string deep = std::string(2000, '[') + std::string(2000, ']');
    broker.reply(kStartedName, {framed(success(deep)) + framed("1")});
    inbox.wait_for(1);
}

// Callbacks run under the registrar's lock. The refused calls would deadlock on it.
TEST_F(EventCallbacks, MayUnsubscribeButNotSubscribeReadOrUninit) {
    for (const auto& [piped, ends] : {std::pair(false, kStarted), std::pair(false, kScan),
                                      std::pair(true, kStarted), std::pair(true, kScan)}) {
        settle(0);
        const auto before = open_descriptors();
        const int waiting = subscribe(kScan, inbox);
        Inbox misuse([this, waiting, ended = ends] {
            int fd = -7;
            EXPECT_EQ(qx_plix_subscribe(kScan, Inbox::note, &inbox, &fd), -1);
            EXPECT_EQ(fd, -7);
            EXPECT_EQ(qx_plix_read_event_fd(waiting, 0), -1);
            EXPECT_EQ(qx_plix_read_events(waiting, 1), -1);
            EXPECT_EQ(qx_plix_uninit(), -1);
            EXPECT_EQ(qx_plix_init(), -1);
            EXPECT_EQ(stopped, 0);
            qx_plix_unsubscribe(ended);
            EXPECT_EQ(qx_plix_reapply_firewall_rules(), 0);
        });
        broker.emit(kScanName, "1");
        ASSERT_TRUE(is_readable(waiting));
        int fd = -1;
        ASSERT_EQ(qx_plix_subscribe(kStarted, Inbox::note, &misuse, piped ? &fd : nullptr), 0);
        broker.emit_raw(kStartedName, stream_of({"1", "2"}));
        if (piped) {
            wait_until([&] { return bytes_in(fd) == 2; });
            EXPECT_EQ(qx_plix_read_event_fd(fd, 1), 0);
        }
        const std::size_t calls = ends == kStarted ? 1 : 2;
        misuse.wait_for(calls);
        broker.wait_for_subscribers(1);
        qx_plix_unsubscribe(ends == kStarted ? kScan : kStarted);
        EXPECT_EQ(misuse.count(), calls);
        EXPECT_THAT(inbox.events(), IsEmpty());
        settle(0);
        EXPECT_EQ(open_descriptors(), before);
    }
}

TEST_F(EventReaders, OpenNoDescriptorAndBlockUntilWokenOrCancelled) {
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    // With this limit the reader cannot open a descriptor. A limit of 0 would make poll fail.
    const rlimit none{1, limit.rlim_max};
    settle(0);
    const auto before = open_descriptors();
    // The action that ends the wait, and the result of the read, or 7 if the read does not return.
    const std::pair<std::function<void(pthread_t)>, int> cases[] = {
        {[&](pthread_t) { broker.emit(kStartedName, "1"); }, 0},
        {[](pthread_t) { qx_plix_unsubscribe(kStarted); }, -1},
        {[](pthread_t thread) { ::pthread_cancel(thread); }, 7},
        {[](pthread_t) { qx_plix_uninit(); }, -1},
    };
    for (const auto& [act, expected] : cases) {
        const int fd = subscribe(kStarted, inbox);
        std::atomic<int> stat{-1};
        std::atomic<int> result{7};
        std::thread reader([&] {
            const int own = open_own_stat();
            EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
            stat = own;
            result = qx_plix_read_event_fd(fd, 1);
        });
        wait_until([&] { return stat >= 0 && sleeps(stat); });
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
        act(reader.native_handle());
        reader.join();
        ::close(stat);
        EXPECT_EQ(result, expected);
        qx_plix_unsubscribe(kStarted);
    }
    broker.wait_for_connections(0);
    EXPECT_EQ(open_descriptors().size(), before.size() - 2)
        << "uninit must close the epoll set and the eventfd";
}

TEST_F(Subscriptions, LeaveNoDescriptorOpenOrInheritable) {
    qx_plix_uninit();
    settle(0);
    const auto before = open_descriptors();
    ASSERT_EQ(qx_plix_init(), 0);
    const int fd = subscribe(kStarted, inbox);
    listen(kScan, inbox);
    broker.emit_raw(kStartedName, framed("1") + framed("2").substr(0, 3));
    ASSERT_TRUE(is_readable(fd));
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
}

TEST_F(EventThread, EndsWhenTheStoppedFlagIsSet) {
    const std::size_t before = count_threads();
    __atomic_store_n(&stopped, 1, __ATOMIC_RELEASE);
    wait_until([&] { return count_threads() < before; });
    EXPECT_EQ(qx_plix_uninit(), 0);
}

/// Repeats `work` on its own thread until the object is destroyed.
class Repeated {
public:
    explicit Repeated(std::function<void()> work)
        : thread_([this, work = std::move(work)] {
            while (!over_) {
                work();
            }
        }) {}
    Repeated(const Repeated&) = delete;
    Repeated& operator=(const Repeated&) = delete;
    ~Repeated() {
        over_ = true;
        thread_.join();
    }

private:
    std::atomic<bool> over_{false};
    std::thread thread_;
};

// Threads subscribe, unsubscribe, read events and send commands while the broker restarts.
TEST_F(Subscriptions, SurviveConcurrentUseFromManyThreads) {
    std::atomic<int> events{0};
    const auto count = [](const char*, void* counter) {
        ++*static_cast<std::atomic<int>*>(counter);
    };
    // The emitter must end last: if two readers compete for one notification, the loser blocks
    // until the next event.
    const Repeated emitter([&] {
        broker.emit(kStartedName, "1");
        broker.emit(kScanName, "[1, 2]");
        broker.emit_raw("device_discovery", stream_of({"{}", "[]"}));
    });
    std::list<Repeated> threads;
    for (const auto type : {kStarted, kScan, QX_PLIX_DEVICE_DISCOVERY}) {
        threads.emplace_back([&, type] {
            int fd = -1;
            if (qx_plix_subscribe(type, count, &events, &fd) == 0) {
                for (int i = 0; i < 10 && is_readable(fd, std::chrono::milliseconds(5)); ++i) {
                    qx_plix_read_event_fd(fd, i % 2);
                }
                qx_plix_unsubscribe(type);
            }
        });
        threads.emplace_back([&, type] {
            if (qx_plix_subscribe(type, count, &events, nullptr) == 0) {
                ::sched_yield();
                qx_plix_unsubscribe(type);
            }
        });
    }
    threads.emplace_back([] {
        int status = 0;
        qx_plix_is_enabled(&status);
        // Descriptor 10 and the subscription, if they exist, belong to other threads.
        qx_plix_read_event_fd(10, 1);
        qx_plix_unsubscribe(kScan);
    });
    for (int round = 0; round < 10; ++round) {
        const int seen = events;
        wait_until([&] { return events >= seen + 100; });
        broker.stop();
        broker.start();
    }
}

} // namespace
