// Switching the cloud deployment: what runs in which order, and that nothing is left switched off.

#include "deployment.h"

#include "agent.h"
#include "forked.h"
#include "qx/log.h"

#include <fcntl.h>
#include <sstream>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace qx::test;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

const std::string kProtected = R"("/agent/protection_enabled": "1")";
const std::string kSwitched = R"("/cirrel/entrypoints/default": "stage")";
const std::string kRan = "stop protection=0\n-stop\nstart protection=0\n-start\n";
const std::vector<std::string> kSwitch = {QX_TOOL, "set_registration_cloud", "--cloud=staging"};

class Deployment : public Agent {
protected:
    Deployment() {
        write_programs();
        write_file(ran_, "");
    }

    void write_programs() const {
        write_program(kScript, "echo \"$1 protection=$(sed -n "
                               "'s/.*protection_enabled\": \"\\(.\\)\".*/\\1/p' " +
                                   kSettingsFile.string() + " 2>/dev/null)\" >>" + ran_.string() +
                                   "\n" + pause("$1"));
        write_program(kDaemon, "echo \"$1\" >>" + ran_.string() + "\n" + pause("$1"));
    }

    /// Shell code for a program: if `argument` names a FIFO in the pause directory, the program
    /// reports there once and waits for a line.
    static std::string pause(const std::string& argument) {
        const std::string file = '"' + kPauses.string() + "/" + argument + '"';
        return "if [ -p " + file + " ]; then echo here >" + file + "; read -r line <" + file +
               "; rm " + file + "; fi\n";
    }

    /// Makes `step` wait once when it is reached. Returns the FIFO through which it reports and is
    /// released.
    static fs::path pause_at(const std::string& step) {
        fs::create_directories(kPauses);
        EXPECT_EQ(::mkfifo((kPauses / step).c_str(), 0600), 0);
        return kPauses / step;
    }

    /// Runs the switch to staging and, while `step` waits, `meanwhile`.
    static Outcome switch_with(const std::string& step,
                               const std::function<void(Process&)>& meanwhile) {
        const fs::path fifo = pause_at(step);
        Process tool(kSwitch);
        EXPECT_EQ(read_file(fifo), "here\n");
        meanwhile(tool);
        write_file(fifo, "go on\n");
        return tool.finish();
    }

    [[nodiscard]] std::string ran() const { return read_file(ran_); }
    static std::string settings() { return read_file(kSettingsFile); }

    /// As it was before a switch.
    void start_again() const {
        write_file(ran_, "");
        write_file(kSettingsFile, "{" + kProtected + "}");
        fs::remove(kLogFile);
    }

    static inline const fs::path kPauses = "/opt/pauses";
    static inline const fs::path kScript = kInstallDir / "etc/init.d/qplix-qxcloudd";
    static inline const fs::path kDaemon = kInstallDir / "bin/qxcloudd";

private:
    fs::path ran_ = "/opt/ran";
};

/// Holds a lock on a file while it lives.
class HeldLock {
public:
    explicit HeldLock(const fs::path& file)
        : fd_(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        EXPECT_EQ(::flock(fd_, LOCK_EX), 0);
    }
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;
    ~HeldLock() { ::close(fd_); }

private:
    int fd_;
};

/// Waits until `process` waits for a lock.
void wait_for_waiter(const Process& process) {
    wait_until([&] {
        for (const std::string& line : lines_of(read_file("/proc/locks"))) {
            std::istringstream words(line);
            std::string number, arrow, kind, advisory, access;
            pid_t pid = 0;
            words >> number >> arrow >> kind >> advisory >> access >> pid;
            if (arrow == "->" && pid == process.pid()) {
                return true;
            }
        }
        return false;
    });
}

Outcome switch_to(const std::string& cloud) {
    return run_tool({"set_registration_cloud", "--cloud", cloud});
}

TEST_F(Deployment, IsSwitchedInOrder) {
    write_file(kSettingsFile, "{" + kProtected + R"(, "/agent/default_settings/next_query_ts": "5",
        "/cirrel/registration/router_id": "r", "/cirrel/registration/token": "t", "/other": "o",
        "/cirrel/registration/timestamp": "9", "/cirrel/entrypoints/default": "prod"})");
    EXPECT_EQ(switch_to("staging"), Outcome());
    EXPECT_EQ(ran(), kRan);
    EXPECT_EQ(settings(), "{" + kProtected + R"(, "/other": "o", )" + kSwitched + "}\n");
    EXPECT_EQ(log_text(), "");
    EXPECT_EQ(switch_to("staging"), Outcome());
    EXPECT_EQ(ran(), kRan) << "a switch to where it is does nothing";
}

TEST_F(Deployment, OfAnUnknownNameChangesNothing) {
    ASSERT_TRUE(qx::log::start("qxagent-manage", nullptr));
    EXPECT_EQ(qx::manage::run_set_registration_cloud("attic"), 1);
    qx::log::stop();
    EXPECT_EQ(log_text(), "ERROR [deployment.cpp][run_set_registration_cloud()]: Entrypoint for "
                          "deployment 'attic' not found\n");
    EXPECT_EQ(ran(), "");
}

// A caller that ignores SIGCHLD keeps the tool from learning how its programs ended.
TEST_F(Deployment, RunsEachProgramOnceWhoeverWaitsForIt) {
    start_again();
    std::vector<std::string> words = {"env", "--ignore-signal=CHLD"};
    words.insert(words.end(), kSwitch.begin(), kSwitch.end());
    EXPECT_EQ(run(words), Outcome());
    EXPECT_EQ(ran(), kRan);
}

TEST_F(Deployment, LeavesProtectionOffWhereItWas) {
    EXPECT_EQ(switch_to("development"), Outcome());
    EXPECT_EQ(ran(), "stop protection=\n-stop\nstart protection=\n-start\n");
    EXPECT_EQ(settings(), "{\"/cirrel/entrypoints/default\": \"dev\"}\n");
}

TEST_F(Deployment, LogsProgramsThatCannotBeRunOrFail) {
    fs::remove(kScript);
    write_file(kDaemon, "exit 3\n");
    const auto expected = [](const std::string& stop, const std::string& start) {
        const auto lines = [](const std::string& script, const std::string& daemon) {
            return "WARN  [deployment.cpp][report()]: '" + kScript.string() + script +
                   "WARN  [deployment.cpp][report()]: '" + kDaemon.string() + daemon;
        };
        return lines(" stop' could not be run: No such file or directory\n", " -stop' " + stop) +
               lines(" start' could not be run: No such file or directory\n", " -start' " + start);
    };
    const std::string denied = "could not be run: Permission denied\n";
    for (const bool executable : {false, true}) {
        start_again();
        fs::permissions(kDaemon, executable ? fs::perms(0700) : fs::perms(0600));
        if (executable) {
            write_program(kDaemon, "exit 3\n");
        }
        EXPECT_EQ(switch_to("staging"), Outcome());
        const std::string failed = executable ? "ended with status 3\n" : denied;
        EXPECT_EQ(log_text(), expected(failed, failed));
        EXPECT_EQ(settings(), "{" + kProtected + ", " + kSwitched + "}\n");
    }
}

// The store is made unwritable by a directory in the place of its lock file, before or in the
// middle of the switch.
TEST_F(Deployment, UndoesWhatItBeganWhenTheStoreFails) {
    const fs::path lock = kSettingsFile.string() + ".lock";
    const auto block = [&](Process&) {
        fs::remove(lock);
        fs::create_directory(lock);
    };
    start_again();
    fs::create_directory(lock);
    EXPECT_EQ(switch_to("staging"), Outcome{.status = 1});
    EXPECT_EQ(ran(), "");
    EXPECT_EQ(
        log_text(),
        "WARN  [deployment.cpp][reserve_space()]: Could not reserve space to enable the agent "
        "again: /opt/norvane/etc/settings.json.lock: cannot be locked: Is a directory\n"
        "ERROR [deployment.cpp][run_set_registration_cloud()]: Could not disable the agent\n");

    fs::remove(lock);
    EXPECT_EQ(switch_with("-stop", block), Outcome{.status = 1});
    EXPECT_EQ(ran(), kRan);
    EXPECT_THAT(
        log_text(),
        HasSubstr("ERROR [deployment.cpp][run_set_registration_cloud()]: Could not set default "
                  "entrypoint to 'stage'\n"
                  "ERROR [deployment.cpp][operator()()]: Could not enable back the agent\n"));

    start_again();
    fs::remove(lock);
    EXPECT_EQ(switch_with("-start", block), Outcome());
    EXPECT_EQ(settings(), "{\"/agent/protection_enabled\": \"0\", " + kSwitched + "}\n");
}

// Of all signals at once, the one with the lowest number ends the tool.
TEST_F(Deployment, HoldsSignalsUntilAllIsOnAgain) {
    std::vector<int> all = ending_signals();
    all.insert(all.end(), {SIGTSTP, SIGTTIN, SIGTTOU});
    for (const std::vector<int>& signals :
         {{SIGINT}, {SIGTERM}, {SIGQUIT}, {SIGALRM}, {SIGABRT}, {SIGTRAP}, all}) {
        for (const char* const step : {"stop", "-stop", "start", "-start"}) {
            SCOPED_TRACE(step);
            start_again();
            const Outcome outcome = switch_with(step, [&](Process& tool) {
                for (const int signal : signals) {
                    tool.signal(signal);
                }
            });
            EXPECT_EQ(outcome.signal, signals.front());
            EXPECT_EQ(ran(), kRan);
            EXPECT_EQ(settings(), "{" + kProtected + ", " + kSwitched + "}\n");
        }
    }
}

TEST_F(Deployment, KillsAHangingProgramAfterAStopSignal) {
    const std::string off = "stop protection=0\n";
    const std::string on = "start protection=0\n-start\n";
    const std::tuple<const char*, fs::path, std::string> rows[] = {
        {"stop", kScript, off + on},
        {"-stop", kDaemon, kRan},
        {"start", kScript, kRan},
        {"-start", kDaemon, kRan},
    };
    for (const auto& [step, program, programs] : rows) {
        SCOPED_TRACE(step);
        start_again();
        const fs::path fifo = pause_at(step);
        Forked tool([] {
            qx::log::start("qxagent-manage", nullptr);
            return qx::manage::run_set_registration_cloud("staging",
                                                          std::chrono::milliseconds(200));
        });
        EXPECT_EQ(read_file(fifo), "here\n");
        tool.kill(SIGTERM);
        EXPECT_EQ(tool.wait(), -1);
        fs::remove(fifo);
        EXPECT_EQ(ran(), programs);
        EXPECT_EQ(log_text(), "WARN  [deployment.cpp][report()]: '" + program.string() + " " +
                                  step + "' did not end and was killed\n");
        const bool is_switched = std::string(step).ends_with("start");
        EXPECT_EQ(settings(), "{" + kProtected + (is_switched ? ", " + kSwitched + "}\n" : "}\n"));
    }
}

TEST_F(Deployment, TurnsProtectionOnAgainOnAFullDisk) {
    fs::remove_all(kInstallDir / "etc");
    fs::create_directory(kInstallDir / "etc");
    ASSERT_EQ(::mount("tmpfs", (kInstallDir / "etc").c_str(), "tmpfs", 0, "size=32k,mode=755"), 0);
    write_program(kScript, "cat /dev/zero 2>/dev/null >" + kInstallDir.string() + "/etc/$1\n");
    start_again();
    EXPECT_EQ(switch_to("staging"), Outcome{.status = 1});
    EXPECT_EQ(settings(), "{" + kProtected + "}\n");
    EXPECT_THAT(log_text(), Not(HasSubstr("Could not enable back")));
}

TEST_F(Deployment, RefusesProgramsThatAnotherUserCouldHaveReplaced) {
    const fs::path& r = kInstallDir;
    const auto open_to = [](const fs::path& path, fs::perms who) {
        return [=] { fs::permissions(path, who, fs::perm_options::add); };
    };
    const auto give = [](const fs::path& path) {
        return [=] { EXPECT_EQ(::lchown(path.c_str(), 1234, 1234), 0); };
    };
    const auto move = [](const fs::path& directory, const fs::path& to, const fs::path& link) {
        return [=] {
            fs::create_directories(to.parent_path());
            fs::rename(directory, to);
            fs::create_symlink(link, directory);
        };
    };
    const auto then = [](const std::function<void()>& first, const std::function<void()>& second) {
        return [=] {
            first();
            second();
        };
    };
    const auto refused = [](const fs::path& program, const fs::path& path, const std::string& why) {
        return "ERROR [deployment.cpp][can_be_run()]: Will not run '" + program.string() + "': '" +
               path.string() + "' " + why + "\n";
    };
    const std::string others = "can be written by others";
    const std::string stranger = "belongs to user 1234";
    const fs::path init = kScript.parent_path();
    const fs::path outside = "/opt/outside/init.d";
    const fs::perms all = fs::perms::others_write;
    const struct {
        const char* what;
        std::function<void()> prepare;
        std::string log = {};
        bool needs_users = false;
    } rows[] = {
        {"the install directory", open_to(r, all), refused(kScript, r, others)},
        {"the configuration", open_to(r / "etc", all), refused(kScript, r / "etc", others)},
        {"the scripts", open_to(init, all), refused(kScript, init, others)},
        {"a script", open_to(kScript, all), refused(kScript, kScript, others)},
        {"the programs", open_to(r / "bin", all), refused(kDaemon, r / "bin", others)},
        {"a program", open_to(kDaemon, all), refused(kDaemon, kDaemon, others)},
        {"a directory without the script", then(open_to(init, all), [] { fs::remove(kScript); }),
         refused(kScript, init, others)},
        {"a group's directory", open_to(r / "etc", fs::perms::group_write),
         "WARN  [deployment.cpp][can_be_run()]: '/opt/norvane/etc' can be written by its group\n"},
        {"a link inside", move(init, r / "shared/init.d", "../shared/init.d")},
        {"a link inside to what others may write",
         then(move(init, r / "shared/init.d", "../shared/init.d"), open_to(r / "shared", all)),
         refused(kScript, r / "shared", others)},
        {"a link that leads to itself", then(move(init, r / "shared/init.d", "init.d"), [] {}),
         "ERROR [deployment.cpp][can_be_run()]: Will not run '" + kScript.string() + "': '" +
             kScript.string() + "' has too many links\n"},
        {"a link outside", move(init, outside, outside), "", true},
        {"a link to what others may write",
         then(move(init, outside, outside), open_to(outside.parent_path(), all)),
         refused(kScript, outside.parent_path(), others), true},
        {"a stranger's link", then(move(init, outside, outside), give(init)),
         refused(kScript, init, stranger), true},
        {"a stranger's directory", give(r / "bin"), refused(kDaemon, r / "bin", stranger), true},
        {"a stranger's program", give(kScript), refused(kScript, kScript, stranger), true},
        {"the owner of the install directory", then(give(r), give(kScript)), "", true},
        {"the agent's user",
         then(give(kScript),
              [] {
                  write_file("/etc/passwd", "norvane-plix:x:1234:1234::/opt/norvane:/bin/false\n");
              }),
         "", true},
    };
    const bool has_users = static_cast<bool>(OtherUser(1234));
    for (const auto& [what, prepare, log, needs_users] : rows) {
        SCOPED_TRACE(what);
        for (const fs::path& path : {r / "etc", r / "bin", r / "shared", outside.parent_path()}) {
            fs::remove_all(path);
        }
        ASSERT_EQ(::lchown(r.c_str(), 0, 0), 0);
        fs::permissions(r, fs::perms(0755));
        write_programs();
        start_again();
        if (needs_users && !has_users) {
            continue;
        }
        prepare();
        const bool is_refused = log.starts_with("ERROR");
        EXPECT_EQ(switch_to("staging"), Outcome{.status = is_refused ? 1 : 0});
        EXPECT_EQ(log_text(), log);
        EXPECT_EQ(ran(), is_refused ? "" : kRan);
    }
}

TEST_F(Deployment, EndsOnASignalWhileItWaitsForALock) {
    for (const char* const lock : {".lock", ".switch"}) {
        for (const int signal : {SIGINT, SIGTERM}) {
            SCOPED_TRACE(lock);
            start_again();
            const HeldLock held(kSettingsFile.string() + lock);
            Process tool(kSwitch);
            wait_for_waiter(tool);
            EXPECT_EQ(tool.stop(signal).signal, signal);
            EXPECT_EQ(ran(), "");
            EXPECT_EQ(settings(), "{" + kProtected + "}");
        }
    }
}

TEST_F(Deployment, ReadsTheStoreOnceItHasTheLock) {
    const std::string off = R"("/agent/protection_enabled": "0")";
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {".lock", off, kRan},
        {".switch", off, kRan},
        {".switch", off + ", " + kSwitched, ""},
    };
    for (const auto& [lock, meanwhile, programs] : rows) {
        SCOPED_TRACE(meanwhile);
        start_again();
        auto held = std::make_unique<HeldLock>(kSettingsFile.string() + lock);
        Process tool(kSwitch);
        wait_for_waiter(tool);
        write_file(kSettingsFile, "{" + meanwhile + "}\n");
        held.reset();
        EXPECT_EQ(tool.finish(), Outcome());
        EXPECT_EQ(settings(), "{" + off + ", " + kSwitched + "}\n");
        EXPECT_EQ(ran(), programs);
    }
}

TEST_F(Deployment, WaitsForTheEndOfAnotherSwitch) {
    start_again();
    std::unique_ptr<Process> second;
    EXPECT_EQ(switch_with("stop",
                          [&](Process&) {
                              second = std::make_unique<Process>(std::vector<std::string>{
                                  QX_TOOL, "set_registration_cloud", "--cloud=development"});
                              wait_for_waiter(*second);
                          }),
              Outcome());
    EXPECT_EQ(second->finish(), Outcome());
    EXPECT_EQ(ran(), kRan + kRan);
    EXPECT_EQ(settings(), "{" + kProtected + R"(, "/cirrel/entrypoints/default": "dev")" + "}\n");
}

// Ctrl-C reaches everybody in the terminal's foreground group; a connector must not be lost to it
// half-way.
TEST_F(Deployment, RunsItsProgramsApartFromTheTerminal) {
    write_program(kInstallDir / "bin/qxcloudd", "cut -d' ' -f5 /proc/$$/stat >>/opt/groups\n");
    EXPECT_EQ(switch_to("staging"), Outcome());
    EXPECT_THAT(lines_of(read_file("/opt/groups")),
                AllOf(SizeIs(2), Not(Contains(std::to_string(::getpgrp())))));
}

} // namespace
