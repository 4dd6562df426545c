#include "TerminalSettings.h"

#include <sstream>
#include <vector>

namespace check {

namespace {

std::vector<std::string> wordsOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

/// "speed 9600 baud", "ispeed 9600 baud", "intr = ^C"; true when it was one of them.
bool takeSetting(const std::vector<std::string>& words, TerminalSettings& settings) {
    if (words.size() == 3 && words[2] == "baud") {
        if (settings.speed.empty())
            settings.speed = words[1];
        return true;
    }
    if (words.size() == 3 && words[1] == "=") {
        settings.values[words[0]] = words[2];
        return true;
    }
    return words.size() == 2 && (words[0] == "rows" || words[0] == "columns");
}

} // namespace

TerminalSettings parseTerminalSettings(const std::string& text) {
    TerminalSettings settings;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ';');) {
        const std::vector<std::string> words = wordsOf(part);
        if (!takeSetting(words, settings))
            settings.flags.insert(words.begin(), words.end());
    }
    return settings;
}

} // namespace check
