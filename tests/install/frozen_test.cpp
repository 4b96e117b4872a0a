// What programs and scripts rely on, as the files of tests/frozen have it. A difference is either a
// mistake or a new version of the interface, which begins with an edit of the file.

#include "installed.h"

#include "qx_plix.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace {

using namespace qx::test;

using Frozen = Installed;

// The symbols that the library's objects define for others, and those that they need.
struct Symbols {
    std::multiset<std::string> offered;
    std::set<std::string> needed;
};

Symbols symbols_of(const std::string& archive) {
    Symbols symbols;
    for (const std::string& line : lines_of(output_of({"readelf", "-Ws", archive}))) {
        std::istringstream words(line);
        // The number, value, size, type, binding, visibility, section and name.
        std::vector<std::string> columns(8);
        for (std::string& column : columns) {
            words >> column;
        }
        const bool visible = columns[4] == "GLOBAL" || columns[4] == "WEAK";
        if (visible && columns[5] == "DEFAULT" && columns[6] != "UND") {
            symbols.offered.insert(columns[3] + " " + columns[7]);
        } else if (columns[6] == "UND") {
            symbols.needed.insert(columns[7]);
        }
    }
    return symbols;
}

TEST_F(Frozen, Symbols) {
    if (kForRouters) {
        GTEST_SKIP() << "the library is not installed on routers";
    }
    const Symbols symbols = symbols_of(prefix / "lib/libqx_plix.a");
    EXPECT_THAT(symbols.offered, testing::ElementsAreArray(lines_of(frozen("symbols.txt"))));
    // No routine whose result depends on the application's locale.
    for (const char* const routine :
         {"tolower", "toupper", "isspace", "isalpha", "isalnum", "isprint", "strcasecmp", "strtod",
          "strcoll", "__ctype_b_loc", "__ctype_tolower_loc", "__ctype_toupper_loc"}) {
        EXPECT_EQ(symbols.needed.count(routine), 0U) << routine;
    }
}

// A single stream in the tool would link every locale facet, whose functions the loader looks up at
// each start.
TEST(FrozenInterface, ToolLinksNoStreams) {
    if (kForRouters) {
        GTEST_SKIP() << "a static tool looks up nothing";
    }
    EXPECT_THAT(output_of({"readelf", "--dyn-syms", "-W", fs::path(QX_TOOL)}),
                testing::AllOf(testing::HasSubstr(" malloc@"),
                               testing::Not(testing::ContainsRegex("newlocale|wcrtomb"))));
}

TEST(FrozenInterface, Records) {
    std::ostringstream text;
    const auto member = [&](const char* name, std::size_t offset, std::size_t size) {
        text << name << " " << offset << " " << size << "\n";
    };
    using Error = qx_plix_error_t;
    member("qx_plix_error_t", 0, sizeof(Error));
    member("code", offsetof(Error, code), sizeof(Error::code));
    member("message", offsetof(Error, message), sizeof(Error::message));
    member("description", offsetof(Error, description), sizeof(Error::description));
    for (int type = 0; type < QX_PLIX_EVENT_UNKNOWN; ++type) {
        text << qx_plix_event_type_to_str(static_cast<qx_plix_event_type>(type)) << " " << type
             << "\n";
    }
    text << "QX_PLIX_EVENT_UNKNOWN " << QX_PLIX_EVENT_UNKNOWN << "\n";
    EXPECT_EQ(text.str(), frozen("records.txt"));
}

TEST(FrozenInterface, Usage) {
    EXPECT_EQ(run_tool({"help"}).out, frozen("usage.txt"));
}

class FrozenStatuses : public Frozen {
protected:
    /// Of `listen`, the status with which a signal ends it after its first event.
    [[nodiscard]] int status_of(const std::string& words) const {
        if (words != "listen") {
            return run_script("qxagent-manage " + words).status;
        }
        Process listener({"sh", "-c", "exec qxagent-manage listen"}, environment);
        if (listener.reads_output("\n", 1, kPatience)) {
            listener.signal(SIGTERM);
        }
        return listener.finish().status;
    }
};

// Each line: the statuses with a broker that answers, one that refuses, and none; the words.
TEST_F(FrozenStatuses, OfEveryOperation) {
    const std::string expected = frozen("exit_statuses.txt");
    std::vector<std::string> commands;
    for (const std::string& line : lines_of(expected)) {
        commands.push_back(line.substr(line.find_last_of('\t') + 1));
    }
    std::vector<std::string> statuses(commands.size());
    const auto run_all = [&] {
        for (std::size_t i = 0; i < commands.size(); ++i) {
            statuses[i] += std::to_string(status_of(commands[i])) + "\t";
        }
    };
    const std::string events =
        R"("events": [{"event": "device_discovery", "when": "subscribe", "data": {}}])";
    const std::string refusals = R"("commands": {"*": [{"status": 1, "times": 0}]})";
    for (const std::string& scenario : {"{" + events + "}", "{" + events + ", " + refusals + "}"}) {
        const Simulator broker(scenario);
        run_all();
    }
    run_all();
    std::string text;
    for (std::size_t i = 0; i < commands.size(); ++i) {
        text += statuses[i] + commands[i] + "\n";
    }
    EXPECT_EQ(text, expected);
    for (const std::string& name : operation_names()) {
        const bool listed = std::any_of(commands.begin(), commands.end(), [&](const auto& command) {
            return (command + " ").starts_with(name + " ");
        });
        EXPECT_TRUE(listed) << name;
    }
}

} // namespace
