#!/bin/bash
# Shows the service at work on a machine that has no GPS receiver: installs and builds what it needs, then runs the
# example application on a virtual unit with a simulated receiver. Ends by itself and closes with a summary line.
set -u

readonly exit_usage=2
readonly build=build/release
readonly results=build/demo
readonly application=$build/examples/drive
readonly route=examples/drive/route.txt
readonly geofences=(--geofence "Victory Column,52.5145,13.3501,300,300"
    --geofence "Ernst-Reuter-Platz,52.5128,13.3225,300,300")

# Seconds of the unit's clock, which runs faster. The odometer needs about 180 s before it counts.
readonly first_start_s=45
readonly drive_s=320
readonly learn_s=160
readonly longest_recording_s=550

# --- Options --------------------------------------------------------------------------------------------

usage() {
    cat <<'HELP'
Usage: ./run-demo.sh [OPTIONS]

Without options: a first start without a navigation database, a stop that saves it, and a second start that restores
it, has its fix sooner, and drives a route through two geofences with the antenna lost and back on the way.

  --recording FILE  play a receiver's capture (NMEA or UBX bytes) instead: over and over, with the times of now; the
                    geofences are drawn on the track that its first minutes show
  --speed X         how much faster the unit's clock runs (5)
  -h, --help        print this text

Exit status: 0 when each kind of event was really seen, 1 when one was not, 2 for a wrong option, 4 when a capture can't
bring one (the demo says which and why).
HELP
}

wrong_option() {
    echo "run-demo.sh: $1 (--help lists the options)" >&2
    exit "$exit_usage"
}

recording=
speed=5
while (($# > 0)); do
    case $1 in
        -h | --help) usage; exit 0 ;;
        --recording | --speed) (($# > 1)) || wrong_option "$1 needs a value" ;;&
        --recording) recording=$2; shift 2 ;;
        --speed) speed=$2; shift 2 ;;
        *) wrong_option "unknown option '$1'" ;;
    esac
done
[[ $speed =~ ^[0-9]{1,2}(\.[0-9]+)?$ && $speed =~ [1-9] ]] || wrong_option "--speed needs a number above 0, not '$speed'"
if [[ -n $recording ]]; then
    [[ -f $recording && -r $recording ]] || wrong_option "cannot read the recording '$recording'"
    recording=$(readlink -f -- "$recording")
fi

# --- Steps ----------------------------------------------------------------------------------------------

say() { echo "== $*"; }

fail() {
    echo "run-demo.sh: $*" >&2
    exit 1
}

# Quiet unless something is amiss.
quietly() {
    "$@" >"$results/build.log" 2>&1 && return
    tail -n 40 "$results/build.log" >&2
    fail "'$*' failed"
}

build_all() {
    say "installing what is missing, then building (the words of compiler and CMake go to $results/build.log)"
    tools/install-dependencies run || fail "the packages could not be installed"
    quietly cmake --preset release -DRUXOGPS_TESTS=OFF
    quietly cmake --build --preset release --target drive receiver-simulator
}

# on_the_unit RECEIVER-ARGUMENTS LOG-FILE ARGUMENTS-OF-THE-APPLICATION...
on_the_unit() {
    local receiver=$1 log=$2
    shift 2
    : >"$log"
    RECEIVER_SIMULATOR=$build/simulator/receiver-simulator tools/virtual-unit --speed "$speed" --antenna 1 \
        --receiver "$receiver" --data "$results/data" --writable "$results" -- \
        tools/demo-scenario "$log" "$application" "$@"
}

first_start() {
    say "first start: a receiver that knows nothing, and no navigation database"
    on_the_unit "--hold --route $route" "$results/first-start.log" --for "$first_start_s" --no-summary \
        --expect fix --first-fix-file /data/seconds-to-first-fix || fail "the first start found no fix"
    local database=$results/data/NavigationDatabaseDump
    [[ -s $database ]] || fail "the stop saved no navigation database"
    say "the stop saved the navigation database: $(stat -c %s "$database") bytes"
}

second_start() {
    local cold_s
    cold_s=$(<"$results/data/seconds-to-first-fix")
    say "second start: the database is restored, the fix should come sooner than after $cold_s s; then the drive"
    on_the_unit "--hold --route $route" "$results/second-start.log" --for "$drive_s" \
        --first-fix-before "$cold_s" "${geofences[@]}"
}

play_recording() {
    say "playing $(basename "$recording"), again and again: the application watches its track for $learn_s s," \
        "draws two geofences on it and waits until everything was seen"
    on_the_unit "--hold --repeat --restamp --recording '$recording'" "$results/recording.log" \
        --for "$longest_recording_s" --until-seen --learn "$learn_s" --tracking 10 \
        --allow-excuses
}

# --- The whole ------------------------------------------------------------------------------------------

cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")" || exit
rm -rf "$results"
mkdir -p "$results/data"
build_all
say "the unit's clock runs $speed times as fast as yours; the library's log goes to $results"
if [[ -n $recording ]]; then
    play_recording
else
    first_start
    second_start
fi
