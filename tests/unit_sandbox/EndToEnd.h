#ifndef ENDTOEND_H
#define ENDTOEND_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <string>
#include <vector>

#include "VirtualUnitRun.h"

/// The vocabulary of the end-to-end tests.
class EndToEndTest : public ::testing::Test {
protected:
    using Steps = std::vector<std::string>;

    static Steps concat(Steps steps, const Steps& more) {
        steps.insert(steps.end(), more.begin(), more.end());
        return steps;
    }

    /// Runs `steps` between the start of the service and its end.
    void serve(const Steps& steps) { serveWith({}, steps); }

    /// The same, with steps between construction and start.
    void serveWith(const Steps& settings, const Steps& steps) {
        unit.probe(concat(concat(concat({"construct"}, settings), {"initialize", "start"}),
                          concat(steps, {"stop", "finalize", "destroy"})));
        EXPECT_EQ(unit.status(), 0) << "an event was waited for in vain";
    }

    static std::string control(const std::string& command) {
        return "write /run/unit/receiver.control " + command;
    }

    /// The number of events that came between two steps' times. One of the first's millisecond came before
    /// it, as steps go on at once where an event was waited for.
    std::size_t eventsBetween(const std::string& name, double begin, double end) const {
        std::size_t count = 0;
        for (const ProbeLine& event : unit.lines("event", name))
            count += event.t > begin && event.t < end ? 1 : 0;
        return count;
    }

    void TearDown() override {
        if (HasFailure())
            std::cout << unit.describe() << std::flush;
    }

    VirtualUnitRun unit;
};

#endif
