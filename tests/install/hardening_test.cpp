// How the shipped programs are compiled and linked against attackers, as their ELF headers and
// symbols show it.

#include "installed.h"

namespace {

using namespace qx::test;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

TEST(Hardening, ProgramsArePositionIndependentWithReadOnlyRelocations) {
    for (const char* program : {"qxagent-manage", "qxbrokerd-sim"}) {
        SCOPED_TRACE(program);
        const std::string headers =
            output_of({"readelf", "-hldW", fs::path(QX_BUILD_DIR) / "bin" / program});
        EXPECT_THAT(headers,
                    AllOf(ContainsRegex("Type: +DYN"), HasSubstr("PIE"), HasSubstr("GNU_RELRO"),
                          HasSubstr("NOW"), ContainsRegex("GNU_STACK[^\n]* RW +0"),
                          Not(HasSubstr(" RWE ")), Not(ContainsRegex("RPATH|RUNPATH|TEXTREL"))));
    }
}

// Linked programs do not tell: the libraries inside them have the same calls.
TEST(Hardening, OwnCodeHasStackProtectorsAndCheckedCalls) {
    if (kForRouters) {
        for (const std::string& line :
             lines_of(read_file(fs::path(QX_BUILD_DIR) / "compile_commands.json"))) {
            if (line.find("\"command\":") != std::string::npos) {
                EXPECT_THAT(line, HasSubstr(" -fPIE -fstack-protector-strong "));
            }
        }
        return;
    }
    std::istringstream files(QX_SHIPPED_CODE);
    for (std::string file; std::getline(files, file, ':');) {
        EXPECT_THAT(output_of({"readelf", "-Ws", file}),
                    AllOf(HasSubstr("UND __stack_chk_fail"), ContainsRegex("UND __[a-z]+_chk")))
            << file;
    }
}

} // namespace
