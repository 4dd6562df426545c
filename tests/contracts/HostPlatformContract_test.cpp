// The host's versions of the platform's libraries, as a demo has them.

#include <stdlib.h>

#include <sstream>

#include "PlatformContract.h"

namespace {

class HostGround : public PlatformGround {
public:
    HostGround() {
        unsetenv("RUXO_LOG");
        unsetenv("RUXO_LOG_LEVEL");
        setenv("RUXO_ANTENNA_FILE", "/nowhere/antenna", 1);
    }

    std::vector<std::string> logged(const std::function<void()>& body) override {
        ::testing::internal::CaptureStderr();
        body();
        std::istringstream output(::testing::internal::GetCapturedStderr());
        std::vector<std::string> lines;
        for (std::string line; std::getline(output, line);)
            lines.push_back(withoutTime(line));
        return lines;
    }

private:
    /// "2026-01-31T12:34:56.789Z <3> rest" as "3 rest".
    static std::string withoutTime(const std::string& line) {
        const std::size_t level = line.find(" <");
        EXPECT_NE(level, std::string::npos) << line;
        return level == std::string::npos ? line : line.substr(level + 2, 1) + line.substr(level + 4);
    }
};

std::unique_ptr<PlatformGround> hostGround() { return std::make_unique<HostGround>(); }

} // namespace

INSTANTIATE_TEST_SUITE_P(HostPlatform, PlatformContract,
                         ::testing::Values(MakePlatformGround{"host", hostGround}),
                         [](const auto& made) { return std::string(made.param.name); });
