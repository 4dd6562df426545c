#!/bin/bash
# Installs what the tests need, builds everything and runs all tests. Ends with CTest's summary.
# shellcheck disable=SC2154  # `tool` and `options` come from options.bash
set -u

readonly test_presets=(release debug clang asan+ubsan tsan)

cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")" || exit
. tools/options.bash

usage() {
    cat <<'HELP'
Usage: ./run-tests.sh [OPTIONS]

  --preset NAME  release (the default), debug, clang, asan+ubsan or tsan, as in CMakePresets.json
  --fresh        do as a new user would on a bare Debian 12, made for this run: clone this checkout's last commit, run
                 the demo, then the tests; needs root, see tools/fresh-machine --help
  -h, --help     print this text
  --version      print the version

Exit status: 0 when all tests passed; 2 for a wrong option.
HELP
}

fail() {
    echo "$tool: $*" >&2
    exit 1
}

preset=release
fresh=
read_options "preset:,fresh" "$@"
set -- "${options[@]}"
while [[ $1 != -- ]]; do
    case $1 in
        --preset) preset=$2; shift 2 ;;
        --fresh) fresh=1; shift ;;
    esac
done
shift
(($# == 0)) || wrong_usage "unexpected argument '$1'"
printf '%s\n' "${test_presets[@]}" | grep -qxF -e "$preset" ||
    wrong_usage "--preset needs one of ${test_presets[*]}, not '$preset'"

# --- Here -----------------------------------------------------------------------------------------------

build_all() {
    echo "== building ($preset)"
    local log=build/$preset/build.log
    mkdir -p "build/$preset"
    { cmake --preset "$preset" -DRUXOGPS_TESTS=ON && cmake --build --preset "$preset"; } >"$log" 2>&1 && return
    tail -n 60 "$log" >&2
    fail "the build failed, see $log"
}

# Each run that was repeated because the host was too busy has left a line; they stand in front of CTest's summary.
with_the_repeats() {
    local line
    while IFS= read -r line; do
        if [[ $line == *'% tests passed, '* ]]; then
            echo
            echo "== $(wc -l <"$RUXOGPS_REPEATS_LOG") end-to-end runs were repeated at a slower clock because the host fell behind"
            cat "$RUXOGPS_REPEATS_LOG"
            echo
        fi
        printf '%s\n' "$line"
    done
}

run_here() {
    tools/install-dependencies test || fail "the packages could not be installed"
    build_all
    echo "== testing ($preset)"
    export RUXOGPS_REPEATS_LOG=$PWD/build/$preset/repeats.log
    : >"$RUXOGPS_REPEATS_LOG"
    ctest --preset "$preset" --parallel "$(nproc)" --no-label-summary </dev/null | with_the_repeats
    exit "${PIPESTATUS[0]}"
}

# --- As a new user --------------------------------------------------------------------------------------

# The last commit alone, with its branch's name where it has one, in a file that `git clone` takes.
bundle() {
    local branch
    branch=$(git_here symbolic-ref --quiet --short HEAD)
    [[ -z $(git_here status --porcelain) ]] || echo "== what is not committed here is not part of it"
    git_here bundle create --quiet "$1" HEAD ${branch:+"$branch"} || fail "the checkout could not be packed"
}

# The checkout may belong to the user who became root for this.
git_here() { git -c safe.directory="$PWD" "$@"; }

run_fresh() {
    ((EUID == 0)) || fail "--fresh needs root, to make a machine of its own (sudo ./run-tests.sh --fresh)"
    tools/install-dependencies fresh || fail "the packages could not be installed"
    echo "== as a new user on a bare Debian 12: $(git_here log -1 --format='%h %s')"
    folder=$(mktemp -d) || exit
    trap 'rm -rf "$folder"' EXIT
    bundle "$folder/ruxogps.bundle"
    # shellcheck disable=SC2016  # for the shell of the new user
    tools/fresh-machine --give "$folder/ruxogps.bundle" -- bash -c '
        types() { echo "\$ $*"; "$@" || exit; }
        types git clone --quiet ruxogps.bundle
        types cd ruxogps
        types ./run-demo.sh
        types ./run-tests.sh "$@"' bash --preset "$preset"
    exit
}

# In one line: bash reads on in this file only later, when somebody may have changed it.
if [[ -n $fresh ]]; then run_fresh; else run_here; fi; exit
