// The keys that a terminal's bytes make.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Keys.h"

namespace {

using monitor::Key;
using monitor::Keys;
using testing::ElementsAre;
using testing::IsEmpty;

/// "q", "^C", "Enter", ...
std::string inWords(const Key& key) {
    static const char* const names[] = {"",   "Enter", "Escape", "Backspace", "Tab",
                                        "Up", "Down",  "PageUp", "PageDown"};
    if (key.kind != Key::Kind::Character)
        return names[static_cast<int>(key.kind)];
    return key.character < ' ' ? std::string("^") + static_cast<char>(key.character + '@')
                               : std::string(1, key.character);
}

std::vector<std::string> inWords(const std::vector<Key>& keys) {
    std::vector<std::string> words;
    for (const Key& key : keys)
        words.push_back(inWords(key));
    return words;
}

std::vector<std::string> keysOf(const std::string& bytes) { return inWords(Keys().take(bytes)); }

TEST(LiveKeys, AreCharacters) { EXPECT_THAT(keysOf("o1?\x03\x1a"), ElementsAre("o", "1", "?", "^C", "^Z")); }

TEST(LiveKeys, HaveNames) {
    EXPECT_THAT(keysOf("\r\n\t\x7f\b"), ElementsAre("Enter", "Enter", "Tab", "Backspace", "Backspace"));
}

TEST(LiveKeys, AreSequencesInBothModesOfATerminal) {
    EXPECT_THAT(keysOf("\x1b[A\x1bOB\x1b[5~\x1b[6~"), ElementsAre("Up", "Down", "PageUp", "PageDown"));
}

TEST(LiveKeys, PassOverSequencesThatMeanNothing) {
    EXPECT_THAT(keysOf("\x1b[1;5Cq\x1b[200~"), ElementsAre("q"));
    EXPECT_THAT(keysOf("\x1b[99999999999999999999"), testing::Not(IsEmpty()))
        << "one without an end ends somewhere";
}

TEST(LiveKeys, TakeASequenceInPieces) {
    Keys keys;
    EXPECT_THAT(keys.take("\x1b"), IsEmpty());
    EXPECT_THAT(keys.take("["), IsEmpty());
    EXPECT_THAT(inWords(keys.take("A")), ElementsAre("Up"));
}

TEST(LiveKeys, TakeAnEscapeThatStandsAloneForTheKey) {
    Keys keys;
    EXPECT_THAT(keys.take("\x1b"), IsEmpty());
    EXPECT_THAT(inWords(keys.pause()), ElementsAre("Escape"));
    EXPECT_THAT(keys.pause(), IsEmpty());
    EXPECT_THAT(keysOf("\x1bq"), ElementsAre("Escape", "q"));
}

} // namespace
