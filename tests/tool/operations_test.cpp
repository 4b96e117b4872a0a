// What transcripts cannot show of operations.

#include "agent.h"

namespace {

using namespace qx::test;

using Operations = Agent;

TEST_F(Operations, LargeAnswersArePrintedWhole) {
    const std::string large = "[\"" + std::string(5'000'000, 'x') + "\"]";
    broker.answer("get_version_info", success(large));
    EXPECT_TRUE(run_tool({"get_version_info"}).out == large + "\n");
}

TEST_F(Operations, StandardInputOfPairsIsBounded) {
    Process tool({QX_TOOL, "register", "--params", "-"});
    tool.write("a=" + std::string(1024UL * 1024, 'x'));
    tool.close_input();
    const std::string reason = "standard input: more than 1 MiB of parameters\n";
    EXPECT_EQ(tool.finish(), (Outcome{.status = 1, .err = reason}));
    EXPECT_EQ(run({"sh", "-c", QX_TOOL " register_to_cloud --params=- <&-"}).err,
              "standard input: Bad file descriptor\n");
    EXPECT_EQ(broker.requests(), std::vector<std::string>{});
}

TEST_F(Operations, NeedNoBrokerToMoveTheUpdateLocation) {
    const std::string staging = "{\"/quillet/update_location\": \"staging\"}\n";
    EXPECT_EQ(run_tool({"set_quillet_location", "staging"}), Outcome{});
    EXPECT_EQ(read_file(kSettingsFile), staging);
    // The store cannot be written while a directory is in the place of its lock file.
    const fs::path lock = kSettingsFile.string() + ".lock";
    fs::remove(lock);
    fs::create_directory(lock);
    EXPECT_EQ(run_tool({"set_quillet_location", "production"}), Outcome{.status = 255});
    EXPECT_EQ(read_file(kSettingsFile), staging);
}

} // namespace
