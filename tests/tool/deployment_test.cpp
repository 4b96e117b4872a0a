// The deployment switch with arguments that the command line cannot pass: an unknown deployment and
// a short grace period.

#include "deployment.h"

#include "forked.h"
#include "process.h"
#include "qx/log.h"

#include <sys/stat.h>

namespace {

using namespace qx::test;
using ::testing::EndsWith;

const fs::path kScript = kInstallDir / "etc/init.d/qplix-qxcloudd";
const fs::path kDaemon = kInstallDir / "bin/qxcloudd";

int switch_to(const char* cloud) {
    qx::log::start("qxagent-manage", nullptr);
    return qx::manage::run_set_registration_cloud(cloud, std::chrono::seconds(2));
}

TEST(DeploymentSwitch, RefusesAnUnknownDeployment) {
    fs::create_directories(kInstallDir);
    EXPECT_EQ(switch_to("attic"), 1);
    EXPECT_THAT(read_file(kLogFile), EndsWith(": Entrypoint for deployment 'attic' not found\n"));
}

TEST(DeploymentSwitch, KillsAHangingProgramAfterATerminationSignal) {
    const std::tuple<std::string, fs::path, std::string, std::string> rows[] = {
        {"stop", kScript, "stop\nstart\n-start\n", ""},
        {"-stop", kDaemon, "stop\n-stop\nstart\n-start\n", ""},
        {"start", kScript, "stop\n-stop\nstart\n-start\n",
         R"(, "/cirrel/entrypoints/default": "stage")"},
        {"-start", kDaemon, "stop\n-stop\nstart\n-start\n",
         R"(, "/cirrel/entrypoints/default": "stage")"},
    };
    for (const auto& [step, program, ran, switched] : rows) {
        SCOPED_TRACE(step);
        for (const fs::path& file : {kScript, kDaemon}) {
            write_program(file, "echo \"$1\" >>/opt/ran\n"
                                "test ! -p \"/opt/$1\" || { echo >\"/opt/$1\"; sleep 120; }\n");
        }
        const std::string protection = R"({"/agent/protection_enabled": "1")";
        write_file(kSettingsFile, protection + "}");
        const fs::path fifo = "/opt/" + step;
        EXPECT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
        Forked tool([] { return switch_to("staging"); });
        EXPECT_EQ(read_file(fifo), "\n");
        tool.kill(SIGTERM);
        EXPECT_EQ(tool.wait(), -1);
        EXPECT_EQ(read_file("/opt/ran"), ran);
        EXPECT_EQ(read_file(kSettingsFile), protection + switched + "}\n");
        EXPECT_THAT(read_file(kLogFile), EndsWith("'" + program.string() + " " + step +
                                                  "' did not end and was killed\n"));
        fs::remove(fifo);
        fs::remove("/opt/ran");
    }
}

} // namespace
