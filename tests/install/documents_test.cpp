// What the documents tell people to type, typed.

#include "installed.h"

#include <sys/mount.h>

namespace {

using namespace qx::test;

using Documents = Installed;

TEST_F(Documents, AreCleanManualPages) {
    std::vector<const char*> pages{"man8/qxagent-manage.8", "man8/qxbrokerd-sim.8"};
    if (!kForRouters) {
        pages.push_back("man3/qx_plix.3");
    }
    for (const char* page : pages) {
        output_of({"mandoc", "-Tlint", "-Wwarning", prefix / "share/man" / page});
    }
}

TEST_F(Documents, ShowExamplesOfEveryOperationThatWork) {
    std::vector<std::string> missing = operation_names();
    Simulator broker("", {"--trace"});
    std::size_t listeners = 0;
    for (const std::string& line :
         lines_of(read_file(prefix / "share/man/man8/qxagent-manage.8"))) {
        if (!line.starts_with(".Dl ")) {
            continue;
        }
        const std::string command = line.substr(4);
        const std::string words = command + " ";
        std::erase_if(missing, [&](const std::string& name) {
            return words.find("qxagent-manage " + name + " ") != std::string::npos;
        });
        if (words.find(" listen ") == std::string::npos) {
            output_of_script(command);
            continue;
        }
        Process listener({"sh", "-c", "exec " + command}, environment);
        broker.wait_for_output("\"va_status_changed\"", ++listeners);
        EXPECT_EQ(listener.stop().status, 0) << command;
    }
    EXPECT_TRUE(missing.empty()) << missing.front();
}

/// The cells of a row of a table, without blanks and backquotes around them.
std::vector<std::string> cells(const std::string& row) {
    std::vector<std::string> found;
    std::string cell;
    for (std::size_t i = 1; i < row.size(); ++i) {
        if (row[i] == '|' && row[i - 1] != '\\') {
            cell.erase(0, cell.find_first_not_of(" `"));
            cell.erase(cell.find_last_not_of(" `") + 1);
            found.push_back(cell);
            cell.clear();
        } else if (row[i] != '\\') {
            cell += row[i];
        }
    }
    return found;
}

TEST_F(Documents, ShowScenariosWithWhatComesOfThem) {
    const fs::path scenarios = fs::path(QX_SOURCE_DIR) / "docs/scenarios";
    std::size_t files = 0;
    for (const std::string& line :
         lines_of(read_file(fs::path(QX_SOURCE_DIR) / "docs/simulator.md"))) {
        if (!line.starts_with("| [")) {
            continue;
        }
        SCOPED_TRACE(line);
        ++files;
        const auto row = cells(line);
        ASSERT_EQ(row.size(), 5U);
        const std::string name = row[0].substr(1, row[0].find(']') - 1);
        const Simulator broker(read_file(scenarios / (name + ".json")));
        const Outcome outcome = run_script(row[2]);
        EXPECT_EQ(std::to_string(outcome.status), row[3]);
        EXPECT_NE((outcome.out + outcome.err).find(row[4]), std::string::npos)
            << outcome.out << outcome.err;
        EXPECT_TRUE(outcome.err.empty() || !row[4].empty()) << outcome.err;
    }
    const fs::directory_iterator all(scenarios);
    EXPECT_EQ(files, std::distance(begin(all), end(all)));
}

TEST_F(Documents, ShowATourWithItsOutput) {
    const Simulator broker(R"({"events": [{"event": "va_status_changed", "when": "subscribe",
        "data": {"status": "started", "scan": "network"}}]})");
    std::istringstream lines(read_file(fs::path(QX_SOURCE_DIR) / "README.md"));
    int commands = 0;
    std::string command;
    std::string expected;
    for (std::string line; std::getline(lines, line);) {
        if (!command.empty() && line.starts_with("    ") && !line.starts_with("    $ ")) {
            expected += line.substr(4) + "\n";
            continue;
        }
        if (!command.empty()) {
            const Outcome ran = run_script(command);
            EXPECT_EQ(ran.err.empty() ? ran.out : ran.err, expected) << command;
            ++commands;
        }
        command = line.starts_with("    $ ") ? line.substr(6) : "";
        expected.clear();
    }
    EXPECT_GE(commands, 18);
}

bool is_script(const FencedBlock& block) {
    return block.text.starts_with("#!");
}

/// The whole script of scripting.md that holds `text`.
std::string script_with(const std::string& text) {
    for (const FencedBlock& block : fenced_blocks("docs/scripting.md")) {
        if (is_script(block) && block.text.find(text) != std::string::npos) {
            return block.text;
        }
    }
    ADD_FAILURE() << "no script of the page holds " << text;
    return "exit 1\n";
}

TEST_F(Documents, ShowRecipesWithTheirOutput) {
    const Simulator broker(R"({"state": {"scan_ms": 200}, "events": [{"event": "device_discovery",
        "when": "subscribe", "data": {"mac": "02:11:22:33:44:09"}}]})");
    const auto blocks = fenced_blocks("docs/scripting.md");
    int recipes = 0;
    for (std::size_t i = 0; i + 1 < blocks.size(); ++i) {
        if (blocks[i].language != "sh" || is_script(blocks[i])) {
            continue;
        }
        ++recipes;
        EXPECT_EQ(blocks[i + 1].language, "text");
        EXPECT_EQ(output_of_script(blocks[i].text), blocks[i + 1].text) << blocks[i].text;
    }
    EXPECT_GE(recipes, 6);
}

TEST_F(Documents, ShowAServiceThatKeepsListening) {
    ASSERT_EQ(::mount("tmpfs", "/var", "tmpfs", 0, "mode=0755"), 0);
    fs::create_directories("/var/log");
    fs::create_directories("/var/run");
    const std::string service = directory.path() / "qx-events";
    const std::string running = "/var/run/qx-events.pid";
    write_file(service, script_with("/var/log/qx-events.jsonl"));

    // The first listener finds no broker, the second is killed.
    output_of_script("sh " + service + " start");
    Simulator broker("", {"--trace"});
    broker.wait_for_output("\"subscribe\"", kEvents.size());
    output_of_script("pid=$(cat " + running + ")\nkill -KILL $(cat /proc/$pid/task/$pid/children)");
    broker.wait_for_output("\"subscribe\"", 2 * kEvents.size());
    broker.write("emit qxagent_started {\"hello\": 1}\n");
    Process file({"tail", "-n", "+1", "-f", "/var/log/qx-events.jsonl"});
    file.wait_for_output(R"({"event_name": "QX_PLIX_QXAGENT_STARTED", "data": {"hello": 1}})");

    output_of_script("sh " + service + " stop");
    // Of each listener, the subscriptions and the connection with which it looked for the broker.
    broker.wait_for_output(" closed\n", 2 * (kEvents.size() + 1));
    EXPECT_FALSE(fs::exists(running));
}

TEST_F(Documents, ShowASetUpThatChangesOnlyWhatDiffers) {
    const std::string set_up = directory.path() / "set-up";
    write_file(set_up, script_with("set_router_info"));
    Simulator broker(R"({"state": {"features": {"web_filter": "disabled"},
        "services": {"status": 0}}})",
                     {"--trace"});
    for (int boot = 0; boot < 2; ++boot) {
        EXPECT_EQ(run_script("sh " + set_up), Outcome());
    }
    const std::string trace = broker.stop().out;
    for (const char* command :
         {"set_router_name", "set_router_model", "set_feature", "enable_services"}) {
        const std::size_t once = trace.find(command);
        EXPECT_NE(once, std::string::npos) << command;
        EXPECT_EQ(trace.find(command, once + 1), std::string::npos) << command;
    }
}

} // namespace
