#ifndef LONGOPTIONS_H
#define LONGOPTIONS_H

#include <getopt.h>

#include <cstddef>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// The command lines of this project's programs, by getopt_long: `--opt VALUE` and `--opt=VALUE`, a beginning
/// of a name where it is clear whose, `-h` for `--help`, letters where a program gives an option one, and
/// nothing but options unless a program takes arguments.

namespace command_line {

/// A wrong command line; what() is one clear line without a full stop.
class OptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An option that a program knows.
struct LongOption {
    const char* name; ///< without its dashes
    bool hasValue;
    char letter = '\0'; ///< `-o VALUE` and `-oVALUE` beside `--output VALUE`; none but `-h` where it is 0
};

/// The row of a word that is no option, where a program takes such.
constexpr std::size_t kArgument = std::numeric_limits<std::size_t>::max();

/// An option as it was given, or an argument.
struct GivenOption {
    std::size_t row;   ///< its place among the known ones, or kArgument
    std::string value; ///< the option's, or the argument itself
};

/// What is wrong with a word of the command line.
struct Mistake {
    enum class Kind { UnknownOption, MissingValue, UnneededValue, UnexpectedArgument };
    Kind kind;
    std::string word; ///< as it was given
    std::size_t row;  ///< the option's place among the known ones, where a value is missing or not needed
};

/// "unknown option '--nonsense'", "--for needs a value", "--json takes no value", "unexpected argument 'now'"
std::string usualWords(const Mistake& mistake);

/// The options of a program's table, whose rows have `name` and `hasValue` as a LongOption has.
template <class Rows>
std::vector<LongOption> optionsOf(const Rows& table) {
    std::vector<LongOption> known;
    for (const auto& row : table)
        known.push_back({row.name, row.hasValue});
    return known;
}

/// The words behind the program's name.
std::vector<std::string> argumentsOf(int argc, const char* const* argv);

/// Goes through a command line from its begin to its end. One at a time, as getopt_long's state is the
/// process's.
class LongOptions {
public:
    using Words = std::string (*)(const Mistake& mistake);

    /// Whether words that are no options are handed on, between the options and behind a `--`, or refused.
    enum class Arguments { Refused, Taken };

    /// One of `known` is "help". `inWords` says what is wrong.
    LongOptions(const std::vector<LongOption>& known, std::vector<std::string> words,
                Words inWords = usualWords, Arguments arguments = Arguments::Refused);
    LongOptions(const LongOptions&) = delete;
    LongOptions& operator=(const LongOptions&) = delete;

    /// The next option; nothing behind the last one. Throws OptionError for what is wrong there; what stands
    /// behind it was not looked at.
    std::optional<GivenOption> next();

private:
    std::optional<GivenOption> nextArgument();
    [[noreturn]] void refuse(bool valueIsMissing, const std::string& word) const;
    std::optional<std::size_t> rowOf(int code) const; ///< nothing for a letter that no option has

    std::vector<option> rows_;  ///< as getopt_long wants them, with a last one of zeros
    std::string letters_;       ///< as getopt_long wants them
    std::string lettersOfRows_; ///< one for each row, 0 where it has none
    Arguments arguments_;
    bool optionsEnded_ = false;
    std::vector<std::string> words_; ///< a program's name and the arguments
    std::vector<char*> pointers_;    ///< to them, with a null pointer behind the last
    Words inWords_;
};

/// `options` with what the rows of a program's table take from its command line; they have a function `take`
/// beside their name. Behind a --help or --version nothing is looked at. Throws OptionError.
template <class Options, class Rows>
Options takenBy(const Rows& table, int argc, const char* const* argv, Options options = {}) {
    LongOptions given(optionsOf(table), argumentsOf(argc, argv));
    while (const auto option = given.next()) {
        table[option->row].take(options, option->value);
        if (options.help || options.version)
            break;
    }
    return options;
}

} // namespace command_line

#endif
