// How the shipped programs are hardened, as their ELF headers, their symbols and the memory of the
// running programs show it.

#include "installed.h"

#include <algorithm>
#include <elf.h>
#include <link.h>
#include <span>
#include <sstream>
#include <unistd.h>

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

/// A line of /proc/PID/maps.
struct Mapping {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    std::string rights;
};

/// Where the process has mapped a file, from the beginning of the file on.
std::vector<Mapping> mappings_of(pid_t process, const std::string& file) {
    std::vector<Mapping> found;
    for (const std::string& line :
         lines_of(read_file("/proc/" + std::to_string(process) + "/maps"))) {
        if (line.ends_with(" " + file)) {
            Mapping& mapping = found.emplace_back();
            std::istringstream words(line);
            char dash = 0;
            words >> std::hex >> mapping.begin >> dash >> mapping.end >> mapping.rights;
        }
    }
    return found;
}

using ProgramHeader = ElfW(Phdr);

/// The program header that says what is read-only once the program runs.
ProgramHeader relro_of(const std::string& program) {
    const std::string bytes = read_file(program);
    const auto* const file = reinterpret_cast<const ElfW(Ehdr)*>(bytes.data());
    const auto* const first = reinterpret_cast<const ProgramHeader*>(bytes.data() + file->e_phoff);
    for (const ProgramHeader& header : std::span(first, file->e_phnum)) {
        if (header.p_type == PT_GNU_RELRO) {
            return header;
        }
    }
    ADD_FAILURE() << program << " has no such header";
    return {};
}

void expect_read_only_relocations(pid_t process, const std::string& name) {
    SCOPED_TRACE(name);
    const std::string program = fs::canonical(fs::path(QX_BUILD_DIR) / "bin" / name);
    const ProgramHeader relro = relro_of(program);
    const std::vector<Mapping> mappings = mappings_of(process, program);
    ASSERT_FALSE(mappings.empty());
    // The first segment is mapped at the load address.
    const std::uintptr_t at = mappings.front().begin + relro.p_vaddr;
    const auto found = std::find_if(mappings.begin(), mappings.end(), [at](const Mapping& mapping) {
        return mapping.begin <= at && at < mapping.end;
    });
    ASSERT_NE(found, mappings.end());
    EXPECT_EQ(found->rights, "r--p");
    const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    EXPECT_GE(found->end, (at + relro.p_memsz) & ~(page - 1));
}

TEST(Hardening, RunningProgramsCannotWriteTheirRelocations) {
    const Simulator broker(R"({"events": [{"event": "device_discovery", "when": "subscribe"}]})");
    Process listener({QX_TOOL, "listen"});
    listener.wait_for_output("QX_PLIX_DEVICE_DISCOVERY");
    expect_read_only_relocations(broker.pid(), "qxbrokerd-sim");
    expect_read_only_relocations(listener.pid(), "qxagent-manage");
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
