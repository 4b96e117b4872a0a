// Talks to the simulator as the transcripts of tests/sim/transcripts say:
//   simulator SCENARIO  starts it again
//   ? NAME DATA         sends a command; without DATA, null
//   raw LINE            sends a line, which may contain escapes
//   subscribe EVENT     subscribes to an event
//   event               receives one
// and what is expected of the text that came last:
//   = TEXT              it is TEXT, {"status": 0}, with data or not ("ok"), or a refusal ("error")
//   ~ TEXT              it contains TEXT
// Furthermore:
//   no event            no event has arrived
//   wrong SCENARIO      starting the simulator fails
//   ! REASON            with this reason

#include "broker_client.h"
#include "transcript.h"

#include <memory>

namespace {

using namespace qx::test;

class SimulatorTranscripts : public ::testing::TestWithParam<fs::path> {
protected:
    void obey(const std::string& kind, const std::string& text) {
        if (kind == "simulator") {
            subscriber_.reset();
            simulator_.reset();
            simulator_ = std::make_unique<Simulator>(text);
        } else if (kind == "?") {
            converse(request_of(text));
        } else if (kind == "raw") {
            converse(unescaped(text) + "\n");
        } else if (kind == "subscribe") {
            subscriber().subscribe(text);
        } else if (kind == "event") {
            last_ = subscriber().read_frame().value_or("");
        } else if (kind == "=") {
            EXPECT_EQ(last_, answer_of(text));
        } else if (kind == "~") {
            EXPECT_THAT(last_, ::testing::HasSubstr(text));
        } else if (kind == "no") {
            EXPECT_FALSE(subscriber().has_input());
        } else if (kind == "wrong") {
            start_wrongly(text);
        } else if (kind == "!") {
            EXPECT_EQ(last_, "qxbrokerd-sim: /etc/scenario.json" + text + "\n");
        } else {
            ADD_FAILURE() << "unknown line";
        }
    }

private:
    BrokerClient& subscriber() {
        if (!subscriber_) {
            subscriber_ = std::make_unique<BrokerClient>();
        }
        return *subscriber_;
    }

    void converse(const std::string& bytes) {
        const BrokerClient client;
        client.send(bytes);
        last_ = client.read_frame().value_or("");
    }

    void start_wrongly(const std::string& scenario) {
        const Outcome outcome = run(
            {QX_SIMULATOR, "--install-dir", kInstallDir, "--scenario", scenario_file(scenario)});
        EXPECT_EQ(outcome, (Outcome{.status = 1, .err = outcome.err}));
        EXPECT_FALSE(fs::exists(kInstallDir));
        last_ = outcome.err;
    }

    static std::string answer_of(const std::string& text) {
        const auto [kind, rest] = split_word(text);
        if (kind == "ok") {
            return rest.empty() ? kOk : success(rest);
        }
        if (kind == "error") {
            const auto [code, description] = split_word(rest);
            return failure("{\"code\": " + code + ", \"description\": \"" + description + "\"}");
        }
        return text;
    }

    std::unique_ptr<Simulator> simulator_;
    std::unique_ptr<BrokerClient> subscriber_;
    std::string last_;
};

TEST_P(SimulatorTranscripts, AreRepeated) {
    for (const auto& [kind, text] : read_transcript(GetParam())) {
        SCOPED_TRACE(kind + " " + text);
        obey(kind, text);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, SimulatorTranscripts,
                         ::testing::ValuesIn(files_in(QX_TRANSCRIPTS "/sim/transcripts")),
                         [](const auto& file) { return file.param.stem().string(); });

} // namespace
