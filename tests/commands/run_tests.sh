#!/bin/bash
# What run-tests.sh says and returns around CTest's own words. CMake, CTest and the packages are stand-ins.
#
#   run_tests.sh REPOSITORY
set -u

repository=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
mkdir -p "$work/bin" "$work/checkout/tools"
cp "$repository/run-tests.sh" "$repository/CMakeLists.txt" "$work/checkout/"
cp "$repository/tools/options.bash" "$work/checkout/tools/"
failures=0

stand_in() { cat >"$1" && chmod +x "$1"; }
stand_in "$work/checkout/tools/install-dependencies" <<<$'#!/bin/sh\nexit 0'
stand_in "$work/bin/cmake" <<<$'#!/bin/sh\necho "$@"' # into the build's log
stand_in "$work/bin/ctest" <<'CTEST'
#!/bin/sh
echo "1/2 Test #1: one ... Passed"
[ -z "$ARGUMENTS" ] || echo "$@" >"$ARGUMENTS"
[ -z "$REPEATED" ] || echo "$REPEATED" >>"$RUXOGPS_REPEATS_LOG"
echo "50% tests passed, 1 tests failed out of 2"
echo "Total Test time (real) =   0.01 sec"
exit 8
CTEST

run() { output=$(PATH=$work/bin:$PATH "$work/checkout/run-tests.sh" "$@" 2>&1 </dev/null); status=$?; }

expect() {
    local what=$1
    shift
    "$@" && return
    printf 'not so: %s\nstatus %s, output:\n%s\n' "$what" "$status" "$output" >&2
    failures=$((failures + 1))
}
ends_with() { [[ $output == *"$1" ]]; }

readonly summary=$'50% tests passed, 1 tests failed out of 2\nTotal Test time (real) =   0.01 sec'
readonly repeated='end-to-end runs were repeated at a slower clock because the host fell behind'

REPEATED='' run
expect "CTest's status is returned" test "$status" = 8
expect "no repeated run is counted" ends_with $'== 0 '"$repeated"$'\n\n'"$summary"

REPEATED='Drive.IsLong: 312 ms' run --preset=debug
expect "repeated runs stand in front of the summary" ends_with $'== 1 '"$repeated"$'\nDrive.IsLong: 312 ms\n\n'"$summary"
REPEATED='' run --preset debug
expect "a run counts its own alone" ends_with $'== 0 '"$repeated"$'\n\n'"$summary"

ARGUMENTS=$work/arguments REPEATED='' run --preset tsan --leave-out monitor,people
expect "the labels are left out" grep -qF -- ' --label-exclude ^(monitor|people)$ ' "$work/arguments"
expect "the build is told of them" grep -qF -- '-DRUXOGPS_TESTS_LEFT_OUT=monitor;people' "$work/checkout/build/tsan/build.log"

for preset in fastest '' 'release debug' demo; do
    run --preset "$preset"
    expect "--preset '$preset' is refused" test "$status" = 2
    expect "--preset '$preset' is named in one line" test "$output" = \
        "run-tests.sh: --preset needs one of release debug clang asan+ubsan tsan libgps22, not '$preset' (--help lists the options)"
done

# --- Several targets ------------------------------------------------------------------------------------

# expect_refused COMPLAINT OPTION ...
expect_refused() {
    run "${@:2}"
    expect "${*:2}: refused" test "$status" = 2
    expect "${*:2}: told in one line" test "$output" = "run-tests.sh: $1 (--help lists the options)"
}
expect_refused "--libgps and --arm exclude each other" --libgps --arm
expect_refused "--all and --fresh exclude each other" --all --fresh
expect_refused "--preset and --arm exclude each other" --preset debug --arm
expect_refused "--no-install and --all exclude each other" --all --no-install
expect_refused "--only needs some of armhf armhf-time64 arm64 armhf-libgps22, not 'trixie'" --arm --only armhf,trixie
expect_refused "--only needs some of bookworm trixie forky libgps22, not 'sid'" --libgps --only=sid
expect_refused "--only needs some of armhf armhf-time64 arm64 armhf-libgps22, not ''" --arm --only armhf,
expect_refused "--only needs a list of targets, like trixie,armhf" --arm --only ''
expect_refused "--only narrows --libgps, --arm or --all" --only armhf
expect_refused "--leave-out needs a list of labels, like monitor,people" --leave-out 'people|.*'
expect_refused "--leave-out and --packages exclude each other" --packages --leave-out people
expect_refused "--only narrows --libgps, --arm or --all" --packages --only armhf

mkdir -p "$work/checkout/tools/arm"
stand_in "$work/checkout/tools/arm/run-tests" <<'TARGET'
#!/bin/sh
[ "$1" != arm64 ] || { echo "no compiler"; exit 3; }
echo "  7/20 Test #12: a capture ...***Skipped   0.02 sec"
echo "100% tests passed, 0 tests failed out of 20"
TARGET
rows() { sed -nE 's/^   (\S+) +([0-9-]+) +([0-9-]+) +([0-9-]+) +[0-9]+/\1 \2 \3 \4/p' <<<"$output"; }

mkdir -p "$work/checkout/tests/pages"
stand_in "$work/checkout/tests/pages/run" <<<$'#!/bin/sh\necho "50% tests passed, 1 tests failed out of 2"; exit 1'
run --pages
expect "the pages are a target" test "$(rows)" = "pages 2 1 0  failed, see build/targets/pages.log"
mkdir -p "$work/checkout/tests/faults"
stand_in "$work/checkout/tests/faults/run" <<<$'#!/bin/sh\necho "100% tests passed, 0 tests failed out of 3"'
run --faults
expect "the fault matrix is a target" test "$(rows)" = "faults 3 3 0"
run --arm --only armhf-libgps22
expect "the stand-in's ARM is a target" test "$(rows)" = "armhf-libgps22 20 19 1"
run --arm --only armhf
expect "a green target is green" test "$status" = 0
expect "its tests are counted" test "$(rows)" = "armhf 20 19 1"
expect "CTest's line is the last" ends_with $'\n\n100% tests passed, 0 tests failed out of 20'

REPEATED='' run --all --only release,arm64,armhf
expect "a failed target fails the run" test "$status" = 1
expect "the next targets are run all the same" test "$(rows)" = \
    $'release 2 1 0  failed, see build/targets/release.log\narm64 - - -  failed, see build/targets/arm64.log\narmhf 20 19 1'
expect "what was not counted has failed" ends_with $'\n\n91% tests passed, 2 tests failed out of 23'

stand_in "$work/checkout/tools/arm/run-tests" <<'TARGET'
#!/bin/sh
[ "$1" != arm64 ] || exit 0
echo "100% tests passed, 0 tests failed out of 20"
exit 3
TARGET
run --arm --only arm64
expect "a target that counted nothing is not green" test "$status" = 1
expect "it is one failed test" ends_with $'\n\n0% tests passed, 1 tests failed out of 1'
run --arm --only armhf
expect "a target that fails after its tests is not green" test "$status" = 1
expect "that is one failed test more" ends_with $'\n\n95% tests passed, 1 tests failed out of 21'

# --- Ctrl-C ---------------------------------------------------------------------------------------------

# As a terminal does it, for all of them at once; and for the command alone.
stand_in "$work/checkout/tools/arm/run-tests" <<'TARGET'
#!/bin/bash
trap 'echo "cleaning up"; touch "$WORK/cleaned"; exit 130' INT TERM
exec 2>/dev/null
echo "$1 has begun"
touch "$WORK/begun"
while :; do sleep 0.1; done
TARGET
# interrupt SIGNAL all|command
interrupt() {
    local command whom
    rm -f "$work/begun" "$work/cleaned"
    WORK=$work setsid env --default-signal=INT "$work/checkout/run-tests.sh" --arm --only armhf,arm64 >"$work/output" 2>&1 </dev/null &
    command=$!
    until [[ -e $work/begun ]]; do kill -0 "$command" || break; sleep 0.02; done
    whom=$command
    [[ $2 == command ]] || whom=-$command
    kill -s "$1" -- "$whom"
    wait "$command"
    status=$?
    output=$(<"$work/output")
    expect "SIG$1 to $2 is the exit status" test "$status" = $((128 + $(kill -l "$1")))
    expect "SIG$1 to $2 lets the target end by itself" test -e "$work/cleaned"
    expect "SIG$1 to $2 begins no other target" test "$output" = $'== armhf\narmhf has begun\ncleaning up'
}
interrupt INT all
interrupt INT command
interrupt TERM command

# --- What needs root ------------------------------------------------------------------------------------

as_ordinary_user=()
((EUID != 0)) || as_ordinary_user=(setpriv --reuid 65534 --regid 65534 --clear-groups)
output=$("${as_ordinary_user[@]}" "$work/checkout/run-tests.sh" --fresh 2>&1)
status=$?
expect "a fresh machine is for root" test "$status" = 1
expect "that is said in one line" test "$output" = \
    "run-tests.sh: --fresh needs root, to make a machine of its own (sudo ./run-tests.sh --fresh)"
output=$("${as_ordinary_user[@]}" "$work/checkout/run-tests.sh" --libgps --only libgps22,trixie 2>&1)
status=$?
expect "a generation is for root" test "$status" = 1
expect "that is said in one line, before anything is run" test "$output" = \
    "run-tests.sh: --libgps --only libgps22,trixie needs root, to make a machine of its own (sudo ./run-tests.sh --libgps --only libgps22,trixie)"
exit "$((failures > 0))"
