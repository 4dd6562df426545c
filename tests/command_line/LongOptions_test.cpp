#include "LongOptions.h"

#include <gmock/gmock.h>

namespace {

using namespace command_line;
using ::testing::ElementsAre;

const std::vector<LongOption> kKnown{{"for", true}, {"json", false}, {"help", false}};

/// "name" or "name=value" of each option, and last what is wrong.
std::vector<std::string> taken(const std::vector<std::string>& arguments,
                               LongOptions::Words words = usualWords) {
    std::vector<std::string> said;
    try {
        LongOptions given(kKnown, arguments, words);
        while (const auto option = given.next())
            said.push_back(kKnown[option->row].name +
                           (kKnown[option->row].hasValue ? "=" + option->value : ""));
    } catch (const OptionError& error) {
        said.emplace_back(error.what());
    }
    return said;
}

std::string theOption(const Mistake& mistake) { return kKnown[mistake.row].name; }

// --- What is taken --------------------------------------------------------------------------------------

TEST(LongOptions, ComeInTheirOrderAndMayBeRepeated) {
    EXPECT_THAT(taken({"--json", "--for", "5", "--json"}), ElementsAre("json", "for=5", "json"));
    EXPECT_THAT(taken({}), ElementsAre());
}

TEST(LongOptions, TakeTheirValueEitherWay) {
    EXPECT_THAT(taken({"--for=5", "--for", "6"}), ElementsAre("for=5", "for=6"));
    EXPECT_THAT(taken({"--for=", "--for", ""}), ElementsAre("for=", "for="));
    EXPECT_THAT(taken({"--for", "--json"}), ElementsAre("for=--json"));
    EXPECT_THAT(taken({"--for=a=b"}), ElementsAre("for=a=b"));
}

TEST(LongOptions, HaveOneLetter) { EXPECT_THAT(taken({"-h", "--help"}), ElementsAre("help", "help")); }

TEST(LongOptions, MayBeShortenedWhereItIsClear) {
    EXPECT_THAT(taken({"--js", "--f=5"}), ElementsAre("json", "for=5"));
}

TEST(LongOptions, BeginAnewWithEachCommandLine) {
    EXPECT_THAT(taken({"--json", "-hx"}), ElementsAre("json", "help", "unknown option '-hx'"));
    EXPECT_THAT(taken({"--json"}), ElementsAre("json"));
}

// --- Letters and arguments ------------------------------------------------------------------------------

const std::vector<LongOption> kKnownToAReport{{"output", true, 'o'}, {"quiet", false, 'q'}, {"help", false}};

/// "name=value" of each option, arguments as they are, and last what is wrong.
std::vector<std::string> takenByAReport(const std::vector<std::string>& words) {
    std::vector<std::string> said;
    try {
        LongOptions given(kKnownToAReport, words, usualWords, LongOptions::Arguments::Taken);
        while (const auto option = given.next())
            said.push_back(option->row == kArgument
                               ? option->value
                               : std::string(kKnownToAReport[option->row].name) + "=" + option->value);
    } catch (const OptionError& error) {
        said.emplace_back(error.what());
    }
    return said;
}

TEST(LettersOfOptions, StandForTheirNames) {
    EXPECT_THAT(takenByAReport({"-o", "a", "-ob", "-q", "--output=c", "-qh"}),
                ElementsAre("output=a", "output=b", "quiet=", "output=c", "quiet=", "help="));
}

TEST(LettersOfOptions, AreRefusedAsTheirNamesAre) {
    EXPECT_THAT(takenByAReport({"-q", "-o"}), ElementsAre("quiet=", "-o needs a value"));
    EXPECT_THAT(takenByAReport({"-x"}), ElementsAre("unknown option '-x'"));
    EXPECT_THAT(takenByAReport({"--quiet=yes"}), ElementsAre("--quiet takes no value"));
}

TEST(ArgumentsOfACommand, AreTakenInTheirOrderBetweenTheOptions) {
    EXPECT_THAT(takenByAReport({"one", "-q", "two", "-"}), ElementsAre("one", "quiet=", "two", "-"));
    EXPECT_THAT(takenByAReport({"one", "--", "-q", "--output"}), ElementsAre("one", "-q", "--output"));
    EXPECT_THAT(takenByAReport({"--"}), ElementsAre());
}

// --- What is wrong --------------------------------------------------------------------------------------

TEST(LongOptions, AreRefusedWithTheWordThatIsWrong) {
    EXPECT_THAT(taken({"--json", "--nonsense=5"}), ElementsAre("json", "unknown option '--nonsense'"));
    EXPECT_THAT(taken({"--json", "--for"}), ElementsAre("json", "--for needs a value"));
    EXPECT_THAT(taken({"--json=5"}), ElementsAre("--json takes no value"));
    EXPECT_THAT(taken({"-x"}), ElementsAre("unknown option '-x'"));
    EXPECT_THAT(taken({"-xh"}), ElementsAre("unknown option '-xh'"));
}

TEST(LongOptions, EndWithTheFirstWordThatIsNone) {
    EXPECT_THAT(taken({"--json", "now", "--json"}), ElementsAre("json", "unexpected argument 'now'"));
    EXPECT_THAT(taken({"--", "--json"}), ElementsAre("unexpected argument '--json'"));
    EXPECT_THAT(taken({"-"}), ElementsAre("unexpected argument '-'"));
    EXPECT_THAT(taken({"--json", "--"}), ElementsAre("json"));
}

TEST(LongOptions, TellAProgramThatHasItsOwnWordsWhichOptionItIs) {
    EXPECT_THAT(taken({"--json=5"}, theOption), ElementsAre("json"));
    EXPECT_THAT(taken({"--for"}, theOption), ElementsAre("for"));
}

// --- Arguments ------------------------------------------------------------------------------------------

TEST(Arguments, AreWhatStandsBehindTheProgramsName) {
    const char* const words[] = {"program", "--json", "now", nullptr};
    EXPECT_THAT(argumentsOf(3, words), ElementsAre("--json", "now"));
    EXPECT_THAT(argumentsOf(1, words), ElementsAre());
    EXPECT_THAT(argumentsOf(0, words + 3), ElementsAre());
}

} // namespace
