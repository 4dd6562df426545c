#!/bin/bash
# Several virtual units send what ruxogps-monitor sees to one subscriber, through a real broker that ends and starts
# again in the middle: docs/mqtt.md tells what to type. What arrives is held against the units' recordings.
#
#   broker_test.sh [NAME ...]     runs the named checks, or all of them
#   broker_test.sh --list         prints their names
#
# MONITOR and REPORT name ruxogps-monitor and ruxogps-report, RECEIVER_SIMULATOR the simulator. On each unit the script
# runs a second time, as `broker_test.sh --on-unit FOLDER UNIT`.
# shellcheck disable=SC2317  # the checks are called by name
set -u

repository=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../../..")
readonly repository
readonly monitor=${MONITOR:-$repository/build/release/tools/monitor/ruxogps-monitor}
readonly report=${REPORT:-$repository/build/release/tools/report/ruxogps-report}
readonly route='52.500,13.3,25;52.506,13.3,25' # 45 s of the unit's clock each way
PATH=$PATH:/usr/sbin

. "$repository/tests/support/checks.bash"

# --- On a unit ------------------------------------------------------------------------------------------

# The monitor runs until a file says that it shall end; then it ends in order.
on_unit() {
    local folder=$1 unit=$2 pid
    "$monitor" --json --record "$folder/$unit.jsonl" --gpx "$folder/$unit.gpx" --geojson "$folder/$unit.geojson" \
        --log "$folder/$unit.log" --tracking 1 --geofence "Depot of $unit,52.503,13.3,300m,300m,20m" &
    pid=$!
    until [[ -e $folder/stop ]]; do sleep 1; done
    kill -TERM "$pid"
    wait "$pid"
}

[[ ${1-} == --on-unit ]] && { on_unit "$2" "$3"; exit; }

# --- Vocabulary -----------------------------------------------------------------------------------------

# shellcheck disable=SC2034  # read by `soon`: a busy machine needs long for some of it
readonly soon_s=60

broker_answers() { mosquitto_pub --unix "$PWD/broker" -i probe -t probe -n 2>/dev/null; }

# The settings that docs/mqtt.md gives for a broker that may end at any time.
documented_settings() {
    local settings
    settings=$(sed -nE 's/^    ((autosave|max_queued)_[a-z_]+ [a-z0-9]+)$/\1/p' "$repository/docs/mqtt.md")
    (($(wc -l <<<"$settings") == 3)) && echo "$settings"
}

starts_broker() {
    cat >broker.conf <<CONFIGURATION
listener 0 $PWD/broker
allow_anonymous true
user $(id -un)
persistence true
persistence_location $PWD/kept/
$(documented_settings)
CONFIGURATION
    mkdir -p kept
    mosquitto -c broker.conf >>broker.log 2>&1 &
    broker=$!
    soon broker_answers
}

ends_broker() {
    kill "-$1" "$broker"
    wait "$broker" 2>/dev/null
    rm -f "$PWD/broker" # of a socket the name stays
}

# Known to the broker before anything is sent: what comes later is kept for it.
subscribes() { mosquitto_sub --unix "$PWD/broker" -c -q 1 -i watcher -t 'units/+/gps' -E; }

starts_subscriber() {
    mosquitto_sub --unix "$PWD/broker" -c -q 1 -i watcher -t 'units/+/gps' -F '%t %p' >>arrived 2>subscriber.err &
    subscriber=$!
}

ends_subscriber() {
    kill -TERM "$subscriber"
    wait "$subscriber" 2>/dev/null
}

# publishes UNIT, from standard input. A broker that isn't there yet ends the publisher before it has read anything.
publishes() {
    until mosquitto_pub --unix "$PWD/broker" -l -q 1 -i "$1" -t "units/$1/gps" 2>>publisher.err; do sleep 0.2; done
}

unit_runs() {
    "$repository/tools/virtual-unit" --speed 10 --writable "$PWD" \
        --receiver "--waypoints $route --repeat --ttff 2 --burst" -- \
        "$repository/tests/monitor/broker/broker_test.sh" --on-unit "$PWD" "$1"
}

starts_units() {
    local unit
    for unit in "${units[@]}"; do
        { unit_runs "$unit" | publishes "$unit"; } 2>>units.err &
        publishers+=($!)
    done
}

ends_units() {
    : >stop
    wait "${publishers[@]}"
}

is_event='"type":"(geofence_entered|geofence_left|antenna|availability|position_update|tracking|lost)"'
events_recorded() { cat "$1.jsonl" 2>/dev/null | grep -cE "$is_event"; }
events_arrived() { sed -n "s|^units/$1/gps ||p" arrived | sort -u | grep -cE "$is_event"; }

each_has_recorded() {
    local unit
    for unit in "${units[@]}"; do (($(events_recorded "$unit") >= $1)) || return; done
}
from_each_arrived() {
    local unit
    for unit in "${units[@]}"; do (($(events_arrived "$unit") >= $1)) || return; done
}
most_recorded() { for unit in "${units[@]}"; do events_recorded "$unit"; done | sort -n | tail -n 1; }

missing_of() {
    comm -23 <(grep -E "$is_event" "$1.jsonl" | sort -u) <(sed -n "s|^units/$1/gps ||p" arrived | sort -u)
}
nothing_is_missing() {
    local unit
    for unit in "${units[@]}"; do [[ -z $(missing_of "$unit") ]] || return; done
}

each_event_arrived() {
    local unit
    soon nothing_is_missing
    for unit in "${units[@]}"; do
        expect "each event of $unit arrives" equal "$(missing_of "$unit")" ""
        expect "it had some" test "$(events_recorded "$unit")" -ge 10
        expect "of several kinds" test "$(grep -oE "$is_event" "$unit.jsonl" | sort -u | wc -l)" -ge 4
        expect "and its end" grep -q "^units/$unit/gps {\"type\":\"end\"" arrived
    done
    expect "nothing comes from elsewhere" equal "$(cut -d' ' -f1 arrived | sort -u | wc -l)" "${#units[@]}"
}

# --- The checks -----------------------------------------------------------------------------------------

# survives SIGNAL: the broker ends by it in the middle, and is away for at least ten events of each unit.
survives() {
    starts_broker && subscribes && starts_subscriber && starts_units
    soon from_each_arrived 5
    ends_broker "$1"
    soon each_has_recorded $(($(most_recorded) + 10))
    starts_broker
    soon from_each_arrived $(($(most_recorded) + 5))
    ends_units
    each_event_arrived
    ends_subscriber
    ends_broker TERM
}

each_event_arrives_across_an_orderly_restart_of_the_broker() { survives TERM; }
each_event_arrives_across_a_crash_of_the_broker() { survives KILL; }

# It knows its subscriber from an earlier day.
each_event_waits_for_a_broker_that_comes_later() {
    starts_broker && subscribes
    ends_broker TERM
    starts_units
    soon each_has_recorded 10
    starts_broker && starts_subscriber
    ends_units
    each_event_arrived
    ends_subscriber
    ends_broker TERM
}

each_event_waits_for_a_subscriber_that_is_away() {
    starts_broker && subscribes && starts_units
    soon each_has_recorded 20
    ends_units
    ends_broker TERM
    starts_broker
    starts_subscriber
    each_event_arrived
    ends_subscriber
    ends_broker TERM
}

# Sends what is in the recording and what comes to it, with publishers that may be killed.
sends_recording_of() {
    # shellcheck disable=SC2016  # expanded by the inner shell
    until tail -n +1 -F "$1.jsonl" 2>/dev/null | bash -c 'echo $$ >publisher; exec mosquitto_pub "$@"' bash \
        --unix "$PWD/broker" -l -q 1 -i "$1" -t "units/$1/gps"; do sleep 0.2; done
}

kills_publisher() { kill -KILL "$(<publisher)"; }

# The publisher dies while the broker is away, with all that it had not sent in its memory.
recording_brings_what_a_killed_publisher_had() {
    units=(amsel)
    starts_broker && subscribes && starts_subscriber
    unit_runs amsel >/dev/null 2>>units.err &
    publishers+=($!)
    soon each_has_recorded 1
    sends_recording_of amsel 2>>publisher.err &
    sender=$!
    soon from_each_arrived 5
    ends_broker TERM
    soon each_has_recorded $(($(most_recorded) + 5))
    kills_publisher
    starts_broker
    soon from_each_arrived $(($(most_recorded) + 3))
    ends_units
    each_event_arrived
    kill -TERM "$sender"
    kills_publisher
    ends_subscriber
    ends_broker TERM
}

connection_of() { readlink /proc/"$1"/fd/* | grep '^socket:'; }
has_another_connection() { [[ -n $(connection_of "$1") && $(connection_of "$1") != "$2" ]]; }

# A link that dies without a word: the broker stands still, and is gone before it has read what was sent to it.
publisher_notices_a_broker_that_fell_silent() {
    local lines publisher connection began
    starts_broker && subscribes && starts_subscriber
    exec {lines}> >(exec mosquitto_pub --unix "$PWD/broker" -k 5 -l -q 1 -i amsel -t units/amsel/gps 2>>publisher.err)
    publisher=$!
    echo '{"heard":true}' >&"$lines"
    soon grep -q heard arrived
    connection=$(connection_of "$publisher")
    kill -STOP "$broker"
    began=$SECONDS
    echo '{"unheard":true}' >&"$lines"
    expect "it connects anew" soon has_another_connection "$publisher" "$connection"
    echo "    noticed after $((SECONDS - began)) s"
    expect "it has not arrived" equal "$(grep -c unheard arrived)" 0
    ends_broker KILL
    starts_broker
    expect "what was not acknowledged arrives" soon grep -q '^units/amsel/gps {"unheard":true}$' arrived
    exec {lines}>&-
    ends_subscriber
    ends_broker TERM
}

# Without a broker: what the monitor writes at its end is what the report makes of the recording.
monitor_and_report_write_the_same_exports() {
    units=(amsel)
    unit_runs amsel >/dev/null 2>>units.err &
    publishers+=($!)
    soon each_has_recorded 12
    ends_units
    "$report" amsel.jsonl -o again.gpx && "$report" amsel.jsonl -o again.geojson
    expect "GPX" cmp again.gpx amsel.gpx
    expect "GeoJSON" cmp again.geojson amsel.geojson
    expect "all fixes" contains "$(grep '<desc>' amsel.gpx)" \
        "$(grep -oE '"fix_tick_s":[1-9][0-9]*' amsel.jsonl | uniq | wc -l) fixes, $(grep -c '<trkpt' amsel.gpx) points"
    expect "a waypoint for each crossing" equal "$(grep -c '<type>geofence_\(entered\|left\)<' amsel.gpx)" \
        "$(grep -cE '"type":"geofence_(entered|left)"' amsel.jsonl)"
    expect "a waypoint for each tracking report with a fix" equal "$(grep -c '<type>tracking<' amsel.gpx)" \
        "$(grep '"type":"tracking"' amsel.jsonl | grep -vc '"fix":null')"
}

# --- Running them ---------------------------------------------------------------------------------------

readonly all_checks=(each_event_arrives_across_an_orderly_restart_of_the_broker
    each_event_arrives_across_a_crash_of_the_broker each_event_waits_for_a_broker_that_comes_later
    each_event_waits_for_a_subscriber_that_is_away recording_brings_what_a_killed_publisher_had
    publisher_notices_a_broker_that_fell_silent monitor_and_report_write_the_same_exports)

run() {
    local folder
    failed=0
    units=(amsel drossel fink)
    publishers=()
    folder=$(mktemp -d) && cd "$folder" || return 1
    : >arrived
    "$1"
    ((failed == 0)) || tail -n 5 -- *.err *.log
    cd / && rm -rf "$folder"
    ((failed == 0)) && echo "ok: $1" || { echo "FAILED: $1" && return 1; }
}

[[ ${1-} == --list ]] && printf '%s\n' "${all_checks[@]}" && exit
(($# > 0)) || set -- "${all_checks[@]}"
trap 'kill $(jobs -p) 2>/dev/null' EXIT
status=0
for check; do run "$check" || status=1; done
exit "$status"
