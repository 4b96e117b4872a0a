// Every allocation and every system call of every operation fails once, with every error that it
// can give. QX_FAULT_STEP=1 leaves none out.

#include "broker_client.h"
#include "fault.h"
#include "operations.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <sys/mount.h>

namespace {

using namespace qx::test;
using ::testing::AnyOf;
using ::testing::MatchesRegex;

const OperationCall kSwitch = {qx::manage::Operation::set_registration_cloud, {"--cloud=staging"}};

/// The settings on the way to another cloud.
std::string document(bool is_protected, bool registered, bool switched) {
    return std::string(R"({"/agent/protection_enabled": ")") + (is_protected ? "1" : "0") +
           (registered ? R"(", "/cirrel/registration/token": "t)" : "") +
           (switched ? R"(", "/cirrel/entrypoints/default": "stage)" : "") + "\"}\n";
}

const std::string kSettings = document(true, true, false);

/// An agent whose connector notes what it is told.
class Scene : public ::testing::Test {
protected:
    Scene() {
        // A file system of its own, which the tests can fill.
        fs::create_directories(kSettingsFile.parent_path());
        require(::mount("tmpfs", kSettingsFile.parent_path().c_str(), "tmpfs", 0,
                        "size=64k,mode=755") == 0,
                "mount");
        for (const char* const program : {"etc/init.d/qplix-qxcloudd", "bin/qxcloudd"}) {
            write_program(kInstallDir / program, "echo \"$1\" >>" + kRan.string() + "\n");
        }
    }

    static void prepare(const OperationCall& operation, const std::string& settings = kSettings) {
        fs::remove(kFill);
        fs::remove(kSettingsFile.string() + ".reserve");
        write_file(kSettingsFile, settings);
        fs::permissions(kSettingsFile, fs::perms(0644));
        // Where everybody may write, a line is logged.
        fs::permissions(kSettingsFile.parent_path(),
                        fs::perms(operation.title() == "set_quillet_location" ? 0777 : 0755));
        write_file(kRan, "");
        fs::remove(kLogFile);
    }

    static FaultyRun run(const OperationCall& operation, const std::string& fault,
                         const std::string& settings = kSettings) {
        prepare(operation, settings);
        return run_tool_with_fault(operation.words(), fault);
    }

    static std::string log() { return fs::exists(kLogFile) ? read_file(kLogFile) : ""; }

    // The reserve file stays when it cannot be removed.
    static void check_directory(const std::string& call = "") {
        for (const auto& entry : fs::directory_iterator(kSettingsFile.parent_path())) {
            const std::string name = entry.path().filename();
            const bool may_stay =
                call == "unlink" || call == "lstat" || call == "fstat" || call == "alloc";
            EXPECT_TRUE((may_stay && name == "settings.json.reserve") ||
                        std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames))
                << name;
        }
    }

    static void check_switch(const Outcome& outcome) {
        const std::string text = read_file(kSettingsFile);
        const bool on = log().find("Could not enable back the agent") == std::string::npos;
        EXPECT_THAT(text, AnyOf(document(on, true, false), document(on, true, true),
                                document(on, false, true)));
        if (outcome.status == 0 && log().empty()) {
            EXPECT_EQ(text, document(true, false, true));
        }
    }

    // If the exit status of a program cannot be determined, the program is run again. Programs that
    // could not be run or that failed are in the log.
    static void check_connector(const std::string& call) {
        const std::string again = call == "waitpid" || call == "read" ? "+" : "";
        const bool some_failed = log().find("[report()]") != std::string::npos;
        std::string whole;
        for (const char* const line : {"stop", "-stop", "start", "-start"}) {
            whole += "(" + std::string(line) + "\n)" + (some_failed ? "*" : again);
        }
        EXPECT_THAT(read_file(kRan), MatchesRegex("(" + whole + ")?"));
    }

    static inline const std::string kNames[] = {"settings.json", "settings.json.lock",
                                                "settings.json.switch", "init.d", "fill"};
    static inline const fs::path kRan = "/opt/ran";

    Simulator simulator_{R"({"commands": {"va_start": [{"status": 0, "times": 0}],
        "va_stop": [{"status": 0, "times": 0}], "va_self_scan_start": [{"status": 0, "times": 0}],
        "start_cloud_registration": [{"status": 0, "times": 0}]}})"};
};

/// What can happen at any call: a fatal signal, a full disk, or the loss of all further
/// descriptors.
std::vector<std::string> events() {
    std::vector<std::string> all = {"full", "files"};
    for (const int signal : ending_signals()) {
        all.push_back("signal" + std::to_string(signal));
    }
    return all;
}

TEST_F(Scene, CompletesOrUndoesTheSwitchWhateverHappensAtAnyCall) {
    const long calls = run(kSwitch, "").calls.at("any");
    EXPECT_GT(calls, 50);
    std::size_t number = 0;
    for (long at = 1; at <= calls; ++at) {
        for (const std::string& event : events()) {
            if (number++ % fault_step(61) != 0) {
                continue;
            }
            const Fault fault = {"any", at, event};
            SCOPED_TRACE(fault.text());
            const FaultyRun ended = run(kSwitch, fault.text());
            check_directory();
            check_connector("any");
            check_switch(ended.outcome);
            if (event.starts_with("signal")) {
                EXPECT_EQ(ended.outcome.signal, ended.fired ? std::stoi(event.substr(6)) : 0);
                EXPECT_THAT(read_file(kSettingsFile),
                            AnyOf(kSettings, document(true, false, true)));
                EXPECT_EQ(log(), "");
            }
            EXPECT_TRUE(event == "files" ||
                        read_file(kSettingsFile).find(R"(enabled": "1")") != std::string::npos);
        }
    }
}

TEST_F(Scene, StopsTheLogAfterEverythingElse) {
    run({qx::manage::Operation::get_version_info}, "");
    EXPECT_EQ(lines_of(read_file(kJournal)).back(), "close " + kLogFile.string() + " ");
}

TEST_F(Scene, TellsOfWhatIsLeftOfARegistration) {
    const std::string keys[] = {"/agent/default_settings/next_query_ts",
                                "/cirrel/registration/router_id", "/cirrel/registration/token",
                                "/cirrel/registration/timestamp"};
    std::string settings = R"({"/agent/protection_enabled": "1")";
    for (const std::string& key : keys) {
        settings += ", \"" + key + R"(": "1")";
    }
    for (long i = 0; i < 4; ++i) {
        const FaultyRun left =
            run(kSwitch, Fault{"rename", 3 + i, std::to_string(EIO)}.text(), settings + "}\n");
        EXPECT_EQ(left.outcome.status, 0);
        EXPECT_THAT(log(), MatchesRegex("[^\n]*WARN[^\n]*Deleting '" + keys[i] + "' failed\n"));
        EXPECT_EQ(read_file(kSettingsFile),
                  "{\"/agent/protection_enabled\": \"1\", \"" + keys[i] +
                      "\": \"1\", \"/cirrel/entrypoints/default\": \"stage\"}\n");
    }
}

class Faults : public Scene, public ::testing::WithParamInterface<OperationCall> {
protected:
    void check(const Fault& fault, const FaultyRun& run) {
        check_end(fault, run, untouched_);
        if (!run.fired || fault.is_made_up_for()) {
            EXPECT_EQ(run.outcome.status, 0);
        }
        check_output(run.outcome);
        check_settings(run.outcome);
        check_directory(fault.call);
        check_connector(fault.call);
    }

    [[nodiscard]] static bool is_switch() { return GetParam().operation == kSwitch.operation; }

    void check_settings(const Outcome& outcome) {
        if (is_switch()) {
            check_switch(outcome);
        } else {
            // Short of memory, jansson may read a key with a character missing and tell nobody.
            EXPECT_EQ(read_file(kSettingsFile), outcome.status == 0 ? after_ : kSettings);
        }
    }

    void check_output(const Outcome& outcome) {
        if (outcome.status == 0 && GetParam().operation != qx::manage::Operation::get_router_info) {
            EXPECT_EQ(outcome.out, untouched_.outcome.out);
        } else if (outcome.status != 0) {
            EXPECT_THAT(outcome.out, AnyOf("", untouched_.outcome.out));
        }
    }

    FaultyRun untouched_;
    std::string after_;
};

TEST_P(Faults, OfEachCall) {
    const FaultyRun first = run(GetParam(), "");
    untouched_ = run(GetParam(), "");
    EXPECT_EQ(untouched_.outcome.status, 0) << untouched_.outcome.err;
    EXPECT_EQ(untouched_.outcome.out, first.outcome.out);
    EXPECT_EQ(untouched_.live, first.live);
    after_ = read_file(kSettingsFile);
    const std::size_t phase = std::hash<std::string>()(GetParam().title()) % 1000;
    for (const Fault& fault : list_faults(untouched_, 23, phase)) {
        SCOPED_TRACE(fault.text());
        check(fault, run(GetParam(), fault.text()));
    }
}

/// The command lines that start the tool with few descriptors, with short files and on a full disk.
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

TEST_P(Faults, UnderEachLimit) {
    untouched_ = run(GetParam(), "");
    after_ = read_file(kSettingsFile);
    std::size_t number = std::hash<std::string>()(GetParam().title()) % 1000;
    for (std::vector<std::string> words : limits()) {
        if (number++ % fault_step(is_switch() ? 1 : 7) != 0) {
            continue;
        }
        SCOPED_TRACE(::testing::PrintToString(words));
        const std::vector<std::string> operation = GetParam().words();
        words.insert(words.end(), operation.begin(), operation.end());
        prepare(GetParam());
        const Outcome outcome = qx::test::run(words);
        // 127 is the loader's.
        EXPECT_THAT(outcome.status, AnyOf(0, 1, 255, 127)) << outcome.signal;
        check_output(outcome);
        check_settings(outcome);
        check_directory();
        check_connector("");
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Faults, ::testing::ValuesIn(operation_calls()),
                         [](const auto& each) { return each.param.title(); });

} // namespace
