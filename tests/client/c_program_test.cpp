// The library in a plain C program, as a router's software links it.

#include "agent_fixture.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;

constexpr const char* kProgram = R"(
#include <qx_plix.h>
#include <stdio.h>
#include <stdlib.h>

static void print_event(const char *event_json, void *user_data) {
    printf("%s: %s\n", (const char *)user_data, event_json);
}

int main(void) {
    int status = 0;
    int fd = -1;
    char *info = NULL;
    char name[] = "event";
    if (qx_plix_init() != 0 || qx_plix_is_enabled(&status) != 0 || qx_plix_get_version_info(&info) != 0)
        return 1;
    printf("%d %s\n", status, info);
    free(info);
    if (qx_plix_subscribe(QX_PLIX_QXAGENT_STARTED, print_event, name, &fd) != 0 ||
        qx_plix_read_event_fd(fd, 1) != 0)
        return 2;
    return qx_plix_uninit() + stopped - 1;
}
)";

using CProgram = qx::test::Agent;

TEST_F(CProgram, LinksWithNothingOfTheCppRuntime) {
    if (qx::test::kSanitized) {
        GTEST_SKIP() << "the archive of this build needs the sanitizer's runtime";
    }
    const fs::path headers = fs::path(__FILE__).parent_path() / "../../client/include";
    const qx::test::TemporaryDirectory build;
    const std::string program = build.path() / "program";
    qx::test::write_file(program + ".c", kProgram);
    const std::string compile =
        std::string(QX_C_COMPILER) + " -std=c11 -Wall -Wextra -Wpedantic -Werror -Os \"$@\"";
    const auto built = qx::test::run({"sh", "-c", compile, "cc", "-I", headers, program + ".c",
                                      QX_PLIX, QX_JANSSON, "-lpthread", "-o", program});
    ASSERT_EQ(built.status, 0) << built.err;

    broker.answer("get_services_status", R"({"status": 0, "data": {"status": 1}})");
    broker.answer("get_version_info", R"({"status": 0, "data": {"version": "2"}})");
    broker.reply("qxagent_started",
                 {qx::test::framed(R"({"status": 0})") + qx::test::framed(R"({"pid": 7})")});
    const auto ran =
        qx::test::kEmulated ? qx::test::run({QX_EMULATOR, program}) : qx::test::run({program});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "1 {\"version\": \"2\"}\nevent: {\"pid\": 7}\n");
}

} // namespace
