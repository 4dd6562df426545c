#include "Compare.h"

#include <gmock/gmock.h>

#include "SomePage.h"

namespace {

using namespace report;
using ::testing::HasSubstr;
using ::testing::Not;

const Drive& someDrive() {
    static const Drive kDrive = driveOf(deliveryRound().recording());
    return kDrive;
}

TEST(Comparison, IsOnThePageWithOtherSettingsOnly) {
    EXPECT_THAT(pageOf(someDrive()), Not(HasSubstr("id=\"what-if\"")));
    EXPECT_THAT(pageOf(someDrive(), "margin=6000"), HasSubstr("id=\"what-if\""));
}

TEST(Comparison, StatesBothOdometersAndBothCountsOfCrossings) {
    const WhatIf other = parseWhatIf("margin=6000,error=12");
    const std::string page = pageOf(someDrive(), "margin=6000,error=12");
    EXPECT_EQ(stated(page, "recorded-odometer"), std::to_string(replay(someDrive()).odometerM));
    EXPECT_EQ(stated(page, "what-if-odometer"), std::to_string(replay(someDrive(), &other).odometerM));
    EXPECT_EQ(stated(page, "what-if-dropped"), std::to_string(replay(someDrive(), &other).droppedSteps));
}

TEST(Comparison, HasOneRowForACrossingThatBothSettingsMake) {
    const WhatIf same = parseWhatIf("margin.Depot=1500"); // as it was
    const Replay recorded = replay(someDrive());
    const std::string table =
        comparison({someDrive(), recorded, Comparison{same, replay(someDrive(), &same)}});
    EXPECT_THAT(table, Not(HasSubstr("only here")));
    EXPECT_THAT(table, Not(HasSubstr("not here")));
    EXPECT_EQ(occurrences(table, "<th scope=\"row\"><span class=\"time\""), recorded.crossings.size());
}

TEST(Comparison, SaysHowMuchLaterAWiderMarginIsLeft) {
    const std::string page = pageOf(someDrive(), "margin.Depot=6000");
    EXPECT_THAT(
        page, HasSubstr("<td><bdi>Depot</bdi> left</td><td><bdi>Depot</bdi> left <em>0:42 later</em></td>"));
}

TEST(Comparison, SaysWhichCrossingsOnlyOneOfTheSettingsMakes) {
    const std::string smaller = pageOf(someDrive(), "size.Customer=0.01"); // it is never met
    EXPECT_THAT(smaller,
                HasSubstr("<td><bdi>Customer</bdi> entered <em>only here</em></td><td class=\"none\">"));
    const std::string larger =
        pageOf(someDrive(), "size.Customer=9,margin=0"); // it reaches over to the way there
    EXPECT_THAT(larger, HasSubstr("<td class=\"none\">not here</td><td><bdi>"));
}

TEST(Comparison, DrawsTheGeofencesOfBothSettings) {
    EXPECT_EQ(occurrences(pageOf(someDrive(), "margin.Depot=6000"), "<g class=\"area other\"><title>"), 1u);
    EXPECT_EQ(occurrences(pageOf(someDrive(), "size=1.5"), "<g class=\"area other\"><title>"), 3u);
    EXPECT_EQ(occurrences(pageOf(someDrive(), "error=3"), "<g class=\"area other\"><title>"), 0u);
}

TEST(Comparison, DrawsBothOdometers) {
    EXPECT_THAT(pageOf(someDrive(), "error=12"), HasSubstr("<path class=\"line other\""));
}

} // namespace
