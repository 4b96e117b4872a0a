#include "qx/cl.h"

#include "answers.h"
#include "qx/format.h"
#include "words.h"

namespace {

namespace cl = qx::cl;
using namespace qx::test;
using cl::countlimits;
using cl::desc;
using cl::listseparator;
using cl::subcommandname;
using cl::valuedesc;
using testing::ElementsAre;
using testing::HasSubstr;

enum class Chore { paint, wash, rest };

struct Household {
    cl::sub_commands<Chore> chore{valuedesc("home chore"), desc("What to do:"),
                                  cl::values<Chore>({{Chore::paint, "paint", "put colour on walls"},
                                                     {Chore::wash, "wash", "wash clothes"},
                                                     {Chore::rest, "rest", ""}})};
    cl::opt<std::string> wall_colour{"colour", subcommandname("paint"), countlimits(1, 1)};
    cl::opt<int> coats{"coats", subcommandname("paint"), valuedesc("count")};
    cl::opt<bool> glossy{"glossy", subcommandname("paint"), valuedesc("boolean")};
    cl::list<std::string> rooms{"rooms", subcommandname("paint"), listseparator(",")};
    cl::set<std::string> tools{"tools", subcommandname("paint"), subcommandname("wash"),
                               listseparator("--")};
    cl::opt<std::string> clothes_colour{"colour", subcommandname("wash")};
    cl::flag spin{"spin", subcommandname("wash"), countlimits(0, 1)};
    cl::opt<std::string> clothes{subcommandname("wash"), countlimits(0, 2)};
    cl::flag dry_run{"n", desc("say what would be done"), countlimits(0, 2)};
};

/// Options of the sub-command "rest": integers, booleans, value lists and lists.
struct Bedroom {
    static cl::valuelist_struct<int> sizes() {
        cl::valuelist_struct<int> words;
        words.add_entry(0, "none", "", 38, "large", "", 7, "large", "");
        return words;
    }

    cl::opt<int> hours{"hours", subcommandname("rest")};
    cl::opt<bool> quiet{"quiet", subcommandname("rest")};
    cl::opt<int> bed{"bed", sizes(), subcommandname("rest")};
    cl::opt<bool> blanket{"blanket", sizes(), subcommandname("rest")};
    cl::list<int> naps{"naps", cl::cut_at_separator, subcommandname("rest")};
    cl::set<int> pillows{"pillows", sizes(), subcommandname("rest")};
};

std::string options_of(const std::vector<std::string>& words) {
    const Household home;
    const Bedroom room;
    std::string text = parse_words(words);
    if (!text.empty()) {
        return text;
    }
    const auto add = [&text](const char* name, const auto& option, const auto& value) {
        text += option.given() ? fmt::format("{}{}={}", text.empty() ? "" : " ", name, value) : "";
    };
    const auto joined = [](const auto& list) { return fmt::format("{}", fmt::join(list, "|")); };
    add("chore", home.chore, static_cast<int>(home.chore.value()));
    add("colour_of_walls", home.wall_colour, home.wall_colour.c_str());
    add("coats", home.coats, home.coats.value());
    add("glossy", home.glossy, home.glossy.value());
    add("rooms", home.rooms, joined(home.rooms));
    add("tools", home.tools, joined(home.tools));
    add("colour_of_clothes", home.clothes_colour, home.clothes_colour.c_str());
    add("spin", home.spin, 1);
    add("clothes", home.clothes, home.clothes.c_str());
    add("n", home.dry_run, 1);
    add("hours", room.hours, room.hours.value());
    add("quiet", room.quiet, room.quiet.value());
    add("bed", room.bed, room.bed.value());
    add("blanket", room.blanket, room.blanket.value());
    add("naps", room.naps, joined(room.naps));
    add("pillows", room.pillows, joined(room.pillows));
    return text;
}

TEST(CommandLine, IsParsedAsInTheTranscript) {
    expect_answers("command_lines", options_of);
}

TEST(CommandLine, ErrorsQuoteAtMostSixtyCharactersOfAWord) {
    const Household home;
    EXPECT_THAT(parse_words({std::string(100000, 'x')}),
                HasSubstr("'" + std::string(60, 'x') + "...'"));
    EXPECT_THAT(parse_words({"\xe2\x82\xac\n"}), HasSubstr("'\xe2\x82\xac\\x0a'"));
    EXPECT_EQ(qx::_get_qxerrno().number, 1);
    EXPECT_FALSE(cl::parse(0, nullptr));
}

TEST(CommandLine, ErrorsNameTheProgramIfItHasNoSubCommands) {
    const std::pair<const char*, const char*> cases[] = {
        {"--whole a,b --numbers 1 --numbers=2,3", ""},
        {"--whole a,b --numbers 1,x",
         "(bad value) option '--numbers' of program cannot be 'x'; expected an integer"},
        {"--whole a,b --numbers=1", "(missing option) program needs option '--numbers' 2 times"},
    };
    for (const auto& [words, reason] : cases) {
        const cl::opt<int> numbers("numbers", valuedesc("count"), listseparator(","),
                                   countlimits(2, 3));
        const cl::list<std::string> whole("whole");
        EXPECT_EQ(parse_words(words_of(words)), reason);
        EXPECT_THAT(whole, ElementsAre("a,b"));
    }
}

TEST(OptionValue, StaysUnchangedAfterAnUnknownWord) {
    bool value = true;
    EXPECT_FALSE((cl::option_parser<bool, false>::parse_bool("nonsense", value)));
    EXPECT_TRUE(value);
    cl::sub_commands<Chore> chore(cl::values<Chore>({{Chore::rest, "rest", ""}}));
    EXPECT_FALSE(chore.handle("sleep", "rest"));
    EXPECT_EQ(chore.int_val(), 0);
    cl::opt<bool> inverted("inverted", cl::type_flags{0x40000});
    EXPECT_FALSE(inverted.needs_param());
    EXPECT_TRUE(inverted.handle("inverted", "nonsense") && inverted);
    EXPECT_TRUE(inverted.handle("inverted", "true") && !inverted);
}

TEST(OptionRegistry, HoldsLivingOptionsInOrderButNoCopies) {
    const auto registered = [] { return cl::parser()->options().size(); };
    {
        Household home;
        EXPECT_EQ(registered(), 10U);
        EXPECT_EQ(cl::parser()->options()[1], &home.wall_colour);
        EXPECT_EQ(parse_words({"wash"}), "");
        for (cl::detail::option_base* const option : cl::parser()->options()) {
            EXPECT_EQ(option->int_val(), option == &home.chore ? 1 : 0);
            EXPECT_TRUE(option->storage_allocated());
        }
        home.rooms.push_back("hall");
        cl::list<std::string> copy(home.rooms);
        EXPECT_EQ(registered(), 10U);
        EXPECT_TRUE(copy.handle("rooms", "attic"));
        EXPECT_TRUE(copy.needs_param());
        EXPECT_THAT(copy, ElementsAre("hall", "attic"));
        EXPECT_THAT(home.rooms, ElementsAre("hall"));
    }
    EXPECT_EQ(registered(), 0U);
}

TEST(Usage, WrapsDescriptionsWithinTheirColumn) {
    const std::string column(26, ' ');
    const std::string a(26, 'a');
    const std::string full = a + " " + std::string(27, 'b');
    const std::string wide(60, 'c');
    const std::string help = full + " " + wide + " end.\nSecond paragraph.";
    const std::string longer = full + "b end";
    const cl::opt<std::string> file("output", valuedesc("<file>"), desc(help));
    const cl::opt<std::string> other("a_name_that_leaves_no_room", desc(longer));
    EXPECT_EQ(parse_words({}), "");
    EXPECT_EQ(usage_text(), "usage: program [OPTION]...\n\n"
                            "An option is written '--name value' or '--name=value'.\n\n"
                            "    --output <file>       " +
                                full + "\n" + column + wide + "\n" + column + "end.\n" + column +
                                "Second paragraph.\n    --a_name_that_leaves_no_room <value>\n" +
                                column + a + "\n" + column + longer.substr(27) + "\n");
}

} // namespace
