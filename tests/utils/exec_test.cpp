#include "forked.h"
#include "process.h"
#include "qx/error.h"
#include "qx/exec.h"
#include "world.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using qx::exec_command;
using namespace qx::test;
using testing::HasSubstr;

int shell(const std::string& script, int detach = 0) {
    return exec_command({"/bin/sh", "-c", script}, detach);
}

// From now on close_range(2) is unknown, as in an older kernel.
void forbid_close_range() {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_close_range, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{std::size(program), program};
    ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
    ASSERT_EQ(::syscall(SYS_close_range, 4000, 4000, 0), -1);
}

TEST(ExecCommand, HandsOnTheArgumentsAndReturnsTheExitStatus) {
    EXPECT_EQ(exec_command({"/bin/sh", "-c", R"([ "$0:$#:$1:$2" = 'a b:2::$HOME;*' ] && exit 255)",
                            "a b", "", "$HOME;*"},
                           0),
              255);
    EXPECT_EQ(shell("kill -9 $$"), 128 + 9);
}

TEST(ExecCommand, SaysWhatCannotBeRun) {
    const TemporaryDirectory here;
    const fs::path file = here.path() / "file";
    write_file(file, "echo no program\n");
    const auto reason = [](const fs::path& program) {
        EXPECT_LT(exec_command({program}, 0), 0);
        EXPECT_LT(exec_command({program}, 1), 0);
        EXPECT_EQ(qx::_get_qxerrno().number, 2);
        return qx::_get_qxerrno().second.sview().to_string();
    };
    EXPECT_EQ(reason(here.path() / "none"),
              "cannot run '" + (here.path() / "none").string() + "': No such file or directory");
    EXPECT_THAT(reason(file), HasSubstr("Permission denied"));
    fs::permissions(file, fs::perms::owner_all);
    EXPECT_THAT(reason(file), HasSubstr("Exec format error"));
    EXPECT_THAT(reason(here.path()), HasSubstr("Permission denied"));
    EXPECT_LT(exec_command({}, 0), 0);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child was left";
}

void expect_only_standard_streams() {
    const TemporaryDirectory here;
    const fs::path out = here.path() / "out";
    ASSERT_GE(::fcntl(2, F_DUPFD, 3), 0); // two that the program would inherit
    ASSERT_EQ(::dup2(2, 900), 900);
    const auto before = open_descriptors();
    const std::string script = R"(
        found=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2)
        number=3
        while [ $number -lt 1024 ]; do
            [ -e /proc/$$/fd/$number ] && found="$found $number"
            number=$((number + 1))
        done
        echo "$found" > )";
    EXPECT_EQ(shell(script + out.string()), 0);
    EXPECT_EQ(read_file(out),
              "/dev/null\n/dev/null\n" + fs::read_symlink("/proc/self/fd/2").string() + "\n");
    EXPECT_EQ(open_descriptors(), before);
}

TEST(ExecCommand, LeavesTheProgramOnlyStandardStreams) {
    expect_only_standard_streams();
}

TEST(ExecCommand, LeavesTheProgramOnlyStandardStreamsOnOlderKernels) {
    if (kEmulated) {
        GTEST_SKIP() << "the emulator takes no system call filters";
    }
    Forked child([] {
        forbid_close_range();
        expect_only_standard_streams();
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(child.wait(), 0);
}

TEST(ExecCommand, RunsWhenTheStandardStreamsAreClosed) {
    Forked child([] {
        ::close(0);
        ::close(1);
        ::close(2);
        return exec_command({"/nowhere/none"}, 0) < 0 ? shell("exit 5") : 1;
    });
    EXPECT_EQ(child.wait(), 5);
}

TEST(ExecCommand, LeavesTheProgramNoBlockedOrIgnoredSignal) {
    const TemporaryDirectory here;
    const fs::path out = here.path() / "out";
    sigset_t blocked;
    sigset_t after;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGCHLD, SIG_IGN);
    // Without another program: while it starts one, the shell itself blocks signals.
    EXPECT_EQ(shell("while read -r line; do case $line in SigBlk*|SigIgn*) echo \"$line\"; esac; "
                    "done < /proc/$$/status > " +
                    out.string() + "; exit 3"),
              3)
        << "though the caller ignores the end of children";
    EXPECT_EQ(::signal(SIGCHLD, SIG_DFL), SIG_IGN);
    EXPECT_EQ(read_file(out), "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
    ::pthread_sigmask(SIG_BLOCK, nullptr, &after);
    EXPECT_EQ(::sigismember(&after, SIGTERM), 1);
    EXPECT_EQ(::sigismember(&after, SIGINT), 0);
}

TEST(ExecCommand, GivesTheProgramAFixedPathDirectoryAndUmask) {
    const TemporaryDirectory here;
    const std::string out = here.path() / "out";
    fs::current_path(here.path());
    ::umask(0777);
    ::setenv("PATH", here.path().c_str(), 1);
    ::setenv("QX_OTHER", "o", 1);
    const mode_t none = 0777;
    EXPECT_EQ(shell("echo \"$PATH:$PWD:$(umask):$QX_OTHER\" >" + out), 0);
    EXPECT_EQ(::umask(none), none) << "the caller's own stays";
    EXPECT_EQ(read_file(out), "/usr/sbin:/usr/bin:/sbin:/bin:/:0022:o\n");
}

// The shell's child, in a process group of its own, has to be killed too, and only the first
// program of two is slow.
TEST(ExecCommand, KillsAProgramThatRunsOnAfterAStopSignal) {
    const TemporaryDirectory here;
    const fs::path gate = here.path() / "gate";
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    Forked caller([&] {
        sigset_t held;
        ::sigfillset(&held);
        ::pthread_sigmask(SIG_SETMASK, &held, nullptr);
        const std::chrono::milliseconds grace(300);
        const std::string script = "set -m; (echo here >$0; read -r line <$0) & wait; exit 3";
        const auto slow = qx::run_program({"/bin/bash", "-c", script, gate}, grace);
        const auto quick = qx::run_program({"/bin/sh", "-c", "exit 4"}, grace);
        return slow.is_killed && slow.status == 128 + SIGKILL && !quick.is_killed ? quick.status
                                                                                  : 1;
    });
    EXPECT_EQ(read_file(gate), "here\n");
    caller.kill(SIGTERM);
    EXPECT_EQ(caller.wait(), 4);
    // Nobody reads any more.
    wait_until([&] {
        const int fd = ::open(gate.c_str(), O_WRONLY | O_NONBLOCK);
        return fd < 0 ? errno == ENXIO : ::close(fd) != 0;
    });
}

TEST(ExecCommand, DoesNotWaitWhenToldSo) {
    const TemporaryDirectory here;
    const fs::path gate = here.path() / "gate";
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    EXPECT_EQ(shell("echo $$ > " + gate.string(), 1), 0);
    // Only now can the program go on: it waits for somebody to read.
    EXPECT_THAT(read_file(gate), testing::MatchesRegex("[0-9]+\n"));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(ExecCommand, RunsWhileOtherThreadsAllocate) {
    std::atomic<bool> done = false;
    std::atomic<std::size_t> allocated = 0;
    std::thread busy([&] {
        while (!done) {
            allocated += std::string(1000, 'x').size();
        }
    });
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(shell("exit 1"), 1);
    }
    done = true;
    busy.join();
}

} // namespace
