#!/bin/bash
# Measures what the library costs, against peers and limits, and judges the targets. Ends with one table.
# shellcheck disable=SC2154  # `tool` and `options` come from options.bash
set -u -o pipefail

caller=$PWD
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")" || exit
. tools/options.bash

# What is measured, in this order: name and command. Each prints the lines that benchmarks/report reads.
readonly measurements=(
    "counts        benchmarks/counts/run"
    "counts-armhf  benchmarks/counts/under-qemu"
    "gpxlogger     benchmarks/counts/gpxlogger"
    "times         benchmarks/times/run"
    "lag           benchmarks/live/lag"
    "service       benchmarks/live/service"
    "construction  benchmarks/live/construction"
    "recovery      benchmarks/live/recovery"
    "restore       benchmarks/live/restore"
    "endings       benchmarks/live/endings"
    "line-pace     benchmarks/live/line-pace"
    "footprint     benchmarks/live/footprint")

readonly longest_s=1500 # of one measurement: far more than any takes

names() { printf '%s\n' "${measurements[@]%% *}"; }

usage() {
    cat <<HELP
Usage: ./run-benchmarks.sh [OPTIONS]

Builds the release with its benchmarks, runs them, and prints a table of what was measured, against what, and whether the
targets hold. The whole takes about 30 minutes on two cores and wants a quiet machine; what is counted doesn't mind.

  --quick       the counts of instructions and allocations alone, in less than 3 minutes
  --only LIST   only these: $(names | paste -sd, | sed 's/,/, /g')
  --output DIR  where values.txt, benchmarks.json and the pictures go (build/benchmarks/results, or quick)
  --no-install  the packages are there: look for none, install none
  -h, --help    print this text
  --version     print the version

Exit status: 0 when each target holds or has a known reason not to; 1 when one doesn't, or something could not be
measured; 2 for a wrong option.
HELP
}

fail() {
    echo "$tool: $*" >&2
    exit 1
}

# --- Options --------------------------------------------------------------------------------------------

quick=
only=
install=1
output=
options=()
read_options "quick,only:,output:,no-install" "$@"
set -- "${options[@]}"
while [[ $1 != -- ]]; do
    case $1 in
        --quick) quick=1; shift ;;
        --only) only=$2; shift 2; [[ -n $only ]] || wrong_usage "--only needs a list of measurements, like counts,times" ;;
        --output) output=$2; shift 2; [[ -n $output ]] || wrong_usage "--output needs a folder"
            [[ $output == /* ]] || output=$caller/$output ;;
        --no-install) install=; shift ;;
    esac
done
shift
(($# == 0)) || wrong_usage "unexpected argument '$1'"
[[ -z $quick || -z $only ]] || wrong_usage "--quick and --only exclude each other"
[[ -z $quick ]] || only=counts
[[ -n $output ]] || output=build/benchmarks/$([[ -n $quick ]] && echo quick || echo results)
readarray -t chosen < <(tr , '\n' <<<"${only:-$(names | paste -sd,)}")
for name in "${chosen[@]}"; do
    names | grep -qxF -e "$name" || wrong_usage "--only needs some of $(names | paste -sd' '), not '$name'"
done

# --- The whole ------------------------------------------------------------------------------------------

build() {
    local log=build/benchmarks/build.log target=benchmarks
    [[ -z $quick ]] || target=counts
    mkdir -p build/benchmarks
    { cmake --preset benchmarks && cmake --build --preset benchmarks --target "$target"; } >"$log" 2>&1 && return
    tail -n 60 "$log" >&2
    fail "the build failed, see $log"
}

# The values of one measurement, once it has come to its end. What fails costs its own rows alone.
measure() {
    local name=$1 command=$2 began=$SECONDS
    echo "== $name"
    if timeout --foreground --kill-after 10 "$longest_s" "$command" >"$output/$name.txt"; then
        cat "$output/$name.txt" >>"$output/values.txt"
    else
        echo "$tool: '$command' failed" >&2
        failed+=("$name")
    fi
    echo "== $((SECONDS - began)) s"
}

run() {
    local measurement name command packages=bench judging=(--output "$output") failed=()
    [[ -z $only ]] || judging+=(--partial)
    [[ -z $quick ]] || packages=count judging=(--counts)
    [[ -z $install ]] || tools/install-dependencies "$packages" || fail "the packages could not be installed"
    echo "== building"
    build
    mkdir -p "$output"
    echo "commit $(git describe --always --dirty 2>/dev/null || echo unknown)" >"$output/values.txt"
    for measurement in "${measurements[@]}"; do
        read -r name command <<<"$measurement"
        ! printf '%s\n' "${chosen[@]}" | grep -qxF -e "$name" || measure "$name" "$command"
    done
    benchmarks/report "${judging[@]}" "$output/values.txt" || return
    ((${#failed[@]} == 0)) || fail "not everything could be measured: ${failed[*]}"
}

# Nothing goes on behind a Ctrl-C.
trap 'exit 130' INT
trap 'exit 143' TERM
trap 'exit 129' HUP

# In one line: bash reads on in this file only later, when somebody may have changed it.
run; exit
