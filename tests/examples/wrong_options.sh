#!/bin/bash
# Each command answers a wrong option with one line on standard error, nothing on standard output, and status 2.
#
#   wrong_options.sh REPOSITORY DRIVE-PROGRAM RECEIVER-SIMULATOR
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

for command in "$repository/run-demo.sh" "$repository/run-tests.sh" "$repository/tools/virtual-unit" \
    "$repository/tools/install-dependencies" "$repository/tools/demo-scenario" "$2" "$3"; do
    refuses "$command" --no-such-option
done
refuses "$repository/run-demo.sh" --recording
refuses "$repository/run-demo.sh" --recording /no/such/file
refuses "$repository/run-demo.sh" --speed fast
refuses "$repository/run-tests.sh" --preset fastest
refuses "$2" --geofence here
refuses "$3" --baud 5
exit "$((failures > 0))"
