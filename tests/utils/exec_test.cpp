#include "forked.h"
#include "process.h"
#include "qx/error.h"
#include "qx/exec.h"

#include <cstddef>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using qx::exec_command;
using namespace qx::test;
using testing::HasSubstr;

int shell(const std::string& script, int detach = 0) {
    return exec_command({"/bin/sh", "-c", script}, detach);
}

TEST(ExecCommand, PassesArgumentsUnchangedAndReturnsTheExitStatus) {
    EXPECT_EQ(exec_command({"/bin/sh", "-c", R"([ "$0:$#:$1:$2" = 'a b:2::$HOME;*' ] && exit 255)",
                            "a b", "", "$HOME;*"},
                           0),
              255);
    EXPECT_EQ(shell("kill -9 $$"), 128 + 9);
}

TEST(ExecCommand, NamesTheProgramThatCannotRunAndTheReason) {
    const TemporaryDirectory here;
    const fs::path file = here.path() / "file";
    write_file(file, "echo no program\n");
    const auto reason = [](const fs::path& program) {
        EXPECT_LT(exec_command({program}, 0), 0);
        EXPECT_LT(exec_command({program}, 1), 0);
        EXPECT_EQ(qx::_get_qxerrno().number, 2);
        return qx::_get_qxerrno().second.sview().to_string();
    };
    EXPECT_EQ(reason("/opt/none"), "cannot run '/opt/none': No such file or directory");
    EXPECT_THAT(reason(file), HasSubstr("Permission denied"));
    fs::permissions(file, fs::perms::owner_all);
    EXPECT_THAT(reason(file), HasSubstr("Exec format error"));
    EXPECT_LT(exec_command({}, 0), 0);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child process is left";
}

// Makes close_range(2) fail with ENOSYS, as on an older kernel.
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

// Changes everything that a program can inherit. The executed program must see only the change of
// QX_OTHER, and the caller must keep all changes.
void expect_fixed_surroundings() {
    const TemporaryDirectory here;
    const fs::path out = here.path() / "out";
    ASSERT_GE(::fcntl(2, F_DUPFD, 3), 0);
    ASSERT_EQ(::dup2(2, 900), 900);
    sigset_t blocked;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGCHLD, SIG_IGN);
    fs::current_path(here.path());
    ::umask(0777);
    ::setenv("PATH", here.path().c_str(), 1);
    ::setenv("QX_OTHER", "o", 1);
    const auto before = open_descriptors();
    const std::string script = QX_SOURCE_DIR "/tests/utils/look_around.sh";
    EXPECT_EQ(exec_command({"/bin/sh", script, out}, 0), 3);
    EXPECT_EQ(read_file(out), "SigBlk:\t0000000000000000, SigIgn:\t0000000000000000, "
                              "/usr/sbin:/usr/bin:/sbin:/bin:/:0022:o, /dev/null /dev/null " +
                                  fs::read_symlink("/proc/self/fd/2").string() + "\n");
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(::signal(SIGCHLD, SIG_DFL), SIG_IGN);
    EXPECT_EQ(::umask(0), 0777);
    ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_TRUE(::sigismember(&blocked, SIGTERM) == 1 && ::sigismember(&blocked, SIGINT) == 0);
}

TEST(ExecCommand, ResetsSignalsDescriptorsAndEnvironment) {
    EXPECT_TRUE(succeeds_in_child(expect_fixed_surroundings));
}

TEST(ExecCommand, ResetsSignalsDescriptorsAndEnvironmentWithoutCloseRange) {
    if (kEmulated) {
        GTEST_SKIP() << "the emulator does not support seccomp filters";
    }
    EXPECT_TRUE(succeeds_in_child([] {
        forbid_close_range();
        expect_fixed_surroundings();
    }));
}

TEST(ExecCommand, RunsAProgramWhileTheStandardStreamsAreClosed) {
    Forked child([] {
        ::close(0);
        ::close(1);
        ::close(2);
        return exec_command({"/nowhere/none"}, 0) < 0 ? shell("exit 5") : 1;
    });
    EXPECT_EQ(child.wait(), 5);
}

// The slow program starts a child in another process group, and the child must be killed too. A
// quick program that runs after the signal must not be killed.
TEST(ExecCommand, KillsASlowProgramAndItsChildrenAfterATerminationSignal) {
    const TemporaryDirectory here;
    const fs::path gate = here.path() / "gate";
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    Forked caller([&] {
        sigset_t held;
        ::sigfillset(&held);
        ::pthread_sigmask(SIG_SETMASK, &held, nullptr);
        const std::chrono::milliseconds grace(300);
        const std::string script = "set -m; (echo $BASHPID >$0; read -r line <$0) & wait; exit 3";
        const auto slow = qx::run_program({"/bin/bash", "-c", script, gate}, grace);
        const auto quick = qx::run_program({"/bin/sh", "-c", "exit 4"}, kPatience);
        const bool is_slow_killed = slow.is_killed && slow.status == 128 + SIGKILL;
        return is_slow_killed && !quick.is_killed ? quick.status : 1;
    });
    const std::string child = lines_of(read_file(gate)).at(0);
    caller.kill(SIGTERM);
    EXPECT_EQ(caller.wait(), 4);
    std::error_code ended;
    wait_until([&] { return fs::read_symlink("/proc/" + child + "/exe", ended).empty(); });
}

TEST(ExecCommand, DoesNotWaitForADetachedProgram) {
    const TemporaryDirectory here;
    const fs::path gate = here.path() / "gate";
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    EXPECT_EQ(shell("echo $$ > " + gate.string(), 1), 0);
    // The program blocks until this read opens the FIFO, so exec_command has not waited for it.
    EXPECT_THAT(read_file(gate), testing::MatchesRegex("[0-9]+\n"));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

} // namespace
