#!/bin/bash
# Installs what the tests need, builds everything and runs all tests. Ends with CTest's summary.
set -u

readonly exit_usage=2

usage() {
    cat <<'HELP'
Usage: ./run-tests.sh [--preset NAME]

  --preset NAME  release (the default), debug, clang, asan+ubsan or tsan, as in CMakePresets.json
  -h, --help     print this text

Exit status: 0 when all tests passed.
HELP
}

wrong_option() {
    echo "run-tests.sh: $1 (--help lists the options)" >&2
    exit "$exit_usage"
}

fail() {
    echo "run-tests.sh: $*" >&2
    exit 1
}

preset=release
while (($# > 0)); do
    case $1 in
        -h | --help) usage; exit 0 ;;
        --preset) (($# > 1)) || wrong_option "--preset needs a value"; preset=$2; shift 2 ;;
        *) wrong_option "unknown option '$1'" ;;
    esac
done
case $preset in
    release | debug | clang | asan+ubsan | tsan) ;;
    *) wrong_option "--preset knows release, debug, clang, asan+ubsan and tsan, but not '$preset'" ;;
esac

cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")" || exit
tools/install-dependencies test || fail "the packages could not be installed"
echo "== building ($preset)"
mkdir -p "build/$preset"
log=build/$preset/build.log
if ! { cmake --preset "$preset" -DRUXOGPS_TESTS=ON && cmake --build --preset "$preset"; } >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    fail "the build failed, see $log"
fi
echo "== testing ($preset)"
exec ctest --preset "$preset" --parallel "$(nproc)" --no-label-summary </dev/null
