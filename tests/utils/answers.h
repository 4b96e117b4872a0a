// Transcripts of calls and their answers.
#pragma once

#include "transcript.h"

#include <functional>

namespace qx::test {

/// Repeats the transcript tests/utils/transcripts/NAME.txt. There "$ WORDS" is a call, whose words
/// are handed to `answer_to`, and "= ANSWER" what that returns.
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
