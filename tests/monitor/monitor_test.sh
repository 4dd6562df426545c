#!/bin/bash
# ruxogps-monitor on a virtual unit.
#
#   monitor_test.sh [NAME ...]     runs the named checks, or all of them, each on a unit of its own
#   monitor_test.sh --list         prints their names
#
# MONITOR names the program, RECEIVER_SIMULATOR the simulator. On the unit the script runs a second time, as
# `monitor_test.sh --on-unit NAME`.
# shellcheck disable=SC2016,SC2317  # text in single quotes is for another shell; the checks are called by name
set -u

repository=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../..")
readonly repository
export MONITOR=${MONITOR:-$repository/build/release/tools/monitor/ruxogps-monitor}
export ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}verify_asan_link_order=0:quarantine_size_mb=0 # which is no leak

. "$repository/tests/support/checks.bash"

# --- Vocabulary -----------------------------------------------------------------------------------------

readonly longest_wait_s=1000 # of the unit's clock

not() { ! "$@"; }

# Starts the monitor in the background, with the signals of a program that is started by hand.
starts() {
    rm -f /tmp/out /tmp/err
    env --default-signal=INT,QUIT "$MONITOR" "$@" >/tmp/out 2>/tmp/err &
    monitor=$!
}

# Runs it to its end.
runs() {
    "$MONITOR" "$@" >/tmp/out 2>/tmp/err
    status=$?
}

# until_so COMMAND [ARG ...]: waits for what must come.
until_so() {
    local begin=$SECONDS
    until "$@"; do
        if ((SECONDS - begin >= longest_wait_s)); then
            echo "    waited in vain: $*"
            return 1
        fi
        sleep 0.2
    done
}
has() { grep -q -- "$2" "$1" 2>/dev/null; }
until_it_says() { until_so has /tmp/out "$1"; }

# ends SIGNAL: asks for the end and waits for it.
ends() {
    kill "-$1" "$monitor"
    is_over
}
is_over() {
    wait "$monitor"
    status=$?
}

gpsd_is_down() { ! pidof gpsd >/dev/null; }
receiver() { echo "$1" >/run/unit/receiver.control; }
untouched() { [[ ! -s /run/unit/receiver.log ]] && gpsd_is_down; }

# values FILE PYTHON: prints what an expression says of the objects `lines` of a file.
values() {
    python3 -c 'import json, sys
lines = [json.loads(line) for line in open(sys.argv[1])]
of = lambda kind: [line for line in lines if line["type"] == kind]
print(eval(sys.argv[2]))' "$1" "$2"
}

# --- What it tells --------------------------------------------------------------------------------------

readonly journey=(--tracking 10 --geofence 'ahead,47.2890,8.5653,1000m,300m,50m')
drives_through_a_geofence() { receiver 'go'; }

tells_events_and_readings_in_lines() {
    starts --lines "${journey[@]}"
    until_it_says 'status: available'
    drives_through_a_geofence
    until_it_says 'geofence left: "ahead" (first look at it, from outside)' && until_it_says 'geofence entered: "ahead"'
    until_it_says 'position update' && until_it_says 'tracking report: '
    echo 2 >/run/unit/antenna
    until_it_says 'antenna: disconnected'
    ends TERM
    expect "status" equal "$status" 143
    expect "coming up" has /tmp/out 'coming up: the driver takes the receiver over and configures it (13 s at most)'
    expect "up" has /tmp/out 'the service is up'
    expect "going down" has /tmp/out 'going down: gpsd ends (10 s at most)'
    expect "down" contains "$(tail -n 2 /tmp/out)" 'the service is down'
    expect "the end" contains "$(tail -n 1 /tmp/out)" 'the monitor ends with status 143'
}

writes_lines_without_a_terminal() {
    starts
    until_it_says 'the service is up'
    ends TERM
}

writes_json_that_fits_the_schema() {
    local type
    starts --json "${journey[@]}" --odometer 500
    until_it_says '"type":"readings".*"fix":{'
    drives_through_a_geofence
    until_it_says '"type":"geofence_entered"' && until_it_says '"type":"tracking"' && until_it_says position_update
    ends TERM
    expect "the schema" fits_the_schema /tmp/out
    for type in start settings readings geofence_left geofence_entered antenna availability position_update tracking \
        service end; do
        expect "a line of the type $type" has /tmp/out "^{\"type\":\"$type\","
    done
    expect "the first" equal "$(values /tmp/out 'lines[0]["type"], lines[0]["version"]')" "('start', 1)"
    expect "the last" equal "$(values /tmp/out 'lines[-1]["type"], lines[-1]["status"]')" "('end', 143)"
    expect "the odometer" equal "$(values /tmp/out 'of("readings")[0]["odometer_m"]')" 500
    expect "the steps" equal "$(values /tmp/out '[s["step"] for s in of("service") if not s["elapsed_s"]]')" \
        "['constructing', 'initializing', 'starting', 'running', 'stopping', 'finalizing', 'destroying', 'down']"
}

tells_each_fix_once() {
    starts --json
    until_so fixes_are_there 60
    ends TERM
    expect "each" equal "$(longest_gap_of_fixes /tmp/out)" 1
}
longest_gap_of_fixes() {
    values "$1" '(lambda ticks: max(b - a for a, b in zip(ticks, ticks[1:])))(
        sorted({r["fix_tick_s"] for r in of("readings") if r["fix"]}))'
}
fixes_are_there() { (($(grep -c '"fix":{' /tmp/out) >= $1)); }

prints_the_readings_once() {
    receiver 'nofix'
    runs --once
    expect "without a fix" equal "$status" 0
    expect "its text" contains "$(</tmp/out)" $'\nfix          none yet\n'
    expect "gpsd is down" gpsd_is_down
    receiver 'clear'
    runs --once --wait 120
    expect "with a fix" contains "$(</tmp/out)" 'position      47.285200    8.565300, altitude'
    runs --once --json
    expect "an object" equal "$(values /tmp/out 'len(lines), lines[0]["type"]')" "(1, 'readings')"
    expect "its schema" fits_the_schema /tmp/out
}

# --- Recording ------------------------------------------------------------------------------------------

records_what_it_tells() {
    starts --json --record /tmp/drive.jsonl
    until_it_says '"fix":{'
    ends TERM
    expect "the same" cmp /tmp/out /tmp/drive.jsonl
}

records_behind_an_earlier_recording() {
    starts --json --record /tmp/drive.jsonl
    until_it_says '"type":"readings"'
    kill -KILL "$monitor"
    wait "$monitor" 2>/dev/null
    printf '{"type":"readings","ti' >>/tmp/drive.jsonl # what a loss of power leaves
    starts --json --record /tmp/drive.jsonl
    until_it_says '"type":"readings"'
    ends TERM
    expect "two starts" equal "$(grep -c '^{"type":"start"' /tmp/drive.jsonl)" 2
    expect "the cut line alone" equal "$(grep -c '"ti$' /tmp/drive.jsonl)" 1
}

refuses_a_file_that_is_something_else() {
    echo "Dear diary," >/tmp/diary
    runs --record /tmp/diary
    expect "status" equal "$status" 2
    expect "what" contains "$(</tmp/err)" "ruxogps-monitor: /tmp/diary:1: this is no recording of ruxogps-monitor"
    expect "one line" equal "$(wc -l </tmp/err)" 1
    expect "the diary" equal "$(</tmp/diary)" "Dear diary,"
    expect "nothing touched" untouched
}

goes_on_without_a_recording_where_the_disk_is_full() {
    starts --json --record /data/drive.jsonl
    until_so has /tmp/err "the recording /data/drive.jsonl ends here: No space left on device"
    lines_before=$(wc -l </tmp/out)
    until_so more_lines_than "$((lines_before + 5))"
    ends TERM
    expect "status" equal "$status" 1
    expect "said once" equal "$(grep -c 'ends here' /tmp/err)" 1
    expect "whole lines" fits_the_schema /data/drive.jsonl
}
more_lines_than() { (($(wc -l </tmp/out) > $1)); }

# --- Ends -----------------------------------------------------------------------------------------------

ends_in_order_by_a_signal() {
    local signal number
    for signal in HUP:129 INT:130 TERM:143; do
        rm -f /data/NavigationDatabaseDump
        starts --json
        until_it_says '"step":"running"'
        number=${signal#*:}
        ends "${signal%:*}"
        expect "status" equal "$status" "$number"
        expect "its last line" contains "$(tail -n 1 /tmp/out)" "\"status\":$number}"
        expect "gpsd is down" gpsd_is_down
        expect "the database is saved" test -e /data/NavigationDatabaseDump
    done
}

ends_in_order_while_it_comes_up() {
    starts --json
    until_it_says '"step":"constructing"'
    ends TERM
    expect "status" equal "$status" 143
    expect "never up" not has /tmp/out '"step":"running"'
    expect "down" has /tmp/out '"step":"down"'
    expect "gpsd is down" gpsd_is_down
}

ends_at_once_by_a_second_signal() {
    starts --json
    until_it_says '"step":"running"'
    receiver ubx-silence # for 7 s the way down waits for it
    kill -TERM "$monitor"
    until_it_says '"step":"stopping"'
    sleep 0.7 # signals within 50 ms of the host's clock are one
    ends TERM
    expect "status" equal "$status" 143
    expect "at once" not has /tmp/out '"type":"end"'
}

# As timeout(1) sends them.
takes_two_signals_at_the_same_time_for_one() {
    starts --json
    until_it_says '"step":"running"'
    kill -TERM "$monitor" && kill -TERM "$monitor"
    is_over
    expect "status" equal "$status" 143
    expect "in order" has /tmp/out '"type":"end"'
}

ends_in_order_when_its_reader_goes() {
    { "$MONITOR" --json --record /tmp/drive.jsonl 2>/tmp/err; echo "$?" >/tmp/status; } | head -n 3 >/dev/null
    expect "status" equal "$(</tmp/status)" 1
    expect "why" has /tmp/err "the standard output can't be written: Broken pipe"
    expect "in order" has /tmp/drive.jsonl '"step":"down"'
    expect "gpsd is down" gpsd_is_down
}

ends_in_order_where_nothing_can_be_written() {
    "$MONITOR" --lines >/dev/full 2>/tmp/err
    expect "a full disk" equal "$?" 1
    expect "is named" has /tmp/err "the standard output can't be written: No space left on device"
    expect "gpsd is down" gpsd_is_down
}

ends_in_order_where_its_output_is_closed() {
    "$MONITOR" --lines >&- 2>/tmp/err
    expect "a closed output" equal "$?" 1
    expect "is named" has /tmp/err "the standard output can't be written: Bad file descriptor"
    expect "gpsd is down" gpsd_is_down
}

goes_on_while_nobody_reads() {
    mkfifo /tmp/pipe
    exec 7<>/tmp/pipe # open, and never read
    python3 -c 'import fcntl; fcntl.fcntl(7, getattr(fcntl, "F_SETPIPE_SZ", 1031), 4096)'
    "$MONITOR" --json --log-interval 1 --record /tmp/drive.jsonl >/tmp/pipe 2>&1 & # the service's log goes there, too
    monitor=$!
    until_so recorded_bytes 20000 # five times what the pipe takes
    memory=$(resident)
    until_so recorded_bytes 40000
    # ThreadSanitizer notes who touched what, and that grows with the time: here by 1 to 2 MB.
    has_thread_sanitizer || expect "memory in KiB, $memory before" test "$(resident)" -lt $((memory + 2000))
    ends TERM
    expect "status" equal "$status" 1
    expect "in order" has /tmp/drive.jsonl '"step":"down"'
    expect "gpsd is down" gpsd_is_down
}
recorded_bytes() { [[ -e /tmp/drive.jsonl ]] && (($(stat -c %s /tmp/drive.jsonl) > $1)); }
resident() { awk '/^VmRSS/ { print $2 }' "/proc/$monitor/status"; }

goes_on_when_gpsd_dies() {
    starts --json
    until_it_says '"fix":{'
    killall -9 gpsd
    until_it_says '"fix_age_s":1[0-9],'
    until_it_says '"step":"running"'
    rm -f /tmp/seen && cp /tmp/out /tmp/seen
    until_so fresh_fix_again
    ends TERM
    expect "status" equal "$status" 143
    expect "one run of the service" equal "$(grep -c '"step":"running"' /tmp/out)" 1
}
# The watchdog starts gpsd anew, and it takes the fix from there.
fresh_fix_again() { tail -n +"$(($(wc -l </tmp/seen) + 1))" /tmp/out | grep -q '"fix_age_s":0,'; }

# With whole frames: a read that cuts an acknowledgement loses it.
puts_the_services_log_into_a_file() {
    receiver 'delivery burst'
    starts --lines --log /tmp/log
    until_it_says 'the service is up'
    ends TERM
    expect "the log" has /tmp/log 'UBXConfig: All commands have been acknowledged'
    expect "nothing on standard error" equal "$(</tmp/err)" ""
}

# --- What is wrong --------------------------------------------------------------------------------------

answers_a_wrong_option_or_setting_before_anything_is_touched() {
    runs --nonsense
    expect "status" equal "$status" 2
    expect "an option" equal "$(</tmp/err)" "ruxogps-monitor: unknown option '--nonsense' (--help lists the options)"
    printf 'position_interval_s = 1\nposition_intervall_s = 2\n' >/tmp/settings.toml
    runs --settings /tmp/settings.toml
    expect "status" equal "$status" 2
    expect "a key" contains "$(</tmp/err)" "ruxogps-monitor: /tmp/settings.toml:2: 'position_intervall_s' is unknown; it must be"
    runs --geofence 'pole,90,0,10m,10m'
    expect "status" equal "$status" 2
    runs --record /tmp/new.jsonl --gpx /no/such/folder/x.gpx
    expect "status" equal "$status" 2
    expect "no file is left" not test -e /tmp/new.jsonl
    runs --log /no/such/folder/log
    expect "status" equal "$status" 2
    expect "a log" contains "$(</tmp/err)" "/no/such/folder/log can't be written: No such file or directory"
    expect "nothing touched" untouched
}

takes_its_settings_from_a_file() {
    cat >/tmp/settings.toml <<'TOML'
position_interval_s = 2
odometer_m = 4711
[tracking]
period_s = 10
[[geofence]]
name = "depot"
latitude_deg = 47.2852
longitude_deg = 8.5653
width_m = 300
height_m = 200
TOML
    starts --json --settings /tmp/settings.toml --interval 1
    until_it_says '"type":"readings"'
    ends TERM
    expect "the odometer" equal "$(values /tmp/out 'of("readings")[0]["odometer_m"]')" 4711
    expect "the interval" equal "$(values /tmp/out 'of("settings")[0]["position_interval_s"]')" 1
    expect "the geofence" equal "$(values /tmp/out 'of("settings")[0]["geofences"][0]["name"]')" depot
}

says_where_it_is_no_unit() {
    runs
    expect "status" equal "$status" 1
    expect "why" equal "$(</tmp/err)" \
        "ruxogps-monitor: this is no unit, as /dev/ttymxc1 is missing; tools/virtual-unit makes one"
}

tells_how_long_a_silent_receiver_takes() {
    receiver ubx-silence
    starts --json
    until_it_says '"step":"running"'
    ends TERM
    expect "a line each second" test "$(grep -c '"step":"constructing"' /tmp/out)" -ge 11
    expect "the longest" equal "$(values /tmp/out '{s["longest_s"] for s in of("service") if s["step"] == "constructing"}')" \
        "{13.0}"
}

says_so_when_the_library_ends_the_process() {
    mkdir /tmp/bin
    printf '#!/bin/sh\nexit 1\n' >/tmp/bin/timeout
    chmod 755 /tmp/bin/timeout
    PATH=/tmp/bin:$PATH runs --json --record /tmp/drive.jsonl
    expect "status" equal "$status" 255
    expect "why" has /tmp/err "^ruxogps-monitor: .*the serial line /dev/ttymxc1 can't be set up"
    expect "told" equal "$(values /tmp/out '[line.get("step", line.get("status")) for line in lines[-2:]]')" "['failed', 255]"
    expect "recorded" cmp /tmp/out /tmp/drive.jsonl
    PATH=/tmp/bin:$PATH runs --json --log /tmp/log
    expect "status" equal "$status" 255
    expect "why, beside a log" equal "$(grep -c '^ruxogps-monitor: .*the serial line /dev/ttymxc1' /tmp/err)" 1
    expect "in one line" equal "$(wc -l </tmp/err)" 1
}

runs_where_children_were_ignored() {
    (trap '' CHLD && exec "$MONITOR" --once >/tmp/out 2>/tmp/err)
    expect "status" equal "$?" 0
}

# --- Runner ---------------------------------------------------------------------------------------------

readonly checks=(
    tells_events_and_readings_in_lines writes_lines_without_a_terminal writes_json_that_fits_the_schema tells_each_fix_once
    prints_the_readings_once
    records_what_it_tells records_behind_an_earlier_recording refuses_a_file_that_is_something_else
    goes_on_without_a_recording_where_the_disk_is_full
    ends_in_order_by_a_signal ends_in_order_while_it_comes_up ends_at_once_by_a_second_signal
    takes_two_signals_at_the_same_time_for_one
    ends_in_order_when_its_reader_goes ends_in_order_where_nothing_can_be_written
    ends_in_order_where_its_output_is_closed goes_on_while_nobody_reads
    goes_on_when_gpsd_dies puts_the_services_log_into_a_file
    answers_a_wrong_option_or_setting_before_anything_is_touched takes_its_settings_from_a_file says_where_it_is_no_unit
    tells_how_long_a_silent_receiver_takes says_so_when_the_library_ends_the_process runs_where_children_were_ignored)

speed=$(awk -v factor="${RUXOGPS_UNIT_SPEED_FACTOR:-1}" 'BEGIN { print 10 * factor }')
readonly speed
readonly route='47.2852,8.5653,15;47.2950,8.5653,15'

has_thread_sanitizer() { grep -q 'libtsan\.so' "/proc/$monitor/maps"; }

# What the unit of a check is like. The fast clock has a file open, which takes the place of a closed output.
options_of() {
    [[ $1 == ends_in_order_where_its_output_is_closed ]] || echo --speed "$speed"
    case $1 in
        says_where_it_is_no_unit) echo --no-receiver ;;
        goes_on_without_a_recording_where_the_disk_is_full) echo --data-size 16 ;;
    esac
}

run_on_unit() {
    failed=0
    expect "there is such a check" declare -F "$1" >/dev/null
    cd / && "$1"
    return "$failed"
}

run_check() {
    # shellcheck disable=SC2046  # several words
    "$repository/tools/virtual-unit" --receiver "--ttff 5 --waypoints $route --hold" $(options_of "$1") -- \
        "$repository/tests/monitor/monitor_test.sh" --on-unit "$1"
}

case ${1-} in
    --list) printf '%s\n' "${checks[@]}" ;;
    --on-unit) run_on_unit "$2" ;;
    '') run_each run_check "${checks[@]}" ;;
    *) run_each run_check "$@" ;;
esac
exit
