#!/bin/bash
# That each line of ThreadSanitizer's suppressions is needed: without it, and with all others, RealThreads_test is red with
# a report. A race is seen when two threads meet in it, so each line has some runs to be missed in.
#
#   suppressions_are_needed.sh REALTHREADS_TEST SUPPRESSIONS
set -u

readonly runs=10
program=$1
suppressions=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

is_missed() {
    local run
    grep -vxF -e "$1" "$suppressions" >"$work/others"
    for ((run = 0; run < runs; run++)); do
        TSAN_OPTIONS="suppressions=$work/others:halt_on_error=1" "$program" --gtest_brief=1 >"$work/said" 2>&1 ||
            { grep -q 'WARNING: ThreadSanitizer: data race' "$work/said" && return; }
    done
    return 1
}

failures=0
readarray -t lines < <(grep -v '^#' "$suppressions")
((${#lines[@]} > 0)) || { echo "no suppression in $suppressions"; exit 1; }
for line in "${lines[@]}"; do
    is_missed "$line" || { echo "nothing needs '$line'"; failures=$((failures + 1)); }
done
exit $((failures > 0))
