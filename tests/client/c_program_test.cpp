// The library in a plain C program, as a router's software links it.

#include "agent_fixture.h"

namespace {

using namespace qx::test;
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

using CProgram = Agent;

TEST_F(CProgram, LinksWithNothingOfTheCppRuntime) {
    if (kSanitized) {
        GTEST_SKIP() << "the archive of this build needs the sanitizer's runtime";
    }
    const fs::path headers = fs::path(__FILE__).parent_path() / "../../client/include";
    const TemporaryDirectory build;
    const std::string program = build.path() / "program";
    write_file(program + ".c", kProgram);
    const std::string compile =
        std::string(QX_C_COMPILER) + " -std=c11 -Wall -Wextra -Wpedantic -Werror -Os \"$@\"";
    output_of({"sh", "-c", compile, "cc", "-I", headers, program + ".c", QX_PLIX, QX_JANSSON,
               "-lpthread", "-o", program});

    broker.answer("get_services_status", success(R"({"status": 1})"));
    broker.answer("get_version_info", success(R"({"version": "2"})"));
    broker.reply("qxagent_started", {framed(kOk) + framed(R"({"pid": 7})")});
    EXPECT_EQ(kEmulated ? output_of({QX_EMULATOR, program}) : output_of({program}),
              "1 {\"version\": \"2\"}\nevent: {\"pid\": 7}\n");
}

} // namespace
