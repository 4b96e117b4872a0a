// Every allocation and every system call of every operation fails once, with every error that it
// can give. QX_FAULT_STEP=1 leaves none out.

#include "broker_client.h"
#include "fault.h"
#include "operations.h"

#include <cerrno>
#include <functional>

namespace {

using namespace qx::test;
using ::testing::AnyOf;
using ::testing::MatchesRegex;

const OperationCall kSwitch = {"set_registration_cloud", {"--cloud=staging"}};

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
        for (const char* const program : {"etc/init.d/qplix-qxcloudd", "bin/qxcloudd"}) {
            write_program(kInstallDir / program, "echo \"$1\" >>" + kRan.string() + "\n");
        }
    }

    static FaultyRun run(const OperationCall& operation, const std::string& fault,
                         const std::string& settings = kSettings) {
        write_file(kSettingsFile, settings);
        fs::permissions(kSettingsFile, fs::perms(0644));
        // Where everybody may write, a line is logged.
        fs::permissions(kSettingsFile.parent_path(),
                        fs::perms(operation.title() == "set_quillet_location" ? 0777 : 0755));
        write_file(kRan, "");
        fs::remove(kLogFile);
        return run_tool_with_fault(operation.words(), fault);
    }

    static std::string log() { return fs::exists(kLogFile) ? read_file(kLogFile) : ""; }

    static void check_directory() {
        for (const auto& entry : fs::directory_iterator(kSettingsFile.parent_path())) {
            EXPECT_THAT(
                entry.path().filename().string(),
                AnyOf("settings.json", "settings.json.lock", "settings.json.switch", "init.d"));
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

    // A program of which nobody can learn how it went is run again.
    static void check_connector(const std::string& call) {
        const std::string again = call == "waitpid" || call == "read" ? "+" : "";
        std::string whole;
        for (const char* const line : {"stop", "-stop", "start", "-start"}) {
            whole += "(" + std::string(line) + "\n)" + again;
        }
        EXPECT_THAT(read_file(kRan), MatchesRegex("(" + whole + ")?"));
    }

    static inline const fs::path kRan = "/opt/ran";

    Simulator simulator_{R"({"commands": {"va_start": [{"status": 0, "times": 0}],
        "va_stop": [{"status": 0, "times": 0}], "va_self_scan_start": [{"status": 0, "times": 0}],
        "start_cloud_registration": [{"status": 0, "times": 0}]}})"};
};

TEST_F(Scene, EndsWithASignalBeforeOrAfterTheCloudIsSwitched) {
    const FaultyRun untouched = run(kSwitch, "");
    const long calls = untouched.calls.at("any");
    EXPECT_GT(calls, 50);
    for (long at = 1; at <= calls; at += fault_step(5)) {
        SCOPED_TRACE(at);
        const FaultyRun ended = run(kSwitch, Fault{"any", at, "term"}.text());
        EXPECT_EQ(ended.outcome.signal, ended.fired ? SIGTERM : 0);
        EXPECT_THAT(read_file(kSettingsFile), AnyOf(kSettings, document(true, false, true)));
        EXPECT_EQ(log(), "");
        check_directory();
        check_connector("any");
    }
}

TEST_F(Scene, StopsTheLogAfterEverythingElse) {
    run({"get_version_info", {}}, "");
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
        if (GetParam().name == std::string(kSwitch.name)) {
            check_switch(run.outcome);
        } else {
            // Short of memory, jansson may read a key with a character missing and tell nobody.
            EXPECT_EQ(read_file(kSettingsFile), run.outcome.status == 0 ? after_ : kSettings);
        }
        check_directory();
        check_connector(fault.call);
    }

    void check_output(const Outcome& outcome) {
        if (outcome.status == 0 && GetParam().name != std::string("get_router_info")) {
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

INSTANTIATE_TEST_SUITE_P(Each, Faults, ::testing::ValuesIn(kOperationCalls),
                         [](const auto& each) { return each.param.title(); });

} // namespace
