#!/bin/bash
# ruxogps-report as a program: what it writes, what it refuses, and what it leaves alone.
#
#   program_test.sh [NAME ...]     runs the named checks, or all of them
#   program_test.sh --list         prints their names
#
# REPORT names what starts the program, REPORT_FILE its file where that is another. The check beside a gpsd takes place on a virtual unit.
# shellcheck disable=SC2317  # the checks are called by name
set -u

repository=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../..")
readonly repository
export REPORT=${REPORT:-$repository/build/release/tools/report/ruxogps-report}
readonly REPORT_FILE=${REPORT_FILE:-$REPORT}
export TZ=UTC

. "$repository/tests/support/checks.bash"

# --- Recordings -----------------------------------------------------------------------------------------

# line TYPE SECOND MEMBERS: one line of a recording that begins in 2026; SECOND is whole.
line() {
    printf '{"type":"%s","time_utc":"%(%Y-%m-%dT%H:%M:%S)T.000Z","uptime_s":%d,"tick_s":%d%s}\n' \
        "$1" $((1777874400 + clock_set_by + $2)) "$2" $((1000 + $2)) "${3:+,$3}"
}
clock_set_by=0 # seconds

settings() {
    line settings 0 '"enabled":true,"position_interval_s":1,"status_interval_s":2,"log_interval_s":900,"tracking":
        {"enabled":false,"period_s":0,"base_s":0,"offset_s":0},"geofences_enabled":true,"geofences":[{"slot":0,"name":
        "Depot","latitude_deg":52.5,"longitude_deg":13.4,"width_deg":0.004,"height_deg":0.004,"margin_deg":0.001}]' |
        tr -d '\n' | sed 's/   *//g'
    echo
}

# starts: what stands before the first reading.
starts() {
    line start 0 '"format":"ruxogps telemetry","version":1,"program":"ruxogps-monitor 0.1.0"'
    settings
    line service 0 '"step":"running","elapsed_s":0,"longest_s":null,"result":0'
}

# fix SECOND LATITUDE LONGITUDE
fix() {
    line readings "$1" '"available":true,"antenna":"in order","antenna_state":1,"satellites":9,"snr_dbhz":38,"fix_tick_s":'$((1000 + $1))',"fix_age_s":0,"fix":{"time_utc":"2026-05-04T06:00:00Z","latitude_deg":'"$2"',"longitude_deg":'"$3"',"altitude_m":34.5,"speed_m_per_s":11.1,"course_deg":45,"hdop":0.9,"tdop":1,"pdop":1.7,"gdop":null},"odometer_m":0,"geofence_states":["inside","unknown","unknown","unknown","unknown","unknown","unknown","unknown","unknown","unknown","unknown","unknown"],"time_deviation_s":0,"horizontal_error_m":4,"time_error_ms":0'
}

# drives FROM TO: a fix each second, on a straight way.
drives() {
    local second
    for ((second = $1; second <= $2; second++)); do
        fix "$second" "52.5$((1000 + second))" "13.4$((1000 + second))"
    done
}

ends() { line end "$1" '"status":0'; }

drive() { starts && drives 1 20 && ends 21; }

# --- Vocabulary -----------------------------------------------------------------------------------------

# Runs the program and keeps what came of it.
reports() {
    "$REPORT" "$@" >"$folder/output" 2>"$folder/errors"
    status=$?
}
errors() { cat "$folder/errors"; }

# written FILE: the program has written it and had nothing to say.
written() { equal "$status" 0 && equal "$(errors)" "" && equal "$(<"$folder/output")" "" && test -s "$1"; }

# refused TEXT: with one line that begins so, and status 2.
refused() {
    equal "$status" 2 && equal "$(wc -l <"$folder/errors")" 1 && equal "$(<"$folder/output")" "" &&
        [[ $(errors) == "ruxogps-report: $1"* ]] || { echo "    not '$1': $(errors)" && return 1; }
}

# nothing_but FILE ...: the folder `place` holds nothing else.
nothing_but() { equal "$(ls "$place")" "$(printf '%s\n' "$@")"; }

# --- What it writes -------------------------------------------------------------------------------------

readonly formats="html svg gpx geojson"

writes_each_format() {
    local format
    drive >"$place/r.jsonl"
    for format in $formats; do
        reports "$place/r.jsonl" -o "$place/d.$format"
        expect "$format is written" written "$place/d.$format"
    done
    expect "a page" contains "$(head -c 100 "$place/d.html")" "<!DOCTYPE html>"
    expect "a picture" contains "$(<"$place/d.svg")" "<svg"
    expect "a track" contains "$(<"$place/d.gpx")" "<trkpt"
    expect "its geofences" contains "$(<"$place/d.gpx")" "<type>geofence</type>"
    expect "features" contains "$(<"$place/d.geojson")" '"FeatureCollection"'
}

shows_other_settings_beside_the_recorded() {
    drive >"$place/r.jsonl"
    reports "$place/r.jsonl" -o "$place/d.html" --what-if margin=2500,margin.Depot=10
    expect "the page" written "$place/d.html"
    expect "what was asked for" contains "$(<"$place/d.html")" "margin=2500, margin.Depot=10"
    reports "$place/r.jsonl" -o "$place/e.html" --what-if margin.Yard=10
    expect "a geofence that isn't there" refused \
        "--what-if: the drive has no geofence 'Yard'; it has 'Depot'"
    expect "nothing is left" nothing_but d.html r.jsonl
}

replaces_a_file_as_a_whole() {
    drive >"$place/r.jsonl"
    echo old >"$place/d.html"
    reports "$place/r.jsonl" -o "$place/d.html"
    expect "the page" written "$place/d.html"
    expect "nothing of the old" equal "$(grep -cx old "$place/d.html")" 0
    expect "nothing is left" nothing_but d.html r.jsonl
}

writes_a_picture_of_the_oddest_drives() {
    local drive format
    { starts && fix 1 90 0 && fix 2 90 180 && fix 3 -90 -180 && fix 4 -89.999999 12; } >"$place/poles"
    { starts && fix 1 0.001 179.999999 && fix 2 0.002 -179.999999 && fix 3 0.003 180; } >"$place/date_line"
    { starts && drives 1 5 && clock_set_by=-7200 && drives 6 9; } >"$place/clock_back"
    { starts && drives 1 5 && starts && drives 1 5 && ends 6; } >"$place/restart"
    starts >"$place/no_fix"
    line start 0 '"format":"ruxogps telemetry","version":1,"program":"x"' >"$place/start_alone"
    for drive in poles date_line clock_back restart no_fix start_alone; do
        for format in $formats; do
            reports "$place/$drive" -o "$place/d.$format"
            expect "$drive as $format" written "$place/d.$format"
            expect "only numbers in the $format of $drive" equal \
                "$(grep -cE '[" ,(:-](nan|inf)[" ,)]' "$place/d.$format")" 0
        done
    done
}

# --- Damage ---------------------------------------------------------------------------------------------

shows_all_but_the_damage_and_names_its_place() {
    local format
    { drive | sed '8s/.*/rubbish/' && printf '{"type":"readings","time_utc":"20'; } >"$place/r.jsonl"
    for format in $formats; do
        reports "$place/r.jsonl" -o "$place/d.$format"
        expect "status of $format" equal "$status" 0
        expect "both places of $format" equal "$(errors)" \
            "ruxogps-report: $place/r.jsonl:8: this is no JSON object
ruxogps-report: $place/r.jsonl:25: the last line is cut"
    done
    expect "it stands on the page as well" contains "$(<"$place/d.html")" "the last line is cut"
}

tells_no_more_than_the_first_damaged_lines() {
    { starts && yes rubbish | head -n 5000 && drives 1 5; } >"$place/r.jsonl"
    reports "$place/r.jsonl" -o "$place/d.html"
    expect "status" equal "$status" 0
    expect "lines" equal "$(wc -l <"$folder/errors")" 21
    expect "the last line" equal "$(errors | tail -n 1)" \
        "ruxogps-report: $place/r.jsonl: 4980 further lines can't be read"
}

shows_what_a_loss_of_power_left() {
    local bytes
    drive >"$place/whole"
    for bytes in 400 1000 1800 2600; do
        head -c "$bytes" "$place/whole" >"$place/r.jsonl"
        reports "$place/r.jsonl" -o "$place/d.html"
        expect "status with $bytes bytes" equal "$status" 0
        expect "the cut after $bytes bytes" contains "$(errors)" ": the last line is cut"
    done
    { cat "$place/whole" && head -c 4096 /dev/zero; } >"$place/r.jsonl"
    reports "$place/r.jsonl" -o "$place/d.html"
    expect "status with zeros" equal "$status" 0
}

refuses_what_is_no_recording() {
    : >"$place/empty"
    echo 'latitude,longitude' >"$place/table"
    drive | sed '1s/"version":1/"version":2/' >"$place/later"
    drive | sed 1d >"$place/headless"
    drive | head -c 40 >"$place/cut"
    head -c 5000 /dev/zero >"$place/zeros"
    for name in empty table later headless cut zeros; do
        reports "$place/$name" -o "$place/d.html"
        expect "$name" refused "$place/$name:1: "
    done
    reports "$place/nowhere" -o "$place/d.html"
    expect "one that isn't there" refused "$place/nowhere: No such file or directory"
    reports "$place" -o "$place/d.gpx"
    expect "a folder" refused "$place: Is a directory"
    expect "nothing is written" nothing_but cut empty headless later table zeros
}

# --- What can't be written ------------------------------------------------------------------------------

leaves_nothing_half_written() {
    local format
    drive >"$place/r.jsonl"
    mkdir "$place/folder.html"
    for format in $formats; do
        reports "$place/r.jsonl" -o "$place/nowhere/d.$format"
        expect "a folder that isn't there" refused "$place/nowhere/d.$format: No such file or directory"
    done
    reports "$place/r.jsonl" -o "$place/folder.html"
    expect "a folder" refused "$place/folder.html: Is a directory"
    ln -s /dev/full "$place/full.html"
    reports "$place/r.jsonl" -o "$place/full.html"
    expect "a full device" refused "$place/full.html: No space left on device"
    expect "nothing is left" nothing_but folder.html full.html r.jsonl
}

keeps_the_old_file_where_the_disk_is_full() {
    drive >"$folder/r.jsonl"
    # shellcheck disable=SC2016  # for the shell with the small disk
    bwrap --dev-bind / / --size 8192 --tmpfs "$place" bash -c '
        echo old >"$1/d.html"
        "$REPORT" "$2/r.jsonl" -o "$1/d.html" 2>"$2/errors"
        echo "$? $(ls "$1") $(<"$1/d.html")" >"$2/output"' bash "$place" "$folder"
    expect "status, files and content" equal "$(<"$folder/output")" "2 d.html old"
    expect "it says why" equal "$(errors)" "ruxogps-report: $place/d.html: No space left on device"
}

answers_a_wrong_option_with_one_line_and_status_2() {
    local option
    drive >"$place/r.jsonl"
    for option in --nonsense --what-if= --what-if=margins=1 --what-if=interval=0 -od.pdf second.jsonl; do
        reports "$place/r.jsonl" -o "$place/d.html" "$option"
        expect "$option" refused ""
    done
    expect "nothing is written" nothing_but r.jsonl
    reports --version
    expect "version" equal "$(<"$folder/output")" \
        "ruxogps-report (ruxogps) $(sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' "$repository/CMakeLists.txt")"
    reports -h
    expect "help" contains "$(<"$folder/output")" "Usage: ruxogps-report RECORDING -o FILE"
}

# --- What it leaves alone -------------------------------------------------------------------------------

# Where the driver is made, each gpsd is killed and the receiver reset.
has_neither_adapter_nor_driver_nor_libgps() {
    local symbols=$folder/symbols
    readelf -WsC "$REPORT_FILE" >"$symbols"
    expect "it has symbols" grep -qw main "$symbols"
    expect "libraries that it needs" equal \
        "$(readelf -d "$REPORT_FILE" | grep NEEDED | grep -oE 'lib(ruxo|gps|logging|utilities)[a-z.0-9]*')" ""
    expect "what is compiled into it" equal \
        "$(grep -oE 'GPSAdapter|GPSHAL|UbxConfigHandler|GPSTimedWorker|RuxoHAL|gps_[a-z]+' "$symbols")" ""
    expect "what starts or ends a program" equal \
        "$(grep -oE ' UND (system|popen|kill|fork|vfork|exec[lv][a-z]*|posix_spawn[a-z]*)(@|$)' "$symbols")" ""
}

leaves_a_gpsd_beside_it_alone() {
    drive >"$folder/r.jsonl"
    timeout 60 "$repository/tools/virtual-unit" --writable "$folder" -- "$script" --beside-gpsd "$folder" ||
        failed=1
}

# On the unit.
beside_gpsd() {
    local before format
    folder=$1 place=$1
    gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1
    expect "a gpsd runs" soon pidof gpsd >/dev/null
    before=$(pidof gpsd)
    for format in $formats; do
        reports "$folder/r.jsonl" -o "$folder/d.$format"
        expect "$format is written" written "$folder/d.$format"
    done
    expect "the same gpsd runs" equal "$(pidof gpsd)" "$before"
}

# --- A day ----------------------------------------------------------------------------------------------

# day: 24 hours with a fix and a change of the odometer each second.
day() {
    local pattern
    pattern=$(fix 111111 52.5222222 13.4222222 |
        sed 's/"time_utc":"[^"]*"/"time_utc":"2026-05-04T%02d:%02d:%02d.250Z"/; s/"uptime_s":[0-9]*/"uptime_s":%d/
             s/112111/%d/g; s/52.5222222/%.6f/; s/13.4222222/%.6f/; s/"odometer_m":0/"odometer_m":%d/')
    starts
    awk -v pattern="$pattern\n" 'BEGIN {
        for (s = 1; s < 86400; s++)
            printf pattern, s / 3600, s / 60 % 60, s % 60, s, s + 1000, s + 1000, 52.5 + sin(s / 700) / 20, 13.4 + cos(s / 900) / 20, s * 8
    }'
}

makes_a_page_of_a_day_in_less_than_10_s_of_processor_time() {
    local TIMEFORMAT=%U seconds
    day >"$place/r.jsonl"
    expect "24 hours" equal "$(wc -l <"$place/r.jsonl")" 86402
    seconds=$({ time reports "$place/r.jsonl" -o "$place/d.html" --what-if margin=2500 >/dev/null; } 2>&1)
    reports "$place/r.jsonl" -o "$place/d.svg"
    expect "the picture" written "$place/d.svg"
    echo "a page of 24 hours: $seconds s, $(stat -c %s "$place/d.html") bytes"
    expect "less than 10 s" test "${seconds%.*}" -lt 10
    expect "less than 5 MB" test "$(stat -c %s "$place/d.html")" -lt 5000000
}

# --- Running the checks ---------------------------------------------------------------------------------

readonly checks="writes_each_format
shows_other_settings_beside_the_recorded
replaces_a_file_as_a_whole
writes_a_picture_of_the_oddest_drives
shows_all_but_the_damage_and_names_its_place
tells_no_more_than_the_first_damaged_lines
shows_what_a_loss_of_power_left
refuses_what_is_no_recording
leaves_nothing_half_written
keeps_the_old_file_where_the_disk_is_full
answers_a_wrong_option_with_one_line_and_status_2
has_neither_adapter_nor_driver_nor_libgps
leaves_a_gpsd_beside_it_alone
makes_a_page_of_a_day_in_less_than_10_s_of_processor_time"

script=$(readlink -f "${BASH_SOURCE[0]}")
readonly script
failed=0
case ${1-} in
--list) echo "$checks"; exit ;;
--beside-gpsd) beside_gpsd "$2"; exit "$failed" ;;
esac

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
(($# > 0)) || mapfile -t names <<<"$checks"
for check in "${names[@]:-$@}"; do
    place=$folder/place # for the check's files, beside what the program said
    rm -rf "$place" && mkdir "$place"
    echo "$check"
    "$check"
done
exit "$failed"
