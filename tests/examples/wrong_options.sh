#!/bin/bash
# Each command answers a wrong option with one line on standard error, nothing on standard output, and status 2; and
# the demo's commands take options as all the others do.
#
#   wrong_options.sh REPOSITORY DRIVE-PROGRAM RECEIVER-SIMULATOR [SHOW-RECORDING]
set -u

repository=$1
failures=0

refuses() {
    local output errors status
    errors=$(mktemp)
    output=$("$@" 2>"$errors" </dev/null)
    status=$?
    if [[ $status != 2 || -n $output || $(wc -l <"$errors") != 1 ]]; then
        echo "'$*': status $status, output '$output', errors:" >&2
        cat "$errors" >&2
        failures=$((failures + 1))
    fi
    rm -f "$errors"
}

# says_wrong TEXT COMMAND ...: it also says what is wrong.
says_wrong() {
    local text=$1 words
    shift
    refuses "$@"
    words=$("$@" 2>&1 </dev/null)
    if [[ $words != *"$text"* ]]; then
        echo "'$*' says '$words', not '$text'" >&2
        failures=$((failures + 1))
    fi
}

answers() {
    local text=$1 words
    shift
    if ! words=$("$@" </dev/null) || [[ $words != *"$text"* ]]; then
        echo "'$*' says '$words', not '$text'" >&2
        failures=$((failures + 1))
    fi
}

for command in "$repository/run-demo.sh" "$repository/run-tests.sh" "$repository/tools/virtual-unit" \
    "$repository/tools/install-dependencies" "$repository/tools/fresh-machine" "$repository/tools/demo-scenario" \
    "$repository/tools/arm/make-sysroot" "$repository/tools/arm/run-tests" "$repository/tools/arm/drive" \
    "$repository/tests/unit_sandbox/measure" "$repository/tests/fuzz/run-fuzzers" "$repository/.ci/run" \
    "$repository/tests/documents/run" "$repository/tools/manual-page" "$repository/tools/pictures/life-cycle" \
    "$repository/tools/pictures/screenshot" "$repository/tests/report/browser/run" "${@:2}"; do
    refuses "$command" --no-such-option
done
refuses "$repository/tools/pictures/screenshot" --build /no/such/folder
refuses "$repository/tests/report/browser/run" /no/such/folder
[[ -z ${4-} ]] || refuses "$4"
refuses "$repository/run-demo.sh" --recording
refuses "$repository/run-demo.sh" --recording /no/such/file
refuses "$repository/run-demo.sh" --speed fast
refuses "$repository/run-tests.sh" --preset fastest
refuses "$2" --geofence here
says_wrong "--speed needs a number above 0 and below 100, not '100'" "$repository/run-demo.sh" --speed 100
says_wrong "below 100, not '0'" "$repository/run-demo.sh" --speed=0
says_wrong "unexpected argument 'README.md'" "$repository/run-demo.sh" README.md
says_wrong "a file that can be read, not '/no/such/file'" "$repository/run-demo.sh" --recording=/no/such/file
arm_targets="armhf armhf-time64 arm64"
for command in make-sysroot drive; do
    says_wrong "needs one TARGET of $arm_targets (" "$repository/tools/arm/$command"
    says_wrong "TARGET must be one of $arm_targets, not 'armhf-libgps22'" "$repository/tools/arm/$command" armhf-libgps22
done
says_wrong "needs one TARGET of $arm_targets armhf-libgps22 (" "$repository/tools/arm/run-tests"
says_wrong "TARGET must be one of $arm_targets armhf-libgps22, not 'armel'" "$repository/tools/arm/run-tests" armel
says_wrong "RESULTS and DRIVE" "$repository/tools/demo-scenario" build/demo
for command in "$repository/run-demo.sh" "$repository/tools/demo-scenario" "$2"; do
    answers Usage: "$command" -h
    answers Usage: "$command" --help
    answers "${command##*/} (ruxogps) " "$command" --version
done
refuses "$3" --baud 5
exit "$((failures > 0))"
