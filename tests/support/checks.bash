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

# soon COMMAND [ARG ...]: until the command succeeds, for 10 s or what `soon_s` says.
soon() {
    local tries
    for ((tries = 0; tries < ${soon_s:-10} * 20; tries++)); do
        "$@" && return
        sleep 0.05
    done
    echo "    waited for ${soon_s:-10} s in vain: $*"
    return 1
}

# fits_the_schema FILE: each line of a recording, or of what the monitor prints with --json.
fits_the_schema() {
    python3 -c 'import json, jsonschema, sys
schema = json.load(open(sys.argv[1]))
validator = jsonschema.Draft202012Validator(schema)
wrong = [(number, error.message) for number, line in enumerate(open(sys.argv[2]), 1)
         for error in validator.iter_errors(json.loads(line))]
print(*wrong[:3], sep="\n", end="")
sys.exit(bool(wrong))' "$repository/tools/telemetry/telemetry.schema.json" "$1"
}

# run_each COMMAND CHECK ...: runs COMMAND with each check, says of each whether it passed, and fails when one did not.
run_each() {
    local run=$1 check failures=0
    shift
    for check; do
        if "$run" "$check"; then
            echo "PASS $check"
        else
            echo "FAIL $check"
            ((failures += 1))
        fi
    done
    return $((failures > 0))
}
