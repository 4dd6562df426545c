# Sourced by the shell tests: what a check expects. A check that is not as expected says so and leaves `failed` set.
# shellcheck shell=bash

expect() {
    local what=$1
    shift
    # shellcheck disable=SC2034  # read by the test
    "$@" || { echo "    not so: $what" && failed=1; }
}

equal() { [[ $1 == "$2" ]] || { echo "    got '$1', not '$2'" && return 1; }; }
contains() { [[ $1 == *"$2"* ]] || { echo "    '$1' lacks '$2'" && return 1; }; }

# soon COMMAND [ARG ...]: until the command succeeds.
soon() {
    local tries
    for ((tries = 0; tries < 200; tries++)); do
        "$@" && return
        sleep 0.05
    done
    echo "    waited for 10 s in vain: $*"
    return 1
}
