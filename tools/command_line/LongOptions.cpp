#include "LongOptions.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace command_line {

namespace {

/// What getopt_long returns for a row: its place in the table, above all characters.
constexpr int kFirstRow = 256;

/// How getopt_long's letters begin. It ends at the first word that is no option, or hands it on as the letter
/// with the code kPlainWord; a missing value is told by ':'.
constexpr char kOptionsAlone[] = "+:";
constexpr char kWithArguments[] = "-:";
constexpr int kPlainWord = 1;
constexpr char kHelp[] = "help"; // has the letter 'h'

char letterOf(const LongOption& row) { return std::string_view(row.name) == kHelp ? 'h' : row.letter; }

std::vector<option> rowsOf(const std::vector<LongOption>& known) {
    std::vector<option> rows;
    int code = kFirstRow;
    for (const LongOption& row : known)
        rows.push_back({row.name, row.hasValue ? required_argument : no_argument, nullptr, code++});
    rows.push_back({});
    return rows;
}

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::string lettersOf(const std::vector<LongOption>& known) {
    std::string letters;
    for (const LongOption& row : known)
        letters += letterOf(row);
    return letters;
}

std::string withColons(const std::vector<LongOption>& known, const char* beginning) {
    std::string letters = beginning;
    for (const LongOption& row : known)
        if (letterOf(row) != '\0')
            letters.append(1, letterOf(row)).append(row.hasValue ? ":" : "");
    return letters;
}

} // namespace

std::string usualWords(const Mistake& mistake) {
    const std::string name = mistake.word.substr(0, mistake.word.find('='));
    switch (mistake.kind) {
    case Mistake::Kind::UnknownOption:
        return "unknown option '" + name + "'";
    case Mistake::Kind::MissingValue:
        return name + " needs a value";
    case Mistake::Kind::UnneededValue:
        return name + " takes no value";
    case Mistake::Kind::UnexpectedArgument:
        break;
    }
    return "unexpected argument '" + mistake.word + "'";
}

std::vector<std::string> argumentsOf(int argc, const char* const* argv) {
    return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

LongOptions::LongOptions(const std::vector<LongOption>& known, std::vector<std::string> words, Words inWords,
                         Arguments arguments)
    : rows_(rowsOf(known)),
      letters_(withColons(known, arguments == Arguments::Taken ? kWithArguments : kOptionsAlone)),
      lettersOfRows_(lettersOf(known)), arguments_(arguments), words_(std::move(words)), inWords_(inWords) {
    words_.insert(words_.begin(), "program");
    pointers_ = pointersTo(words_);
    optind = 0; // begins anew
}

std::optional<GivenOption> LongOptions::next() {
    if (optionsEnded_)
        return nextArgument();
    const auto place = static_cast<std::size_t>(std::max(optind, 1)); // of the word that is looked at
    const int count = static_cast<int>(words_.size());
    const int code = getopt_long(count, pointers_.data(), letters_.c_str(), rows_.data(), nullptr);
    if (code == ':' || code == '?')
        refuse(code == ':', words_[place]);
    if (code == -1) {
        optionsEnded_ = true; // getopt_long would take what stands behind a `--` for options again
        return nextArgument();
    }
    const std::string value = optarg != nullptr ? optarg : "";
    return GivenOption{code == kPlainWord ? kArgument : rowOf(code).value(), value};
}

/// What stands behind the options' end.
std::optional<GivenOption> LongOptions::nextArgument() {
    const auto place = static_cast<std::size_t>(optind);
    if (place >= words_.size())
        return std::nullopt;
    if (arguments_ == Arguments::Refused)
        throw OptionError(inWords_({Mistake::Kind::UnexpectedArgument, words_[place], 0}));
    ++optind;
    return GivenOption{kArgument, words_[place]};
}

// getopt_long leaves in `optopt` which option it was, as far as it is known.
void LongOptions::refuse(bool valueIsMissing, const std::string& word) const {
    const std::optional<std::size_t> row = rowOf(optopt);
    const bool isKnown = row && (valueIsMissing || optopt >= kFirstRow);
    if (!isKnown)
        throw OptionError(inWords_({Mistake::Kind::UnknownOption, word, 0}));
    const auto kind = valueIsMissing ? Mistake::Kind::MissingValue : Mistake::Kind::UnneededValue;
    throw OptionError(inWords_({kind, word, *row}));
}

std::optional<std::size_t> LongOptions::rowOf(int code) const {
    if (code >= kFirstRow)
        return static_cast<std::size_t>(code - kFirstRow);
    const std::size_t row = code > 0 ? lettersOfRows_.find(static_cast<char>(code)) : std::string::npos;
    return row == std::string::npos ? std::nullopt : std::optional(row);
}

} // namespace command_line
