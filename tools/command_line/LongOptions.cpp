#include "LongOptions.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace command_line {

namespace {

/// What getopt_long returns for a row: its place in the table, above all characters.
constexpr int kFirstRow = 256;

constexpr char kLetters[] = "+:h"; // ends at the first word that is no option; a missing value is told by ':'
constexpr char kHelp[] = "help";   // what 'h' stands for

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

std::size_t rowOf(int code) { return static_cast<std::size_t>(code - kFirstRow); }

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

LongOptions::LongOptions(const std::vector<LongOption>& known, std::vector<std::string> arguments,
                         Words inWords)
    : rows_(rowsOf(known)), words_(std::move(arguments)), inWords_(inWords) {
    words_.insert(words_.begin(), "program");
    pointers_ = pointersTo(words_);
    optind = 0; // begins anew
}

std::optional<GivenOption> LongOptions::next() {
    const auto place = static_cast<std::size_t>(std::max(optind, 1)); // of the word that is looked at
    const int count = static_cast<int>(words_.size());
    const int code = getopt_long(count, pointers_.data(), kLetters, rows_.data(), nullptr);
    if (code == ':' || code == '?')
        refuse(code == ':', words_[place]);
    if (code == 'h')
        return GivenOption{helpRow(), ""};
    if (code != -1)
        return GivenOption{rowOf(code), optarg != nullptr ? optarg : ""};
    if (optind < count)
        throw OptionError(
            inWords_({Mistake::Kind::UnexpectedArgument, words_[static_cast<std::size_t>(optind)], 0}));
    return std::nullopt;
}

// getopt_long leaves in `optopt` which option it was, as far as it is known.
void LongOptions::refuse(bool valueIsMissing, const std::string& word) const {
    if (optopt < kFirstRow)
        throw OptionError(inWords_({Mistake::Kind::UnknownOption, word, 0}));
    const auto kind = valueIsMissing ? Mistake::Kind::MissingValue : Mistake::Kind::UnneededValue;
    throw OptionError(inWords_({kind, word, rowOf(optopt)}));
}

std::size_t LongOptions::helpRow() const {
    const auto isHelp = [](const option& row) { return std::string_view(row.name) == kHelp; };
    return static_cast<std::size_t>(std::find_if(rows_.begin(), rows_.end() - 1, isHelp) - rows_.begin());
}

} // namespace command_line
