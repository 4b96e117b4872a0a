#include "command_line.h"

#include "words.h"

#include <gmock/gmock.h>

namespace qx::manage {
namespace {

using test::parse_words;
using testing::ElementsAre;

TEST(CommandLine, AcceptedLinesReachTheirOptions) {
    {
        CommandLine options;
        EXPECT_EQ(parse_words({"--name", "Attic", "set_router_info", "-model=X=1",
                               "--serial_number", "--5", "--interfaces=br-wan:wan,br-lan:lan"}),
                  "");
        EXPECT_EQ(options.operation.value(), Operation::set_router_info);
        EXPECT_EQ(options.router.name, "Attic");
        EXPECT_EQ(options.router.model, "X=1");
        EXPECT_EQ(options.router.serial_number, "--5");
        EXPECT_THAT(options.router.interfaces, ElementsAre("br-wan:wan", "br-lan:lan"));
        EXPECT_FALSE(options.router.use_va_cloud_trigger.given());
        EXPECT_EQ(options.device.name, "");
    }
    {
        CommandLine options;
        EXPECT_EQ(parse_words({"--params=a=1,b=2", "--", "register_to_cloud"}), "");
        EXPECT_THAT(options.register_to_cloud.params, ElementsAre("a=1", "b=2"));
        EXPECT_TRUE(options.register_router.params.empty());
    }
    CommandLine options;
    EXPECT_EQ(parse_words({"listen", "--events", "b,a,b", "--events="}), "");
    EXPECT_THAT(options.listen.events, ElementsAre("a", "b"));
}

} // namespace
} // namespace qx::manage
