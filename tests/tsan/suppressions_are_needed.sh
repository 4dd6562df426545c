#!/bin/bash
# That each line of ThreadSanitizer's suppressions is needed: without it, and with all others, the test that is named
# above it ("Shown by") is red with a report of a data race. Each test in a process of its own, as a place that was
# suppressed once is not reported again in the same process.
#
# A race is seen where two threads meet in it, and ThreadSanitizer reports it while it still knows what the first of them
# did. It has the longest history that it can keep; but of a word it knows four accesses, and which one the next replaces
# goes by what the thread did before. So that a race that one run misses isn't missed by all, each has its threads do a
# little more ahead. Most runs show each race, on one processor and beside other programs too.
#
#   suppressions_are_needed.sh REALTHREADS_TEST SUPPRESSIONS
set -u

readonly runs=100
readonly program=$1
readonly suppressions=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$1"
    failures=$((failures + 1))
}

# shows_a_race TEST ACCESSES
shows_a_race() {
    RUXOGPS_TSAN_EVENTS_AHEAD=$2 TSAN_OPTIONS="suppressions=$work/others:halt_on_error=1:history_size=7" "$program" --gtest_filter="$1" >"$work/said" 2>&1
    grep -q 'WARNING: ThreadSanitizer: data race' "$work/said"
}

# check_line LINE COMMENT: COMMENT stands above it.
check_line() {
    local line=$1 test run
    test=$(sed -n 's/^# Shown by //p' <<<"$2")
    "$program" --gtest_list_tests --gtest_filter="${test:-none}" | grep -q '^  ' ||
        { fail "'$line': no test is named above it, or it is gone: '$test'"; return; }
    grep -vxF -e "$line" "$suppressions" >"$work/others"
    for ((run = 0; run < runs; run++)); do
        ! shows_a_race "$test" "$run" || return
    done
    fail "'$line': $test does without it"
}

failures=0
lines=0
above=
while IFS= read -r line; do
    if [[ -n $line && $line != '#'* ]]; then
        lines=$((lines + 1))
        check_line "$line" "$above"
    fi
    above=$line
done <"$suppressions"
((lines > 0)) || fail "no suppression in $suppressions"
exit $((failures > 0))
