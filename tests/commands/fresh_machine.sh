#!/bin/bash
# What tools/fresh-machine says of its options, without making a machine.
#
#   fresh_machine.sh REPOSITORY
set -u

repository=$1
failures=0

run() { output=$("$repository/tools/fresh-machine" "$@" 2>&1 </dev/null); status=$?; }

expect() {
    local what=$1
    shift
    "$@" && return
    printf 'not so: %s\nstatus %s, output:\n%s\n' "$what" "$status" "$output" >&2
    failures=$((failures + 1))
}

for suite in sid '' 'bookworm trixie' Trixie; do
    run --suite "$suite" -- true
    expect "--suite '$suite' is refused" test "$status" = 2
    expect "--suite '$suite' is named in one line" test "$output" = \
        "fresh-machine: --suite needs one of bookworm trixie forky, not '$suite' (--help lists the options)"
done

run --suite=trixie --
expect "a suite without a command is refused" test "$status" = 2
expect "the command is missed in one line" test "$output" = \
    "fresh-machine: no COMMAND given after '--' (--help lists the options)"
exit "$((failures > 0))"
