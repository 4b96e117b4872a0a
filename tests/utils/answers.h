// Runs the transcripts in tests/utils/transcripts.
#pragma once

#include "transcript.h"

#include <functional>

namespace qx::test {

/// Runs the transcript `name`.txt: passes the words of each line "$ WORDS" to `answer_to` and
/// compares the result with the next line, "= ANSWER".
inline void
expect_answers(const std::string& name,
               const std::function<std::string(const std::vector<std::string>&)>& answer_to) {
    std::string call;
    for (const auto& [kind, text] :
         read_transcript(QX_TRANSCRIPTS "/utils/transcripts/" + name + ".txt")) {
        if (kind == "$") {
            call = text;
        } else {
            EXPECT_EQ(answer_to(words_of(call)), unescaped(text)) << name << ": " << call;
        }
    }
}

} // namespace qx::test
