// The platform's libraries of the test build, on a virtual unit.

#include "PlatformContract.h"
#include "VirtualUnit.h"

namespace {

class VirtualGround : public PlatformGround {
public:
    std::vector<std::string> logged(const std::function<void()>& body) override {
        unit_.forget();
        body();
        std::vector<std::string> lines;
        for (const LogLine& line : unit_.log.all())
            lines.push_back(std::to_string(line.level) + " " + line.source + ":" + std::to_string(line.line) +
                            " " + line.text);
        return lines;
    }

private:
    VirtualUnit unit_;
};

std::unique_ptr<PlatformGround> virtualGround() { return std::make_unique<VirtualGround>(); }

} // namespace

INSTANTIATE_TEST_SUITE_P(TestPlatform, PlatformContract,
                         ::testing::Values(MakePlatformGround{"fake", virtualGround}),
                         [](const auto& made) { return std::string(made.param.name); });
