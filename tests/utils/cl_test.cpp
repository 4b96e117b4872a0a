#include "qx/cl.h"

#include "words.h"

#include <gmock/gmock.h>

#include <optional>

namespace {

namespace cl = qx::cl;
using cl::countlimits;
using cl::desc;
using cl::listseparator;
using cl::subcommandname;
using cl::type_flags;
using cl::valuedesc;
using qx::test::parse_words;
using qx::test::usage_text;
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

TEST(OptionValue, IntegersAreReadAsStrtollReadsThem) {
    const std::pair<const char*, std::optional<int>> cases[] = {
        {"0b10", {}}, {" -0B1", {}},     {"0", 0},
        {"0x10", 16}, {"0XfF", 255},     {"010", 8},
        {"-3", -3},   {" 7", 7},         {"+5", 5},
        {"", 0},      {"4294967297", 1}, {"2147483648", std::numeric_limits<int>::min()},
        {"7 ", {}},   {"12abc", {}},     {"0x", {}},
        {"08", {}},   {" ", {}},         {"--1", {}},
        {"1.5", {}},
    };
    for (const auto& [text, expected] : cases) {
        cl::opt<int> option("number");
        EXPECT_EQ(option.handle("number", text), expected.has_value()) << text;
        if (expected) {
            EXPECT_EQ(option.value(), *expected) << text;
        }
    }
}

TEST(OptionValue, BooleansHaveSevenWordsAndSwitchesNone) {
    const std::pair<const char*, std::optional<bool>> cases[] = {
        {"", true},   {"true", true}, {"yes", true}, {"1", true}, {"false", false}, {"no", false},
        {"0", false}, {"TRUE", {}},   {"Yes", {}},   {"on", {}},  {"2", {}},        {"true ", {}},
    };
    for (const auto& [text, expected] : cases) {
        for (const bool before : {false, true}) {
            bool value = before;
            const bool known = cl::option_parser<bool, false>::parse_bool(text, value);
            EXPECT_EQ(known, expected.has_value()) << text;
            EXPECT_EQ(value, expected.value_or(before)) << text;
        }
    }
    cl::opt<bool> inverted("inverted", type_flags{0x40000});
    EXPECT_FALSE(inverted.needs_param());
    EXPECT_TRUE(inverted.handle("inverted", "nonsense"));
    EXPECT_TRUE(inverted);
    EXPECT_TRUE(inverted.handle("inverted", "true"));
    EXPECT_FALSE(inverted);
}

TEST(OptionValue, WordsOfAValueListReplaceTheOwnNotation) {
    cl::valuelist_struct<int> sizes;
    sizes.add_entry(0, "none", "", 38, "large", "", 7, "large",
                    "the second of a name is never meant");
    cl::opt<int> size("size", sizes);
    EXPECT_TRUE(size.handle("size", "large"));
    EXPECT_EQ(size.value(), 38);
    EXPECT_FALSE(size.handle("size", "38"));
    EXPECT_FALSE(size.handle("size", "Large"));
    EXPECT_FALSE(size.handle("size", "larg"));
    cl::opt<bool> any("any", sizes);
    EXPECT_TRUE(any.handle("any", "large") && any.value());
    EXPECT_TRUE(any.handle("any", "none") && !any.value());
    EXPECT_FALSE(any.handle("any", "true"));

    cl::sub_commands<Chore> chore(cl::values<Chore>({{Chore::rest, "rest", ""}}));
    EXPECT_FALSE(chore.handle("sleep", "rest"));
    EXPECT_EQ(chore.int_val(), 0);
    EXPECT_TRUE(chore.handle("rest", "sleep"));
    EXPECT_EQ(chore.int_val(), 2);
}

TEST(OptionValue, ListsAreCutAtEverySeparator) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"", {}},          {"a", {"a"}},    {"a,b,a", {"a", "b", "a"}}, {"a,,b", {"a", "", "b"}},
        {"a,", {"a", ""}}, {",", {"", ""}}, {" a, b", {" a", " b"}},
    };
    for (const auto& [text, expected] : cases) {
        Household home;
        EXPECT_EQ(parse_words({"paint", "--colour=red", "--rooms", text}), "");
        EXPECT_EQ(home.rooms, expected) << text;
        EXPECT_TRUE(home.rooms.given());
    }
    cl::list<std::string> whole("whole");
    cl::list<std::string> flagged("flagged", cl::cut_at_separator);
    EXPECT_EQ(parse_words({"--whole", "a,b", "--flagged", "a,b"}), "");
    EXPECT_THAT(whole, ElementsAre("a,b"));
    EXPECT_THAT(flagged, ElementsAre("a", "b"));
}

TEST(OptionValue, ListsConvertTheirElementsLikeSingleValues) {
    cl::list<int> numbers("numbers", cl::cut_at_separator);
    cl::set<int> sizes("sizes", cl::values<int>({{38, "small", ""}, {42, "large", ""}}));
    EXPECT_EQ(parse_words({"--numbers=7,010,7", "--sizes", "large", "--sizes", "small"}), "");
    EXPECT_THAT(numbers, ElementsAre(7, 8, 7));
    EXPECT_THAT(sizes, ElementsAre(38, 42));
    EXPECT_FALSE(numbers.handle("numbers", "x"));
    EXPECT_FALSE(sizes.handle("sizes", "40"));
    EXPECT_THAT(numbers, ElementsAre(7, 8, 7));
}

TEST(CommandLine, SubCommandDecidesWhichOfTwoOptionsOfOneNameIsMeant) {
    Household home;
    EXPECT_EQ(parse_words({"--colour", "white", "-n", "wash", "-", "--", "--spin"}), "");
    EXPECT_EQ(home.chore.value(), Chore::wash);
    EXPECT_EQ(home.clothes_colour, "white");
    EXPECT_FALSE(home.wall_colour.given());
    EXPECT_FALSE(home.spin);
    EXPECT_TRUE(home.dry_run);
    EXPECT_EQ(home.clothes, "--spin");
    EXPECT_EQ(home.clothes.occurrences(), 2U);
}

TEST(CommandLine, RepeatedScalarsKeepTheLastValueAndListsGrow) {
    Household home;
    EXPECT_EQ(parse_words({"paint", "-colour=a=b", "--coats", "-2", "--coats=5", "--rooms", "x,y",
                           "-rooms=x", "--tools=b--a--b", "--tools", "c", "-glossy="}),
              "");
    EXPECT_EQ(home.wall_colour, "a=b");
    EXPECT_EQ(home.coats.value(), 5);
    EXPECT_EQ(home.coats.occurrences(), 2U);
    EXPECT_THAT(home.rooms, ElementsAre("x", "y", "x"));
    EXPECT_THAT(home.tools, ElementsAre("a", "b", "c"));
    EXPECT_TRUE(home.glossy);
}

TEST(CommandLine, LimitsAndKindsAreEnforced) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"wash", "-n", "-n", "-n"},
         "(repeated option) option '--n' of wash may be given only 2 times"},
        {{"wash", "a", "b", "c"}, "(surplus word) wash takes no further word: 'c'"},
        {{"paint", "--glossy=ye"},
         "(bad value) option '--glossy' of paint cannot be 'ye'; did you mean 'yes'?"},
    };
    for (const auto& [words, reason] : cases) {
        const Household home;
        EXPECT_EQ(parse_words(words), reason);
        EXPECT_EQ(qx::_get_qxerrno().number, 1);
    }
}

TEST(CommandLine, AProgramWithoutSubCommandsIsTheSubjectItself) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"--numbers", "1", "--numbers=2,3"}, ""},
        {{"--numbers", "1,x"},
         "(bad value) option '--numbers' of program cannot be 'x'; expected an integer"},
        {{"--numbers=1"}, "(missing option) program needs option '--numbers' 2 times"},
    };
    for (const auto& [words, reason] : cases) {
        const cl::opt<int> numbers("numbers", valuedesc("count"), listseparator(","),
                                   countlimits(2, 3));
        EXPECT_EQ(parse_words(words), reason);
    }
}

TEST(CommandLine, ReasonsAreFitForOneLineOfATerminal) {
    const Household home;
    EXPECT_FALSE(cl::parse(0, nullptr));
    EXPECT_THAT(
        parse_words(
            {"a\nb\x1b[31m\x7f\xff\xc3\xa9\xe2\x80\xae\xed\xa0\x80\xc2\x9b\xe0\x80\x80\xf0\x9f"}),
        HasSubstr("'a\\x0ab\\x1b[31m\\x7f\\xff\xc3\xa9\\xe2\\x80\\xae\\xed\\xa0\\x80"
                  "\\xc2\\x9b\\xe0\\x80\\x80\\xf0\\x9f'"));
    EXPECT_THAT(parse_words({"\xe2(\xa1\xf0\x80\x80\x80\xf4\x90\x80\x80"}),
                HasSubstr("'\\xe2(\\xa1\\xf0\\x80\\x80\\x80\\xf4\\x90\\x80\\x80'"));
    EXPECT_THAT(parse_words({std::string(100000, 'x')}),
                HasSubstr("'" + std::string(60, 'x') + "...'"));
}

TEST(Registry, HoldsLivingOptionsInOrderAndNoCopies) {
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
        {
            cl::list<std::string> copy(home.rooms);
            EXPECT_EQ(registered(), 10U);
            EXPECT_TRUE(copy.handle("rooms", "attic"));
            EXPECT_TRUE(copy.needs_param());
            EXPECT_THAT(copy, ElementsAre("hall", "attic"));
            EXPECT_THAT(home.rooms, ElementsAre("hall"));
        }
        EXPECT_EQ(registered(), 10U);
    }
    EXPECT_EQ(registered(), 0U);
}

TEST(Usage, WrapsTextsUnderThemselves) {
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
