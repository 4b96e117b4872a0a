// Runs the command lines of tests/tool/transcripts. In a transcript
//   given NAME ANSWER   the broker's answer to the command NAME of the next run, instead of success
//   input TEXT          what the next run reads from standard input; \n, \r, \xNN and \\ are
//   escapes $ WORDS             a run; words may be in single quotes and contain escapes
// and what is expected of that run:
//   > NAME DATA         a request of the run; without DATA, null
//   | LINE              on standard output; "(usage)" stands for the usage
//   ! LINE              on standard error
//   = STATUS            the exit status, unless it is 0
//   log LINE            in the log, from the level on, without numbers of lines of code
// Lines that begin with "#" are comments.

#include "agent.h"

#include <utility>

namespace {

using namespace qx::test;

struct Step {
    std::string line; ///< the command line, to name the run
    std::vector<std::string> words;
    std::map<std::string, std::string> answers;
    std::string input;
    std::vector<std::string> requests;
    Outcome outcome;
    std::string log;
};

/// Splits `text` at its first space.
std::pair<std::string, std::string> split(const std::string& text) {
    const std::size_t space = text.find(' ');
    return {text.substr(0, space), space == std::string::npos ? "" : text.substr(space + 1)};
}

/// Appends the character at `at`, which may be an escape. Returns the next position.
std::size_t append_character(std::string& out, const std::string& text, std::size_t at) {
    if (text[at] != '\\') {
        out += text[at];
        return at + 1;
    }
    const char kind = text.at(at + 1);
    if (kind == 'x') {
        out += static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16));
        return at + 4;
    }
    out += kind == 'n' ? '\n' : kind == 'r' ? '\r' : kind;
    return at + 2;
}

std::string unescaped(const std::string& text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        at = append_character(out, text, at);
    }
    return out;
}

std::vector<std::string> words_of(const std::string& line) {
    std::vector<std::string> words;
    bool quoted = false;
    bool in_word = false;
    for (std::size_t at = 0; at < line.size();) {
        if (line[at] == ' ' && !quoted) {
            in_word = false;
            ++at;
            continue;
        }
        if (!in_word) {
            words.emplace_back();
            in_word = true;
        }
        if (line[at] == '\'') {
            quoted = !quoted;
            ++at;
        } else {
            at = append_character(words.back(), line, at);
        }
    }
    return words;
}

std::string request_of(const std::string& text) {
    const auto [name, data] = split(text);
    return data == "(no data)" ? command(name, "") : command(name, data.empty() ? "null" : data);
}

std::vector<Step> read_transcript(const fs::path& file) {
    const std::string usage = run_tool({"help"}).out;
    std::vector<Step> runs;
    Step next;
    for (const std::string& line : lines_of(read_file(file))) {
        const auto [kind, text] = split(line);
        if (kind == "given") {
            const auto [name, answer] = split(text);
            next.answers[name] = answer;
        } else if (kind == "input") {
            next.input = unescaped(text);
        } else if (kind == "$") {
            next.line = line;
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
            EXPECT_TRUE(line.empty() || kind.starts_with("#")) << line;
        }
    }
    return runs;
}

class Transcripts : public Agent, public ::testing::WithParamInterface<fs::path> {
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
};

TEST_P(Transcripts, AreRepeatedByTheTool) {
    const std::vector<Step> runs = read_transcript(GetParam());
    ASSERT_FALSE(runs.empty());
    for (const Step& run : runs) {
        check(run);
    }
}

std::vector<fs::path> transcripts() {
    const fs::directory_iterator folder(QX_TRANSCRIPTS);
    return {begin(folder), end(folder)};
}

INSTANTIATE_TEST_SUITE_P(Of, Transcripts, ::testing::ValuesIn(transcripts()),
                         [](const auto& file) { return file.param.stem().string(); });

} // namespace
