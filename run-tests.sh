#!/bin/bash
# Installs what the tests need, builds everything and runs all tests: here, on a bare Debian of each release with its own
# libgps, for ARM, from packages, in a browser. Ends with CTest's summary.
# shellcheck disable=SC2154,SC2317  # `tool` and `options` come from options.bash; traps call functions by name
set -u

readonly test_presets=(release debug clang asan+ubsan tsan libgps22)
readonly libgps_targets=(bookworm trixie forky libgps22)
readonly arm_targets=(armhf armhf-time64 arm64 armhf-libgps22)
readonly logs=build/targets

cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")" || exit
. tools/options.bash

usage() {
    cat <<'HELP'
Usage: ./run-tests.sh [OPTIONS]

  --preset NAME  release (the default), debug, clang, asan+ubsan, tsan or libgps22, as in CMakePresets.json
  --no-install   the packages are there: look for none, install none
  --leave-out LIST  leave out CTest's tests with these labels, for the tests here and those of --libgps: `monitor`
                 (ruxogps-monitor on units and terminals), `people` (report, exports, and what is in `trial`), `trial`
                 (examples, broker, the demo's picture), which are built all the same; `faults` (rows of the fault
                 matrix on the virtual unit), `interposed_faults` (the others) or `models` (random histories)

These run several targets one after the other, and end with a table of their tests:

  --libgps       each generation of libgps with its Debian's own compiler, gpsd and libfaketime, each on a bare Debian made
                 for this run: bookworm, trixie, forky (which moves); and libgps22, a stand-in for the oldest, here
  --arm          each ARM target under qemu: armhf (32-bit time_t), armhf-time64 (in a trixie), arm64; and
                 armhf-libgps22, armhf with the stand-in
  --packages     the packages, built, checked, installed and used
  --pages        the documents and their drawings, and the report's page in Chromium
  --faults       the rows of the fault matrix, printed with their figures
  --all          the tests here (release), which hold the rows of the fault matrix, and all of these
  --only LIST    of these targets only the named ones: trixie,armhf

  --fresh        do as a new user would on a bare Debian 12, made for this run: clone this checkout's last commit, run
                 the demo, then the tests

What needs a bare Debian (--fresh, --packages, bookworm, trixie, forky, armhf-time64) needs root, and takes this checkout's
last commit; see tools/fresh-machine --help.

  -h, --help     print this text
  --version      print the version

Exit status: 0 when all tests passed; 2 for a wrong option.
HELP
}

fail() {
    echo "$tool: $*" >&2
    exit 1
}

is_one_of() { printf '%s\n' "${@:2}" | grep -qxF -e "$1"; }

# --- Options --------------------------------------------------------------------------------------------

choose_kind() {
    [[ -z $kind || $kind == "$1" ]] || wrong_usage "--$kind and --$1 exclude each other"
    kind=$1
}

preset=
kind=
only=
left_out=
install=1
read_options "preset:,leave-out:,no-install,fresh,arm,libgps,packages,pages,faults,all,only:" "$@"
set -- "${options[@]}"
while [[ $1 != -- ]]; do
    case $1 in
        --preset) preset=$2; shift 2
            is_one_of "$preset" "${test_presets[@]}" || wrong_usage "--preset needs one of ${test_presets[*]}, not '$preset'" ;;
        --leave-out) left_out=$2; shift 2
            [[ $left_out =~ ^[a-z_]+(,[a-z_]+)*$ ]] || wrong_usage "--leave-out needs a list of labels, like monitor,people" ;;
        --only) only=$2; shift 2; [[ -n $only ]] || wrong_usage "--only needs a list of targets, like trixie,armhf" ;;
        --no-install) install=; shift ;;
        *) choose_kind "${1#--}"; shift ;;
    esac
done
shift
(($# == 0)) || wrong_usage "unexpected argument '$1'"

case $kind in
    arm) targets=("${arm_targets[@]}") ;;
    libgps) targets=("${libgps_targets[@]}") ;;
    packages | pages | faults) targets=("$kind") ;;
    all) targets=(release "${libgps_targets[@]}" "${arm_targets[@]}" packages pages) ;;
    *) targets=() ;;
esac
((${#targets[@]} == 0)) || [[ -z $preset ]] || wrong_usage "--preset and --$kind exclude each other"
[[ -z $left_out || -z $kind || $kind == libgps ]] || wrong_usage "--leave-out and --$kind exclude each other"
[[ -z $kind || -n $install ]] || wrong_usage "--no-install and --$kind exclude each other"
if [[ -n $only ]]; then
    ((${#targets[@]} > 1)) || wrong_usage "--only narrows --libgps, --arm or --all"
    readarray -t named < <(tr , '\n' <<<"$only")
    for name in "${named[@]}"; do
        is_one_of "$name" "${targets[@]}" || wrong_usage "--only needs some of ${targets[*]}, not '$name'"
    done
    targets=("${named[@]}")
fi
preset=${preset:-release}

# --- Here -----------------------------------------------------------------------------------------------

build_all() {
    echo "== building ($preset)"
    local log=build/$preset/build.log
    mkdir -p "build/$preset"
    {
        cmake --preset "$preset" -DRUXOGPS_TESTS=ON "-DRUXOGPS_TESTS_LEFT_OUT=${left_out//,/;}" &&
            cmake --build --preset "$preset"
    } >"$log" 2>&1 && return
    tail -n 60 "$log" >&2
    fail "the build failed, see $log"
}

# What the results depend on, in one line, as it is installed.
tell_versions() {
    command -v dpkg-query >/dev/null || return 0
    dpkg-query -W -f '${Package} ${Version}, ' gpsd libgps-dev libfaketime 2>/dev/null | sed 's/^/== with /'
    "${CXX:-c++}" --version 2>/dev/null | head -n 1
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
    [[ -z $install ]] || tools/install-dependencies test || fail "the packages could not be installed"
    tell_versions
    build_all
    echo "== testing ($preset)"
    sed 's/^/== left out: /' "build/$preset/left-out.txt" 2>/dev/null
    export RUXOGPS_REPEATS_LOG=$PWD/build/$preset/repeats.log
    : >"$RUXOGPS_REPEATS_LOG"
    # An end-to-end test is four processes on a fast clock that wait for most of the time.
    local labels=()
    [[ -z $left_out ]] || labels=(--label-exclude "^(${left_out//,/|})\$")
    ctest --preset "$preset" "${labels[@]}" --parallel $((2 * $(nproc))) --no-label-summary </dev/null | with_the_repeats
    exit "${PIPESTATUS[0]}"
}

# --- On a bare Debian -----------------------------------------------------------------------------------

# The last commit alone, with its branch's name where it has one, in a file that `git clone` takes.
bundle() {
    local branch
    branch=$(git_here symbolic-ref --quiet --short HEAD)
    [[ -z $(git_here status --porcelain) ]] || echo "== what is not committed here is not part of it"
    git_here bundle create --quiet "$1" HEAD ${branch:+"$branch"} || fail "the checkout could not be packed"
}

# The checkout may belong to the user who became root for this.
git_here() { git -c safe.directory="$PWD" "$@"; }

prepare_machines() {
    ((EUID == 0)) || fail "$1 needs root, to make a machine of its own (sudo ./run-tests.sh $1)"
    tools/install-dependencies fresh || fail "the packages could not be installed"
    folder=$(mktemp -d) || exit
    trap 'rm -rf "$folder"' EXIT
    bundle "$folder/ruxogps.bundle"
}

# become_a_machine SUITE LINE ...: types the command lines in a clone, as the machine's user, until one fails.
become_a_machine() {
    # shellcheck disable=SC2016  # for the shell of the new user
    exec tools/fresh-machine --suite "$1" --give "$folder/ruxogps.bundle" -- bash -c '
        types() { echo "\$ $*"; "$@" || exit; }
        types git clone --quiet ruxogps.bundle
        types cd ruxogps
        for line; do types $line; done' bash "${@:2}"
}

run_fresh() {
    prepare_machines --fresh
    echo "== as a new user on a bare Debian 12: $(git_here log -1 --format='%h %s')"
    (become_a_machine bookworm ./run-demo.sh "./run-tests.sh --preset $preset")
    exit
}

# --- Several targets ------------------------------------------------------------------------------------

needs_a_machine() { is_one_of "$1" bookworm trixie forky armhf-time64; }

become_target() {
    case $1 in
        release | libgps22) exec ./run-tests.sh --preset "$1" ${left_out:+--leave-out "$left_out"} ;;
        bookworm | trixie | forky) become_a_machine "$1" "tools/install-dependencies suite" \
            "./run-tests.sh --no-install ${left_out:+--leave-out $left_out}" ;;
        armhf | arm64 | armhf-libgps22) exec tools/arm/run-tests "$1" ;;
        armhf-time64) become_a_machine trixie "tools/arm/run-tests $1" ;;
        packages | pages | faults) exec "tests/$1/run" ;;
    esac
}

# A shell that waits for a background process, unlike a foreground one, hears signals at once. The target has a process
# group of its own, so that all of it gets the signal, and gets it once, whoever was told to end.
interrupted() {
    trap '' INT TERM HUP
    if [[ -n $running ]]; then
        kill -s "$1" -- "-$running" 2>/dev/null
        wait "$running"
        exec {sink}>&-
        wait "$keeper"
    fi
    exit $((128 + $(kill -l "$1")))
}

# Its output is seen and kept; sets `status`. Who counted no test is not green.
run_and_keep() {
    exec {sink}> >(exec tee --ignore-interrupts "$logs/$1.log")
    keeper=$!
    set -m
    become_target "$1" >&"$sink" 2>&1 </dev/null {sink}>&- &
    running=$!
    set +m
    wait "$running"
    status=$?
    running=
    exec {sink}>&-
    wait "$keeper"
    [[ $status != 0 || -n $(counts_of "$1") ]] || status=1
}

# The counts that CTest ended with, in this target's log: "TESTS PASSED SKIPPED"; nothing where it did not come that far.
counts_of() {
    awk '/% tests passed, [0-9]+ tests? failed out of [0-9]+/ { tests = $NF; passed = tests - $4; found = 1 }
        / Test +#[0-9]+: .*\*\*\*Skipped/ { ++skipped }
        END { if (found) print tests, passed - skipped, skipped + 0 }' "$logs/$1.log"
}

# Each target has its row, the failed ones say so; then one line for all of them, like CTest's. A target that failed
# otherwise than by a test is one failed test there.
print_table() {
    local row target seconds status tests passed skipped amiss all=0 failed=0
    echo
    printf '== %-14s %7s %7s %8s %8s\n' target tests passed skipped seconds
    for row in "${rows[@]}"; do
        read -r target seconds status <<<"$row"
        read -r tests passed skipped < <(counts_of "$target") || { tests=- passed=- skipped=-; }
        printf '   %-14s %7s %7s %8s %8s%s\n' "$target" "$tests" "$passed" "$skipped" "$seconds" \
            "$( ((status == 0)) || echo "  failed, see $logs/$target.log")"
        [[ $tests != - ]] || tests=0 passed=0 skipped=0
        amiss=$((tests - passed - skipped))
        ((amiss > 0 || status == 0)) || ((++amiss, ++tests))
        ((all += tests, failed += amiss))
    done
    echo
    echo "$((all == 0 ? 0 : 100 * (all - failed) / all))% tests passed, $failed tests failed out of $all"
}

run_targets() {
    local target began signal worst=0
    for target in "${targets[@]}"; do
        ! needs_a_machine "$target" || { prepare_machines "--$kind${only:+ --only $only}"; break; }
    done
    mkdir -p "$logs"
    running=
    rows=()
    for signal in INT TERM HUP; do
        # shellcheck disable=SC2064  # the signal's name is meant to be expanded now
        trap "interrupted $signal" "$signal"
    done
    for target in "${targets[@]}"; do
        echo "== $target"
        began=$SECONDS
        run_and_keep "$target"
        rows+=("$target $((SECONDS - began)) $status")
        ((status == 0)) || worst=1
    done
    print_table
    exit "$worst"
}

# In one line: bash reads on in this file only later, when somebody may have changed it.
if ((${#targets[@]} > 0)); then run_targets; elif [[ $kind == fresh ]]; then run_fresh; else run_here; fi; exit
