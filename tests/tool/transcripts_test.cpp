// Runs the command lines of tests/tool/transcripts. A transcript has the lines
//   given NAME ANSWER   the next run gets this answer to the command NAME; the default is success
//   input TEXT          standard input of the next run, with the escapes \\, \n, \r and \xNN
//   $ WORDS             a run; words may be in single quotes and contain escapes
// and, for each run, the expected
//   > NAME DATA         request; without DATA, its data is null
//   | LINE              line on standard output; "(usage)" stands for the usage
//   ! LINE              line on standard error
//   = STATUS            exit status; the default is 0
//   log LINE            line of the log, without timestamp, process id and source line number

#include "test_broker.h"
#include "transcript.h"

#include <utility>

namespace {

using namespace qx::test;

struct Step {
    std::string line; ///< the command line, which identifies the run in failure messages
    std::vector<std::string> words;
    std::map<std::string, std::string> answers;
    std::string input;
    std::vector<std::string> requests;
    Outcome outcome;
    std::string log;
};

std::vector<Step> read_steps(const fs::path& file) {
    const std::string usage = run_tool({"help"}).out;
    std::vector<Step> runs;
    Step next;
    for (const auto& [kind, text] : read_transcript(file)) {
        if (kind == "given") {
            const auto [name, answer] = split_word(text);
            next.answers[name] = answer;
        } else if (kind == "input") {
            next.input = unescaped(text);
        } else if (kind == "$") {
            next.line = text;
            next.words = words_of(text);
            runs.push_back(std::exchange(next, {}));
        } else if (kind == ">") {
            runs.back().requests.push_back(request_of(text));
        } else if (kind == "|") {
            runs.back().outcome.out += text == "(usage)" ? usage : text + "\n";
        } else if (kind == "!") {
            runs.back().outcome.err += text + "\n";
        } else if (kind == "=") {
            runs.back().outcome.status = std::stoi(text);
        } else if (kind == "log") {
            runs.back().log += text + "\n";
        } else {
            ADD_FAILURE() << "unknown kind of line: " << kind << " " << text;
        }
    }
    return runs;
}

/// Returns the log without timestamps, process ids and source line numbers.
std::string log_text() {
    constexpr std::size_t kLevelColumn = 32;
    std::string text;
    for (std::string line : lines_of(fs::exists(kLogFile) ? read_file(kLogFile) : "")) {
        const std::size_t number = line.find(".cpp:") + 4;
        line.erase(number, line.find(']', number) - number);
        text += line.substr(kLevelColumn) + "\n";
    }
    return text;
}

class Transcripts : public ::testing::TestWithParam<fs::path> {
protected:
    void check(const Step& expected) {
        SCOPED_TRACE(expected.line);
        for (const auto& [name, answer] : expected.answers) {
            broker.answer(name, answer);
        }
        std::vector<std::string> argv = expected.words;
        argv.insert(argv.begin(), QX_TOOL);
        Process tool(argv);
        tool.write(expected.input);
        tool.close_input();
        EXPECT_EQ(tool.finish(), expected.outcome);
        EXPECT_EQ(broker.requests(), expected.requests);
        EXPECT_EQ(log_text(), expected.log);
        broker.forget_requests();
        fs::remove(kLogFile);
        for (const auto& [name, answer] : expected.answers) {
            broker.answer(name, kOk);
        }
    }

    TestBroker broker;
    LockedVersionFile version_file{kInstallDir};
};

TEST_P(Transcripts, MatchRequestsOutputAndStatus) {
    const std::vector<Step> runs = read_steps(GetParam());
    ASSERT_FALSE(runs.empty());
    for (const Step& run : runs) {
        check(run);
    }
}

INSTANTIATE_TEST_SUITE_P(Each, Transcripts,
                         ::testing::ValuesIn(files_in(QX_TRANSCRIPTS "/tool/transcripts")),
                         [](const auto& file) { return file.param.stem().string(); });

} // namespace
