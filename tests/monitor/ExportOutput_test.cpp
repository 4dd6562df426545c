#include "ExportOutput.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "GeoJson.h"
#include "Gpx.h"

namespace {

using namespace monitor;
using ::testing::HasSubstr;

telemetry::Line crossing(const std::string& name) {
    return {{}, telemetry::GeofenceCrossed{true, 0, name, telemetry::Position{52000000, 13000000}}};
}

std::string textOf(const std::string& path) {
    std::ifstream input(path);
    return {std::istreambuf_iterator<char>(input), {}};
}

const std::string kPath = "/tmp/export_output_test." + std::to_string(getpid());

TEST(ExportOutput, WritesItsFileAtTheEndAlone) {
    ExportOutput output(kPath, telemetry::writeGpx);
    output.take(crossing("Depot"));
    EXPECT_EQ(access(kPath.c_str(), F_OK), -1);
    EXPECT_TRUE(output.finish());
    EXPECT_THAT(textOf(kPath), HasSubstr("<name>entered Depot</name>"));
    std::remove(kPath.c_str());
}

TEST(ExportOutput, WritesEitherFormat) {
    ExportOutput output(kPath, telemetry::writeGeoJson);
    output.take(crossing("Depot"));
    EXPECT_TRUE(output.finish());
    EXPECT_THAT(textOf(kPath), HasSubstr(R"("name":"entered Depot")"));
    std::remove(kPath.c_str());
}

TEST(ExportOutput, SaysWhyItCouldNotBeWritten) {
    ExportOutput output("/dev/full", telemetry::writeGpx);
    EXPECT_EQ(output.state(), Output::State::Going);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(output.finish());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), ""); // a live view still has it
    EXPECT_EQ(output.state(), Output::State::Broken);
    EXPECT_EQ(output.problem(), "/dev/full: No space left on device");
}

} // namespace
