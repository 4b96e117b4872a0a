// Compares the tool with the floors: minimal programs that do the same work with bare system calls
// (and jansson for `listen`). Runs tool and floors alternately. No other broker may be running.
// usage: measure OUTPUT-DIR INSTALL-DIR TOOL [STATIC-TOOL [AARCH64-TOOL]]
// QX_BENCH_PAIRS in the environment is the number of runs of each program (default 30).
#include "listening.h"
#include "program.h"
#include "request.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <thread>

using namespace qx::bench;

namespace {

constexpr int kPairs = 30;
constexpr double kLargestKib = 480;

int wanted_pairs() {
    const char* const wanted = std::getenv("QX_BENCH_PAIRS");
    const int pairs = wanted == nullptr ? kPairs : std::atoi(wanted);
    if (pairs < 1) {
        fail("QX_BENCH_PAIRS is not a number above 0");
    }
    return pairs;
}

Subject tool(const std::string& name, const std::string& path) {
    return {name,
            {path, "get_version_info"},
            {path, "listen", "--events", "QX_PLIX_DEVICE_DISCOVERY"},
            true};
}

std::string processor() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        if (line.rfind("model name", 0) == 0) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown processor";
}

std::vector<std::string> notes(int pairs, bool has_static) {
    utsname system{};
    ::uname(&system);
    std::vector<std::string> result{
        std::string(system.sysname) + " " + system.release + ", " + processor() + ", " +
            std::to_string(std::thread::hardware_concurrency()) + " cores.",
        std::to_string(pairs) + " alternating runs of each program. Values are medians; a ratio is "
                                "the median of the ratios of all runs.",
        "The output of every timed run was compared with the floor's, byte for byte.",
    };
    if (!has_static) {
        result.emplace_back("No static build was given: its columns are left out.");
    }
    return result;
}

double kib(const std::string& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) {
        fail("cannot read the size of " + file);
    }
    return static_cast<double>(status.st_size) / 1024;
}

double stripped_kib(const std::string& file, const std::string& scratch) {
    expect_success(start({"strip", "-o", scratch, file}, {}), "strip");
    return kib(scratch);
}

// Does not strip the AArch64 tool, because the linker has already stripped it.
std::vector<Row> sizes(const std::string& scratch, const std::vector<std::string>& tools) {
    const auto cell = [](double value) { return Cell{value, {}, {}}; };
    std::vector<Row> rows{
        {"stripped binary", "KiB", 0, {}, {cell(stripped_kib(tools[0], scratch))}}};
    if (tools.size() > 1) {
        rows[0].builds.emplace_back(cell(stripped_kib(tools[1], scratch)));
    }
    if (tools.size() > 2) {
        const Cell router{kib(tools[2]), {}, Target{true, kLargestKib}};
        rows.push_back({"stripped binary, AArch64", "KiB", 0, {}, {std::nullopt, router}});
    }
    return rows;
}

void write_file(const std::string& name, const std::string& text) {
    std::ofstream file(name);
    file << text << std::flush;
    if (!file) {
        fail("cannot write " + name);
    }
}

void append(std::vector<Row>& rows, const std::vector<Row>& more) {
    rows.insert(rows.end(), more.begin(), more.end());
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4 || argc > 6) {
        fail("usage: measure OUTPUT-DIR INSTALL-DIR TOOL [STATIC-TOOL [AARCH64-TOOL]]");
    }
    const std::string output = argv[1];
    const std::string scratch = output + "/scratch";
    const std::vector<std::string> tools(argv + 3, argv + argc);
    const int pairs = wanted_pairs();
    Subjects subjects{{"floor", {helper("floor_request")}, {helper("floor_listen")}, false},
                      tool("ordinary build", tools[0])};
    if (tools.size() > 1) {
        subjects.push_back(tool("static build", tools[1]));
    }
    Report report{notes(pairs, tools.size() > 1), {}, {}};
    for (std::size_t i = 1; i < subjects.size(); ++i) {
        report.builds.push_back(subjects[i].name);
    }
    const std::vector<Row> size_rows = sizes(scratch, tools);
    const Broker broker(argv[2]);
    append(report.rows, measure_requests(subjects, pairs));
    append(report.rows, count_requests(subjects, pairs, scratch));
    append(report.rows, measure_listening(broker, subjects, pairs));
    append(report.rows, {count_calls_while_listening(broker, subjects, scratch)});
    append(report.rows, {measure_stop(broker, subjects, pairs)});
    append(report.rows, size_rows);
    const std::string table = to_markdown(report);
    std::fputs(table.c_str(), stdout);
    write_file(output + "/performance.md", table);
    write_file(output + "/performance.json", to_json(report));
    ::remove(scratch.c_str());
    return 0;
}
