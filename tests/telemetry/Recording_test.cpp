#include "Recording.h"

#include <gmock/gmock.h>

#include <sstream>

#include "Json.h"

namespace {

using namespace telemetry;
using ::testing::ElementsAre;

std::string json(Content content) { return toJson({{1767323045042, 1000, 7}, std::move(content)}); }

const std::string kStart = json(Start{1, "ruxogps-monitor 0.1.0"}) + "\n";

/// The lines by the number of their content's type, then "line: what" of the damage.
std::vector<std::string> readingOf(const std::string& text) {
    std::istringstream input(text);
    RecordingReader reader(input, "drive.jsonl");
    std::vector<std::string> said;
    while (const auto line = reader.next())
        said.push_back(std::to_string(line->content.index()));
    for (const Damage& damage : reader.damage())
        said.push_back(std::to_string(damage.line) + ": " + damage.what);
    return said;
}

std::string refusalOf(const std::string& text) {
    try {
        readingOf(text);
    } catch (const NoRecording& error) {
        return error.what();
    }
    return "none";
}

TEST(Recording, IsReadLineByLine) {
    EXPECT_THAT(readingOf(kStart + json(Lost{1}) + "\n" + json(End{0}) + "\n"), ElementsAre("0", "10", "11"));
    EXPECT_THAT(readingOf(kStart), ElementsAre("0"));
}

TEST(Recording, MayGoOnWithAnotherStart) {
    EXPECT_THAT(readingOf(kStart + json(Lost{1}) + "\n" + kStart), ElementsAre("0", "10", "0"));
}

TEST(Recording, IsReadUpToWhereALossOfPowerHasCutIt) {
    const std::string whole = kStart + json(Lost{1}) + "\n";
    EXPECT_THAT(readingOf(whole + R"({"type":"lo)"), ElementsAre("0", "10", "3: the last line is cut"));
    EXPECT_THAT(readingOf(whole + std::string(512, '\0')), ElementsAre("0", "10", "3: the last line is cut"));
    EXPECT_THAT(readingOf(kStart + json(Lost{1})), ElementsAre("0", "10"));
}

TEST(Recording, GoesOnBehindADamagedLine) {
    EXPECT_THAT(readingOf(kStart + "{\"type\":\"lo\n" + kStart + "\n" + json(Lost{1}) + "\n"),
                ElementsAre("0", "0", "10", "2: this is no JSON object"));
}

TEST(Recording, KeepsTheFirstOfItsDamageAndCountsTheRest) {
    std::string text = kStart;
    for (int i = 0; i < 2500; ++i)
        text += "rubbish\n";
    std::istringstream input(text + json(Lost{1}) + "\n");
    RecordingReader reader(input, "drive.jsonl");
    int lines = 0;
    while (reader.next())
        ++lines;
    EXPECT_EQ(lines, 2);
    ASSERT_EQ(reader.damage().size(), 1000u);
    EXPECT_EQ(reader.damage().back().line, 1001u);
    EXPECT_EQ(reader.furtherDamage(), 1500u);
}

TEST(Recording, PassesOverTypesOfALaterProgram) {
    EXPECT_THAT(readingOf(kStart + "{\"type\":\"weather\"}\n"), ElementsAre("0"));
}

TEST(Recording, IsRefusedWhereNothingCanBeShown) {
    EXPECT_EQ(refusalOf(""),
              "drive.jsonl:1: the file is empty; a recording begins with a line of the type \"start\"");
    EXPECT_EQ(refusalOf("$GPGGA,123\n"),
              "drive.jsonl:1: this is no recording of ruxogps-monitor: this is no JSON object");
    EXPECT_EQ(refusalOf(json(Lost{1}) + "\n"),
              "drive.jsonl:1: this is no recording of ruxogps-monitor: it doesn't begin with a start");
    EXPECT_EQ(refusalOf("{\"type\":\"weather\"}\n"),
              "drive.jsonl:1: this is no recording of ruxogps-monitor: it doesn't begin with a start");
    EXPECT_EQ(refusalOf(json(Start{2, "ruxogps-monitor 9"}) + "\n"),
              "drive.jsonl:1: the recording has version 2 of the format, and this program reads version 1");
    std::string other = kStart;
    other.replace(other.find("ruxogps telemetry"), 17, "something else");
    EXPECT_EQ(
        refusalOf(other),
        "drive.jsonl:1: this is no recording of ruxogps-monitor: \"format\" is not \"ruxogps telemetry\"");
}

} // namespace
