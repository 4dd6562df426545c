#!/bin/bash
# Each example does on a virtual unit what it says it does.
#
#   examples_test.sh EXAMPLES-FOLDER SLOW-CLOCK [NAME ...]   runs the named checks, or all, each on a unit of its own
#   examples_test.sh --list                                  prints their names
#
# SLOW-CLOCK is the library made of slow_clock.cpp, RECEIVER_SIMULATOR in the environment the simulator. On the unit the
# script runs a second time, as `examples_test.sh --on-unit EXAMPLES-FOLDER SLOW-CLOCK NAME`.
# shellcheck disable=SC2154,SC2317  # the checks are called by name
set -u

repository=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../..")
readonly repository
readonly patience_s=120  # of the unit's time, for what must come
readonly place='47.285200, 8.565300' # where the simulated receiver stands

. "$repository/tests/support/checks.bash"

# --- Vocabulary -----------------------------------------------------------------------------------------

# What an example says, with its clock at the unit's speed. The library's log and the shell's words are kept beside it.
starts() {
    : >/tmp/said
    "$examples/$1" "${@:2}" >/tmp/said 2>/tmp/log &
    example=$!
}

# says TEXT [COUNT]: lines that hold TEXT come within the unit's time; the loop's own sleeps are the host's.
says() {
    local until_uptime
    until_uptime=$(($(uptime_s) + patience_s))
    while (($(uptime_s) < until_uptime)); do
        (($(grep -cF -e "$1" /tmp/said) < ${2-1})) || return 0
        kill -0 "$example" 2>/dev/null || break
        sleep 0.05
    done
    (($(grep -cF -e "$1" /tmp/said) >= ${2-1})) && return
    echo "    did not say '$1' ${2-1} times, but:"
    cat /tmp/said
    tail -n 20 /tmp/log
    return 1
}

# Of the receiver, whose clock is the unit's.
uptime_s() { sed -n 's/^uptime_s=\([0-9]*\).*/\1/p' /run/unit/receiver.state; }

ends_by() {
    kill -s "$1" "$example"
    wait "$example"
    status=$?
} 2>/dev/null # bash tells of a killed child

ends_by_itself() {
    wait "$example"
    status=$?
}

tells_the_receiver() { echo "$1" >/run/unit/receiver.control; }
with_a_slow_clock() { LD_PRELOAD=$slow_clock${LD_PRELOAD:+:$LD_PRELOAD} "$@"; }
not() { ! "$@"; }

# --- Examples -------------------------------------------------------------------------------------------

minimal_prints_where_it_is() {
    starts minimal
    ends_by_itself
    expect "status" equal "$status" 0
    expect "the position" equal "$(</tmp/said)" "$place"
}

callbacks_tell_of_each_event() {
    starts callbacks
    expect "fixes come" says "available  "
    expect "eleven of them are told as one update" says "position "
    expect "tracking comes" says "tracking $place"
    echo 2 >/run/unit/antenna
    expect "the antenna goes" says "antenna not in order"
    expect "and the fixes with it" says "fix none"
    echo 1 >/run/unit/antenna
    expect "the antenna comes back" says "antenna in order" 2
    ends_by TERM
    expect "status" equal "$status" 0
    expect "nothing was lost" equal "$(tail -n 1 /tmp/said)" "the end, 0 notes lost"
}

callbacks_end_with_ctrl_c() {
    starts callbacks
    expect "fixes come" says "available  "
    ends_by INT
    expect "status" equal "$status" 0
    expect "the driver was given back" grep -q "Polling navigation database" /tmp/log
    expect "gpsd has ended" not pidof gpsd
}

geofences_follow_the_vehicle() {
    starts geofences
    expect "the first place" says "watching $place"
    tells_the_receiver "goto 47.2952,8.5653,450"
    expect "it is left" says "left for 47.295200, 8.565300"
    expect "the next place" says "watching 47.295200, 8.565300"
    tells_the_receiver "goto 47.2956,8.5653,450" # 44 m are within the square
    sleep 5
    tells_the_receiver "goto 47.2940,8.5653,450" # 133 m are within its margin
    sleep 5
    expect "a way within the square and its margin is none" equal "$(wc -l </tmp/said)" 3
    tells_the_receiver "goto 47.2930,8.5653,450"
    expect "one beyond is" says "left for 47.293000, 8.565300"
    ends_by TERM
    expect "status" equal "$status" 0
}

kept_position_is_handed_over_at_the_next_start() {
    starts kept_position /data/position
    expect "at first there is none" says "no position is kept"
    expect "the first fix is kept at once" says "kept $place, 450.0 m"
    expect "the receiver got nothing" not grep -q 'MGA-INI' /run/unit/receiver.log
    ends_by TERM
    expect "status" equal "$status" 0
    expect "one line" equal "$(</data/position)" "47285200 8565300 450000 end"
    starts kept_position /data/position
    expect "it is handed over" says "handing over $place, 450.0 m"
    expect "fixes come all the same" says "kept $place, 450.0 m"
    expect "the receiver took it" grep -q "Initial position assistance completed, 1 MGA messages used" /tmp/log
    expect "and had it from the library" grep -q 'MGA-INI' /run/unit/receiver.log
    ends_by TERM
    expect "nothing else is left" equal "$(ls /data)" "NavigationDatabaseDump"$'\n'"position"
}

# What a power loss, an older program or nobody's hand may leave there.
kept_position_that_is_damaged_counts_as_none() {
    local text
    for text in '' '47285200 85653' '47285200 8565300 450000' 'nonsense' '99999999999 8565300 450000 end'; do
        printf '%s' "$text" >/data/position
        starts kept_position /data/position
        expect "'$text' is none" says "no position is kept"
        ends_by KILL
    done
    for text in '0 8565300 450000 end' '47285200 0 450000 end' '47285200 8565300 -400000 end'; do
        echo "$text" >/data/position
        starts kept_position /data/position
        expect "'$text' is not handed over" says "the kept position can't be handed over"
        ends_by KILL
    done
}

kept_position_stays_whole_when_it_can_not_be_written() {
    starts kept_position /data/none/position
    expect "it says what is wrong" soon grep -qs '^/data/none/position.next: No such file' /tmp/log
    ends_by TERM
    expect "it ends as always" equal "$status" 0
    echo '47285200 8565300 450000 end' >/data/position
    mkdir /data/position.next # nothing can be written there
    starts kept_position /data/position
    expect "it says so once more" soon grep -qs '^/data/position.next: Is a directory' /tmp/log
    ends_by KILL
    expect "the old one stays" equal "$(</data/position)" "47285200 8565300 450000 end"
}

set_clock_moves_a_clock_that_is_slow() {
    with_a_slow_clock starts set_clock
    ends_by_itself
    expect "status" equal "$status" 0
    expect "about an hour" contains "$(</tmp/said)" "the clock was moved by 3"
    moved=$(sed -n 's/^the clock was moved by \([0-9]*\) s$/\1/p' /tmp/said)
    expect "an hour less what lies between fix and look" contains " 3598 3599 3600 " " $moved "
    expect "that was all" equal "$(wc -l </tmp/said)" 1
}

set_clock_leaves_a_right_clock_alone() {
    starts set_clock
    ends_by_itself
    expect "status" equal "$status" 0
    expect "it says so" equal "$(</tmp/said)" "the clock is right"
}

set_clock_says_that_it_may_not() {
    SLOW_CLOCK_REFUSES=1 with_a_slow_clock starts set_clock
    ends_by_itself
    expect "status" equal "$status" 1
    expect "nothing was moved" equal "$(</tmp/said)" ""
    expect "it says why" grep -q "^set_clock: the clock can't be set: Operation not permitted" /tmp/log
}

set_clock_gives_up_without_a_fix() {
    tells_the_receiver nofix
    starts set_clock
    ends_by_itself
    expect "status" equal "$status" 1
    expect "it says so" equal "$(</tmp/said)" "no deviation was measured"
}

status_prints_ten_lines() {
    starts status
    ends_by_itself
    expect "status" equal "$status" 0
    expect "ten lines" equal "$(grep -cE ' satellites, [0-9]+ dB-Hz, [0-9]+ m$' /tmp/said)" 10
    expect "with the place" grep -qE "^$place, fix of [012] s ago, " /tmp/said
}

refuse_a_machine_that_is_no_unit() {
    local name
    for name in minimal callbacks geofences "kept_position /data/position" set_clock status; do
        # shellcheck disable=SC2086  # an example and its argument
        expect "${name%% *}" equal "$("$examples"/$name 2>&1; echo $?)" \
            "${name%% *}: this is no unit, as /dev/ttymxc1 is missing; tools/virtual-unit makes one"$'\n1'
    done
    expect "one without its argument" equal "$("$examples/kept_position" 2>&1; echo $?)" \
        "kept_position: needs the FILE that keeps the position"$'\n2'
}

# --- Runner ---------------------------------------------------------------------------------------------

readonly checks=(
    minimal_prints_where_it_is callbacks_tell_of_each_event callbacks_end_with_ctrl_c geofences_follow_the_vehicle
    kept_position_is_handed_over_at_the_next_start kept_position_that_is_damaged_counts_as_none
    kept_position_stays_whole_when_it_can_not_be_written
    set_clock_moves_a_clock_that_is_slow set_clock_leaves_a_right_clock_alone set_clock_says_that_it_may_not
    set_clock_gives_up_without_a_fix status_prints_ten_lines refuse_a_machine_that_is_no_unit)

run_on_unit() {
    failed=0
    expect "there is such a check" declare -F "$1" >/dev/null
    cd /tmp && "$1"
    return "$failed"
}

# Whole frames at once, as an acknowledgement that straddles two of the library's reads is lost. A slower clock where the
# host fell behind (tests/unit_sandbox/repeat-when-late).
unit_of() {
    local receiver=(--receiver '--ttff 5 --burst') speed=5
    [[ $1 != refuse_* ]] || receiver=(--no-receiver)
    [[ $1 != *_gives_up_* ]] || speed=10 # two minutes
    speed=$(awk -v speed="$speed" -v factor="${RUXOGPS_UNIT_SPEED_FACTOR-1}" 'BEGIN { print speed * factor }')
    "$repository/tools/virtual-unit" "${receiver[@]}" --antenna 1 --speed "$speed" -- \
        "$repository/tests/examples/examples_test.sh" --on-unit "$examples" "$slow_clock" "$1"
}

[[ ${1-} != --list ]] || { printf '%s\n' "${checks[@]}"; exit; }
[[ ${1-} != --on-unit ]] || { examples=$2 slow_clock=$3 && run_on_unit "$4"; exit; }
examples=$(readlink -f "$1")
slow_clock=$(readlink -f "$2")
shift 2
(($# > 0)) || set -- "${checks[@]}"
run_each unit_of "$@"
