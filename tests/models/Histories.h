#ifndef HISTORIES_H
#define HISTORIES_H

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <unistd.h>

#include <cstdlib>

/// Runs `property` with as many random arguments as the build wants (RUXOGPS_HISTORIES), the same in each
/// run. One that fails is shrunk and printed. By hand with others:
///
///     RC_PARAMS='seed=7 max_success=50000' build/release/tests/models/Odometer_test
template <typename Property>
void forRandomHistories(const Property& property) {
    // Each history has a unit of its own, with files: in memory they cost a fraction.
    if (access("/dev/shm", W_OK) == 0)
        setenv("TMPDIR", "/dev/shm", 0);
    setenv("RC_PARAMS", "seed=20261122 max_success=" RUXOGPS_HISTORIES, 0);
    const ::testing::TestInfo* const test = ::testing::UnitTest::GetInstance()->current_test_info();
    EXPECT_TRUE(rc::check(std::string(test->test_suite_name()) + "." + test->name(), property));
}

/// A history of at most `longest` steps.
template <typename Step>
rc::Gen<std::vector<Step>> historyOf(rc::Gen<Step> step, int longest) {
    return rc::gen::scale(longest / 100.0, rc::gen::container<std::vector<Step>>(rc::gen::resize(100, step)));
}

/// A number of the range, its ends included.
template <typename T>
rc::Gen<T> from(T least, T greatest) {
    return rc::gen::map(rc::gen::inRange(static_cast<int64_t>(least), static_cast<int64_t>(greatest) + 1),
                        [](int64_t value) { return static_cast<T>(value); });
}

#endif
