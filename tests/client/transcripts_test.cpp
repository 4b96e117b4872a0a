// Runs the calls in tests/client/transcripts. A transcript has the lines
//   given NAME ANSWER   the next call gets this answer to the command NAME; the default is success
//   bytes NAME BYTES    the reply to NAME is BYTES, which may contain \xNN escapes, then EOF; the
//                       escape \lNN stands for a length field with the value NN
//   $ CALL DOCUMENT     a call; without DOCUMENT, the argument is a null pointer
// and, for each call, the expected
//   > NAME DATA         request; without DATA, its data is null
//   = RESULT OUTPUT     result, and the values that the call stores for its caller

#include "agent_fixture.h"
#include "base/json.h"
#include "transcript.h"
#include "wire.h"

#include <cstring>
#include <optional>
#include <sys/socket.h>

namespace {

using namespace qx::test;
using ::testing::IsEmpty;

/// The values that a call stores for its caller. Before the call, every byte of `status` and
/// `error` is 'Z', so that the test can tell whether the call stored a value.
struct Output {
    explicit Output(char* untouched)
        : text(untouched) {
        std::memset(&status, 'Z', sizeof status);
        std::memset(&error, 'Z', sizeof error);
    }

    char* text;
    int status = 0;
    qx_plix_error_t error{};
};

const std::map<std::string, int (*)(const char* document, Output& out)> kCalls = {
    {"send", [](auto, auto& o) { return qxplix::send_command("x", json_null(), &o.text); }},
    {"is_enabled", [](auto, auto& o) { return qx_plix_is_enabled(&o.status); }},
    {"get_devices", [](auto d, auto& o) { return qx_plix_get_devices(d, &o.text); }},
    {"get_feature", [](auto d, auto& o) { return qx_plix_get_feature(d, &o.text); }},
    {"set_feature", [](auto d, auto& o) { return qx_plix_set_feature(d, &o.text); }},
    {"get_router_info", [](auto, auto& o) { return qx_plix_get_router_info(&o.text); }},
    {"set_router_info", [](auto d, auto&) { return qx_plix_set_router_info(d); }},
    {"set_device_info", [](auto d, auto&) { return qx_plix_set_device_info(d); }},
    {"report_devices", [](auto d, auto&) { return qx_plix_set_device_online_status(d); }},
    {"remove_satellite", [](auto d, auto&) { return qx_plix_remove_satellite(d); }},
    {"register", [](auto d, auto& o) { return qx_plix_register(d, &o.error); }},
    {"va_set_schedule", [](auto d, auto& o) { return qx_plix_va_set_schedule(d, &o.text); }},
    {"va_set_schedule_only", [](auto d, auto&) { return qx_plix_va_set_schedule(d, nullptr); }},
    {"register_only", [](auto d, auto&) { return qx_plix_register(d, nullptr); }},
    {"va_get_exclusions",
     [](auto, auto& o) { return qx_plix_va_get_exclusions(nullptr, &o.error); }},
    {"va_set_exclusions", [](auto d, auto& o) { return qx_plix_va_set_exclusions(d, &o.error); }},
};

std::string outcome_of(const std::string& call, const char* document) {
    char text[] = "";
    const Output untouched(text);
    Output out(text);
    std::string outcome = std::to_string(kCalls.at(call)(document, out));
    if (out.status != untouched.status) {
        outcome += " " + std::to_string(out.status);
    }
    if (out.error.code != untouched.error.code) {
        outcome += " " + std::to_string(out.error.code) + " " + out.error.message + ": " +
                   out.error.description;
    }
    if (out.text != untouched.text) {
        const qx::text_ptr stored(out.text);
        outcome += std::string(" ") + (stored ? stored.get() : "(null)");
    }
    return outcome;
}

void expect_transcript(const std::string& name) {
    std::optional<TestBroker> broker(std::in_place);
    std::string call;
    std::string outcome;
    std::vector<std::string> requests;
    for (const auto& [kind, text] :
         read_transcript(QX_TRANSCRIPTS "/client/transcripts/" + name + ".txt")) {
        const auto [word, rest] = split_word(text);
        if (kind == "given") {
            broker->answer(word, rest);
        } else if (kind == "bytes") {
            broker->reply(word, {unescaped(rest), true});
        } else if (kind == "$") {
            call = text;
            outcome = outcome_of(word, rest.empty() ? nullptr : rest.c_str());
        } else if (kind == ">") {
            requests.push_back(request_of(text));
        } else {
            EXPECT_EQ(kind + " " + outcome, "= " + text) << call;
            EXPECT_EQ(broker->requests(), requests) << call;
            requests.clear();
            broker.emplace();
        }
    }
}

TEST(Commands, AreCheckedAndSentAsInTheTranscript) {
    expect_transcript("commands");
}

TEST(Answers, AreDecodedAsInTheTranscript) {
    expect_transcript("answers");
}

TEST(Getters, FailWithoutAnOutputPointer) {
    const TestBroker broker;
    EXPECT_EQ(qx_plix_get_version_info(nullptr), -1);
    EXPECT_EQ(qx_plix_get_devices(nullptr, nullptr), -1);
    EXPECT_EQ(qx_plix_get_feature("[]", nullptr), -1);
    EXPECT_EQ(qx_plix_get_router_info(nullptr), -1);
    EXPECT_EQ(qx_plix_is_enabled(nullptr), -1);
    EXPECT_EQ(outcome_of("va_get_exclusions", nullptr),
              "-1 1 invalid params: output pointer is null");
    EXPECT_THAT(broker.requests(), IsEmpty());
}

using CloudRegistration = StartedClient;

TEST_F(CloudRegistration, NeedsTokenAndMacAndSendsTheMacAsDefaultRedeemCode) {
    EXPECT_EQ(qx_plix_register_to_cloud("t", "m", nullptr), 0);
    EXPECT_EQ(qx_plix_register_to_cloud("t", "m", ""), 0);
    EXPECT_EQ(qx_plix_register_to_cloud(nullptr, "m", "r"), -1);
    EXPECT_EQ(qx_plix_register_to_cloud("t", nullptr, "r"), -1);
    qx_plix_uninit();
    EXPECT_EQ(qx_plix_register_to_cloud("t", "m", "r"), -1);
    const std::string sent = R"({"token": "t", "token_type": "partner", )"
                             R"("register_mac_address": "m", "redeem_code": )";
    EXPECT_THAT(broker.requests(),
                ::testing::ElementsAre(command("start_cloud_registration", sent + "\"m\"}"),
                                       command("start_cloud_registration", sent + "\"\"}")));
}

TEST(Wire, AcceptsLongAnswersAndRejectsDeeplyNestedOnes) {
    TestBroker broker;
    const std::string data = '"' + std::string(5'000'000, 'x') + '"';
    broker.answer("x", success(data));
    EXPECT_TRUE(outcome_of("send", nullptr) == "0 " + data);
    broker.answer("x", std::string(100'000, '['));
    EXPECT_EQ(outcome_of("send", nullptr), "-1");
}

TEST(Wire, CompletesShortWritesAndRaisesNoSigpipe) {
    ::signal(SIGPIPE, SIG_DFL);
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const std::string sent(3'000'000, 'x');
    std::string received(sent.size(), '\0');
    std::thread reader([&] {
        EXPECT_EQ(qxplix::recv_sync(ends[1], received.data(), received.size()), 0);
        ::close(ends[1]);
    });
    EXPECT_EQ(qxplix::send_sync(ends[0], sent.data(), sent.size()), 0);
    reader.join();
    EXPECT_TRUE(received == sent);
    EXPECT_EQ(qxplix::send_request(ends[0], "command", "x", nullptr), -1);
    EXPECT_EQ(qxplix::recv_sync(ends[0], received.data(), 0), -1);
}

} // namespace
