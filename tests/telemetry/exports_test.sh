#!/bin/bash
# Whether the programs that people have for maps read what the exports write: xmllint, gpsbabel, Python's GeoJSON.
#
#   exports_test.sh [NAME ...]     runs the named checks, or all of them
#   exports_test.sh --list         prints their names
#
# REPORT names ruxogps-report, MAKE_RECORDING the program of this folder.
# shellcheck disable=SC2317  # the checks are called by name
set -u

here=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")")
readonly here
readonly build=${here%/tests/telemetry}/build/release
readonly report=${REPORT:-$build/tools/report/ruxogps-report}
readonly make_recording=${MAKE_RECORDING:-$build/tests/telemetry/make_recording}

. "$here/../support/checks.bash"

# --- Vocabulary -----------------------------------------------------------------------------------------

# Makes a recording of this kind, and x.gpx and x.geojson of it.
exports() {
    "$make_recording" "$1" >x.jsonl
    "$report" x.jsonl -o x.gpx && "$report" x.jsonl -o x.geojson
}

is_gpx() { xmllint --noout --schema "$here/formats/gpx.xsd" "$1" 2>errors || { cat errors && return 1; }; }
is_geojson() { "$here/check-geojson" "$1" >kinds || return 1; }

# Points of tracks, waypoints and points of routes, as gpsbabel finds them.
counts_of() {
    gpsbabel -i "$1" -f "$2" -o gpx -F read.gpx || return
    echo "$(grep -c '<trkpt' read.gpx) $(grep -c '<wpt' read.gpx) $(grep -c '<rtept' read.gpx)"
}

# --- The checks -----------------------------------------------------------------------------------------

# 440 points of the ways, and the first and the last one of the stop between them.
drive_is_read_by_other_programs() {
    exports drive
    expect "GPX" is_gpx x.gpx
    expect "GeoJSON" is_geojson x.geojson
    expect "its features" equal "$(<kinds)" "event=4 geofence=1 geofence_margin=1 track=3"
    expect "track, waypoints and geofences of GPX" equal "$(counts_of gpx x.gpx)" "442 3 10"
    # gpsbabel takes a line for a route, as it takes the border of an area.
    expect "waypoints, track and geofences of GeoJSON" equal "$(counts_of geojson x.geojson)" "0 3 452"
}

drive_becomes_kml() {
    exports drive
    gpsbabel -i gpx -f x.gpx -o kml -F x.kml
    expect "it is XML" xmllint --noout x.kml
    expect "with the event" grep -q "<name>entered Depot</name>" x.kml
    expect "with the geofence" grep -q "<name>Depot</name>" x.kml
    expect "with the track" grep -q "<name>track</name>" x.kml
    expect "with its times" grep -q "2026-01-02T03:20:01Z" x.kml
}

edges_of_the_earth_are_read_by_other_programs() {
    exports edges
    expect "GPX" is_gpx x.gpx
    expect "GeoJSON" is_geojson x.geojson
    expect "its features" equal "$(<kinds)" "geofence=5 geofence_beyond_date_line=2 geofence_margin=4 track=2"
    expect "gpsbabel reads the GPX" equal "$(counts_of gpx x.gpx)" "44 0 45"
    expect "and the GeoJSON" counts_of geojson x.geojson >/dev/null
}

names_of_any_kind_are_read_by_other_programs() {
    exports names
    expect "GPX" is_gpx x.gpx
    expect "GeoJSON" is_geojson x.geojson
    expect "gpsbabel reads the GPX" equal "$(counts_of gpx x.gpx)" "1 12 120"
    expect "a name stays a name" grep -qF "<name>entered &lt;Depot&gt;</name>" read.gpx
    expect "and the GeoJSON" equal "$(counts_of geojson x.geojson)" "0 13 120"
}

nothing_is_read_by_other_programs() {
    exports nothing
    expect "GPX" is_gpx x.gpx
    expect "GeoJSON" is_geojson x.geojson
    expect "gpsbabel reads the GPX" equal "$(counts_of gpx x.gpx)" "0 0 0"
}

# Of 160,000 every second one stays, and the last one.
days_are_thinned() {
    exports days
    expect "GPX" is_gpx x.gpx
    expect "its words" grep -qF "<desc>160000 fixes, 80001 points of the track, " x.gpx
    expect "its points" equal "$(grep -c '<trkpt' x.gpx)" 80001
}

cut_recording_is_shown_up_to_the_cut() {
    "$make_recording" drive | head -c -100 >x.jsonl
    "$report" x.jsonl -o x.gpx 2>errors
    expect "status" equal $? 0
    expect "it says so" grep -q "^.*x.jsonl:[0-9]*: " errors
    expect "GPX" is_gpx x.gpx
}

unwritable_file_leaves_nothing_behind() {
    "$make_recording" drive >x.jsonl
    "$report" x.jsonl -o none/x.gpx 2>errors
    expect "status" equal $? 2
    expect "one line" equal "$(wc -l <errors)" 1
    expect "nothing" equal "$(ls)" "$(printf '%s\n' errors x.jsonl)"
}

# --- Running them ---------------------------------------------------------------------------------------

readonly all_checks=(drive_is_read_by_other_programs drive_becomes_kml edges_of_the_earth_are_read_by_other_programs
    names_of_any_kind_are_read_by_other_programs nothing_is_read_by_other_programs days_are_thinned
    cut_recording_is_shown_up_to_the_cut unwritable_file_leaves_nothing_behind)

run() {
    local folder
    failed=0
    folder=$(mktemp -d) && cd "$folder" || return 1
    "$1"
    cd / && rm -rf "$folder"
    ((failed == 0)) && echo "ok: $1" || { echo "FAILED: $1" && return 1; }
}

[[ ${1-} == --list ]] && printf '%s\n' "${all_checks[@]}" && exit
(($# > 0)) || set -- "${all_checks[@]}"
status=0
for check; do run "$check" || status=1; done
exit "$status"
