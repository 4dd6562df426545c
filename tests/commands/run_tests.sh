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
stand_in "$work/bin/cmake" <<<$'#!/bin/sh\nexit 0'
stand_in "$work/bin/ctest" <<'CTEST'
#!/bin/sh
echo "1/2 Test #1: one ... Passed"
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

for preset in fastest '' 'release debug' demo; do
    run --preset "$preset"
    expect "--preset '$preset' is refused" test "$status" = 2
    expect "--preset '$preset' is named in one line" test "$output" = \
        "run-tests.sh: --preset needs one of release debug clang asan+ubsan tsan, not '$preset' (--help lists the options)"
done

as_ordinary_user=()
((EUID != 0)) || as_ordinary_user=(setpriv --reuid 65534 --regid 65534 --clear-groups)
output=$("${as_ordinary_user[@]}" "$work/checkout/run-tests.sh" --fresh 2>&1)
status=$?
expect "a fresh machine is for root" test "$status" = 1
expect "that is said in one line" test "$output" = \
    "run-tests.sh: --fresh needs root, to make a machine of its own (sudo ./run-tests.sh --fresh)"
exit "$((failures > 0))"
