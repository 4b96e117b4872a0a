// Makes each allocation and each system call of each operation fail once with each error that the
// call can return. By default, the tests try a sample of these faults; with QX_FAULT_STEP=1, all.

#include "broker_client.h"
#include "fault.h"
#include "operations.h"

#include <fmt/format.h>
#include <sys/mount.h>

namespace {

using namespace qx::test;
using namespace ::testing;

const OperationCall kSwitch = {qx::manage::Operation::set_registration_cloud, {"--cloud=staging"}};
const fs::path kRan = "/opt/ran";
const fs::path kMark = kSettingsFile.string() + ".switching";

/// Returns the text of the settings file at a step of the deployment switch.
std::string document(bool is_protected, bool registered, bool switched) {
    return fmt::format(R"({{"/agent/protection_enabled": "{:d}"{}{}}})"
                       "\n",
                       is_protected, registered ? R"(, "/cirrel/registration/token": "t")" : "",
                       switched ? R"(, "/cirrel/entrypoints/default": "stage")" : "");
}

const std::string kSettings = document(true, true, false);
const std::string kSwitched = document(true, false, true);

std::string log() {
    return fs::exists(kLogFile) ? read_file(kLogFile) : "";
}

/// An agent with its settings on a small disk. The programs of the cloud connector append their
/// arguments to kRan.
class Scene : public Test {
protected:
    Scene() {
        fs::create_directories(kSettingsDirectory);
        require(::mount("tmpfs", kSettingsDirectory.c_str(), "tmpfs", 0, "size=64k,mode=755") == 0,
                "mount");
        for (const char* const program : {"etc/init.d/qplix-qxcloudd", "bin/qxcloudd"}) {
            write_program(kInstallDir / program, "echo \"$1\" >>" + kRan.string() + "\n");
        }
    }
    void TearDown() override { ::umount(kSettingsDirectory.c_str()); }

    static void prepare(const OperationCall& operation, const std::string& settings = kSettings) {
        fs::remove(kFill);
        fs::remove(kSettingsFile.string() + ".reserve");
        fs::remove(kMark);
        write_file(kSettingsFile, settings);
        fs::permissions(kSettingsFile, fs::perms(0644));
        // A directory that everybody can write to makes the tool log a warning.
        fs::permissions(kSettingsDirectory,
                        fs::perms(operation.title() == "set_quillet_location" ? 0777 : 0755));
        write_file(kRan, "");
        fs::remove(kLogFile);
    }

    static FaultyRun run(const OperationCall& operation, const Fault& fault,
                         const std::string& settings = kSettings) {
        prepare(operation, settings);
        return run_with_fault(fault, operation.words());
    }

    // The reserve file may stay if a fault prevents its removal. kMark, the mark of an unfinished
    // switch, may stay if the log reports that protection was not restored or that the mark was not
    // removed. The next run removes both files and restores protection.
    static void check_directory(qx_call failed = QX_CALL_any) {
        const bool may_stay = failed == QX_CALL_unlink || failed == QX_CALL_lstat ||
                              failed == QX_CALL_fstat || failed == QX_CALL_alloc;
        const bool is_marked = log().find("Could not enable back") != std::string::npos ||
                               log().find("Could not remove the mark") != std::string::npos;
        for (const auto& entry : fs::directory_iterator(kSettingsDirectory)) {
            EXPECT_THAT(entry.path().filename(),
                        AnyOf("settings.json", "settings.json.lock", "settings.json.switch",
                              "init.d", "fill", may_stay ? "settings.json.reserve" : "fill",
                              is_marked ? kMark.filename() : "fill"));
        }
    }

    static void check_repair() {
        fs::remove(kFill);
        qx::test::run({QX_TOOL, "is_enabled"});
        EXPECT_THAT(read_file(kSettingsFile),
                    AnyOf(kSettings, kSwitched, document(true, true, true)));
        EXPECT_FALSE(fs::exists(kMark));
    }

    static void check_switch(const Outcome& outcome) {
        const std::string text = read_file(kSettingsFile);
        const bool on = log().find("Could not enable back the agent") == std::string::npos;
        EXPECT_THAT(text, AnyOf(document(on, true, false), document(on, true, true),
                                document(on, false, true)));
        if (outcome.status == 0 && log().empty()) {
            EXPECT_EQ(text, kSwitched);
        }
    }

    // If the exit status of a program cannot be determined, the tool runs the program again. The
    // log names each program that failed or could not be run.
    static void check_connector(qx_call failed = QX_CALL_any) {
        const bool some_failed = log().find("[report()]") != std::string::npos;
        const bool again = failed == QX_CALL_waitpid || failed == QX_CALL_read;
        EXPECT_THAT(read_file(kRan),
                    MatchesRegex(fmt::format("((stop\n){0}(-stop\n){0}(start\n){0}(-start\n){0})?",
                                             some_failed ? "*"
                                             : again     ? "+"
                                                         : "")));
    }

    Simulator simulator_{R"({"commands": {"va_start": [{"status": 0, "times": 0}],
        "va_stop": [{"status": 0, "times": 0}], "va_self_scan_start": [{"status": 0, "times": 0}],
        "start_cloud_registration": [{"status": 0, "times": 0}]}})"};
};

// Aliases that name the suites in failure reports.
using DeploymentSwitch = Scene;
using Shutdown = Scene;

/// Returns the events that can happen at any call: the disk fills up, no more descriptors can be
/// opened, or a fatal signal arrives.
std::vector<Fault> events_at(long call) {
    std::vector<Fault> all = {{QX_CALL_any, call, QX_FULL, 0}, {QX_CALL_any, call, QX_FILES, 0}};
    for (const int signal : ending_signals()) {
        all.push_back({QX_CALL_any, call, QX_SIGNAL, signal});
    }
    return all;
}

TEST_F(DeploymentSwitch, IsCompletedOrUndoneAfterAFullDiskOrSignalAtAnyCall) {
    const long calls = run(kSwitch, kNoFault).calls[QX_CALL_any];
    EXPECT_GT(calls, 50);
    std::size_t number = 0;
    for (long at = 1; at <= calls; ++at) {
        for (const Fault& event : events_at(at)) {
            if (number++ % fault_step(61) != 0) {
                continue;
            }
            SCOPED_TRACE(text_of(event));
            const FaultyRun ended = run(kSwitch, event);
            check_directory();
            check_connector();
            check_switch(ended.outcome);
            if (event.action == QX_SIGNAL) {
                EXPECT_EQ(ended.outcome.signal, ended.fired ? event.detail : 0);
                EXPECT_THAT(read_file(kSettingsFile), AnyOf(kSettings, kSwitched));
                EXPECT_EQ(log(), "");
            }
            EXPECT_TRUE(event.action == QX_FILES ||
                        read_file(kSettingsFile).find(R"(enabled": "1")") != std::string::npos);
            check_repair();
        }
    }
}

TEST_F(DeploymentSwitch, IsRepairedByTheNextRunWhenKilledAtAnyCall) {
    const long calls = run(kSwitch, kNoFault).calls[QX_CALL_any];
    for (long at = 1; at <= calls; at += fault_step(5)) {
        SCOPED_TRACE(at);
        run(kSwitch, {QX_CALL_any, at, QX_SIGNAL, SIGKILL});
        const bool is_marked = fs::exists(kMark);
        const bool is_unprotected = read_file(kSettingsFile).find("\"1\"") == std::string::npos;
        EXPECT_TRUE(is_marked || !is_unprotected);
        // A program of the killed switch may still have this file open. Remove the file so that the
        // repair creates a new one.
        fs::remove(kRan);
        check_repair();
        EXPECT_TRUE(!is_marked || read_file(kRan).find("-start\n") != std::string::npos);
    }
}

TEST_F(Shutdown, ClosesTheLogLast) {
    const Change last = changes_of_tool({"get_version_info"}).back();
    EXPECT_EQ(last.call + " " + last.path, "close " + kLogFile.string());
}

TEST_F(DeploymentSwitch, LogsEachRegistrationKeyThatItCannotDelete) {
    const std::string keys[] = {"/agent/default_settings/next_query_ts",
                                "/cirrel/registration/router_id", "/cirrel/registration/token",
                                "/cirrel/registration/timestamp"};
    const std::string settings = fmt::format(R"({{"/agent/protection_enabled": "1", "{}": "1"}})",
                                             fmt::join(keys, R"(": "1", ")"));
    for (long i = 0; i < 4; ++i) {
        const FaultyRun left = run(kSwitch, {QX_CALL_rename, 4 + i, QX_FAIL, EIO}, settings);
        EXPECT_EQ(left.outcome.status, 0);
        EXPECT_THAT(log(), MatchesRegex("[^\n]*WARN[^\n]*Deleting '" + keys[i] + "' failed\n"));
        EXPECT_EQ(read_file(kSettingsFile),
                  "{\"/agent/protection_enabled\": \"1\", \"" + keys[i] +
                      "\": \"1\", \"/cirrel/entrypoints/default\": \"stage\"}\n");
    }
}

class Operations : public Scene, public WithParamInterface<OperationCall> {
protected:
    void SetUp() override {
        untouched_ = run(operation_, kNoFault);
        after_ = read_file(kSettingsFile);
    }

    void check(const Outcome& outcome, qx_call failed = QX_CALL_any) const {
        if (outcome.status != 0) {
            EXPECT_THAT(outcome.out, AnyOf("", untouched_.outcome.out));
        } else if (operation_.operation != qx::manage::Operation::get_router_info) {
            EXPECT_EQ(outcome.out, untouched_.outcome.out);
        }
        if (operation_.operation == kSwitch.operation) {
            check_switch(outcome);
        } else {
            // Compare the whole file: after a failed allocation, jansson can drop a character of a
            // key without an error.
            EXPECT_EQ(read_file(kSettingsFile), outcome.status == 0 ? after_ : kSettings);
        }
        check_directory(failed);
        check_connector(failed);
    }

    const OperationCall operation_ = GetParam();
    const std::size_t phase_ = std::hash<std::string>()(operation_.title()) % 1000;
    FaultyRun untouched_;
    std::string after_;
};

TEST_P(Operations, KeepOutputAndSettingsIntactWhenAnyCallFails) {
    const FaultyRun again = run(operation_, kNoFault);
    EXPECT_EQ(again.outcome.status, 0) << again.outcome.err;
    EXPECT_EQ(again.outcome.out, untouched_.outcome.out);
    EXPECT_EQ(again.live, untouched_.live);
    for (const Fault& fault : list_faults(again, 23, phase_)) {
        SCOPED_TRACE(text_of(fault));
        const FaultyRun ended = run(operation_, fault);
        check_end(fault, ended, again);
        if (!ended.fired || is_made_up_for(fault)) {
            EXPECT_EQ(ended.outcome.status, 0);
        }
        check(ended.outcome, fault.call);
    }
}

/// Returns command lines that start the tool under a limit on descriptors, under a limit on file
/// sizes, or with a full disk.
std::vector<std::vector<std::string>> limits() {
    std::vector<std::vector<std::string>> all;
    for (int files = 3; files <= 20; ++files) {
        all.push_back({"prlimit", "--nofile=" + std::to_string(files), QX_TOOL});
    }
    for (const int bytes : {0, 60, 90, 120, 5000}) {
        all.push_back({"sh", "-c", "trap '' XFSZ; exec \"$@\"", "sh", "prlimit",
                       "--fsize=" + std::to_string(bytes), QX_TOOL});
    }
    all.push_back({"sh", "-c", "cat /dev/zero >" + kFill.string() + " 2>/dev/null; exec \"$@\"",
                   "sh", QX_TOOL});
    return all;
}

TEST_P(Operations, KeepOutputAndSettingsIntactUnderResourceLimits) {
    const std::vector<std::string> operation = operation_.words();
    std::size_t number = phase_;
    for (std::vector<std::string> words : limits()) {
        if (number++ % fault_step(operation_.operation == kSwitch.operation ? 1 : 7) != 0) {
            continue;
        }
        SCOPED_TRACE(PrintToString(words));
        words.insert(words.end(), operation.begin(), operation.end());
        prepare(operation_);
        const Outcome outcome = qx::test::run(words);
        // The loader exits with 127 when it cannot load the tool.
        EXPECT_THAT(outcome.status, AnyOf(0, 1, 255, 127)) << outcome.signal;
        check(outcome);
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Operations, ValuesIn(operation_calls()),
                         [](const auto& each) { return each.param.title(); });

} // namespace
