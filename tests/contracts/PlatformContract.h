#ifndef PLATFORMCONTRACT_H
#define PLATFORMCONTRACT_H

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

/// What lies behind the platform's libraries of a program.
class PlatformGround {
public:
    virtual ~PlatformGround() = default;

    /// The log lines that `body` writes, as "level source:line text".
    virtual std::vector<std::string> logged(const std::function<void()>& body) = 0;
};

/// One of those that the suite runs against.
struct MakePlatformGround {
    const char* name;
    std::unique_ptr<PlatformGround> (*make)();
};
inline void PrintTo(const MakePlatformGround& maker, std::ostream* out) { *out << maker.name; }

class PlatformContract : public ::testing::TestWithParam<MakePlatformGround> {
protected:
    std::unique_ptr<PlatformGround> ground = GetParam().make();
};

#endif
