#!/bin/bash
# The demo as its user meets it: Ctrl-C and signals in each phase, two demos in one folder, captures that are none, the
# story's words, a machine that is no unit. Runs in a copy of what the demo needs, with programs that are built already.
#
#   demo_test.sh DRIVE-PROGRAM RECEIVER-SIMULATOR BUILD-FOLDER [NAME ...]   runs the named checks, or all of them
#   demo_test.sh --list                                                     prints their names
# shellcheck disable=SC2154,SC2317  # the checks are called by name, some with settings in front
set -u

repository=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../..")
readonly repository
readonly soonest_s=3  # host seconds within which an interrupted demo must have ended

# --- Vocabulary -----------------------------------------------------------------------------------------

. "$repository/tests/support/checks.bash"

at_most() { (($1 <= $2)) || { echo "    $1 is more than $2" && return 1; }; }

# Everything that the demo needs, in a folder of its own. The packages are there; `cmake` puts the programs in place.
make_checkout() {
    scratch=$(mktemp -d)
    checkout=$scratch/checkout
    output=$scratch/output
    mkdir -p "$checkout/examples" "$scratch/bin" "$scratch/tmp"
    cp -r "$repository/run-demo.sh" "$repository/CMakeLists.txt" "$repository/tools" "$checkout"
    cp -r "$repository/examples/drive" "$checkout/examples"
    printf '#!/bin/sh\n' >"$checkout/tools/install-dependencies"
    cat >"$scratch/bin/cmake" <<STUB
#!/bin/bash
[[ \$1 == --build ]] || exit 0
mkdir -p build/demo-release/{examples,simulator,tools/unit,tools/report,tools/demo}
cp '$drive' build/demo-release/examples/drive
cp '$build'/tools/report/ruxogps-report build/demo-release/tools/report
cp '$build'/tools/demo/show-recording build/demo-release/tools/demo
cp '$simulator' build/demo-release/simulator/receiver-simulator
cp '$build'/tools/unit/unit-* build/demo-release/tools/unit
STUB
    chmod 755 "$scratch/bin/cmake"
}

# A build that lasts: cmake, ninja, and a compiler in a process group of its own, as ninja starts them.
make_build_last() {
    printf 'rule cc\n command = sleep 300 # %s\nbuild program: cc\n' "$checkout" >"$scratch/build.ninja"
    printf '#!/bin/bash\n[[ $1 == --build ]] || exit 0\nninja -f %s -C %s\n' "$scratch/build.ninja" "$scratch" \
        >"$scratch/bin/cmake"
}

# As a terminal does it: a process group of its own, in which Ctrl-C reaches every process.
start_demo() {
    TMPDIR=$scratch/tmp PATH=$scratch/bin:$PATH setsid env --default-signal=INT,TERM,HUP \
        "$checkout/run-demo.sh" "$@" >"$output" 2>&1 </dev/null &
    demo=$!
}

await() {
    local tries
    for ((tries = 0; tries < 600; tries++)); do
        grep -qs -- "$1" "$output" && return
        sleep 0.1
    done
    echo "    waited for a minute in vain: $1"
    cat "$output"
    return 1
}

# Sends a signal to the demo alone, or with a minus sign before its number to all of its group; notes how it ended.
end_demo_by() {
    local began=$EPOCHSECONDS
    kill -s "$1" -- "$2"
    wait "$demo" 2>/dev/null
    status=$?
    took_s=$((EPOCHSECONDS - began))
}

processes_left() {
    local tries left
    for ((tries = 0; tries < 10; tries++)); do
        left=$(pgrep -r R,S,D,T -fa -- "$scratch/" | grep -v "^$$ ")
        [[ -n $left ]] || return
        sleep 0.1
    done
    echo "$left"
}

# A failed check may leave processes of its own.
end_what_is_left() {
    local process rest
    while read -r process rest; do
        [[ -z $process ]] || kill -KILL "$process" 2>/dev/null
    done <<<"$(processes_left)"
}

expect_a_clean_end() {
    expect "the exit status" equal "$status" "$1"
    expect "it ends at once" at_most "$took_s" "$soonest_s"
    expect "it says so" contains "$(<"$output")" "run-demo.sh: interrupted"
    expect "no process is left" equal "$(processes_left)" ""
    expect "no mount is left" equal "$(grep -F "$scratch" /proc/mounts)" ""
    expect "no temporary file is left" equal "$(ls -A "$scratch/tmp")" ""
}

interrupt_once() {
    start_demo "${@:2}"
    await "$1" || failed=1
    end_demo_by INT "-$demo"
    expect_a_clean_end 130
}

# --- Ctrl-C and signals ---------------------------------------------------------------------------------

ctrl_c_ends_the_build() {
    make_build_last
    start_demo
    expect "it builds" soon pgrep -f "sleep 300 # $checkout"
    end_demo_by INT "-$demo"
    expect_a_clean_end 130
}

ctrl_c_ends_the_configuration_of_the_receiver() { interrupt_once "coming up: the driver"; }

ctrl_c_ends_the_first_start() {
    interrupt_once "waiting for the first fix"
    expect "there is no second start" equal "$(grep -c "== second start" "$output")" 0
}

ctrl_c_ends_the_second_start() { interrupt_once "== second start"; }

ctrl_c_ends_a_recording() {
    make_capture
    interrupt_once "the service is up" --recording "$scratch/capture"
}

sigterm_ends_the_demo_alone_as_well() {
    start_demo
    await "waiting for the first fix" || failed=1
    end_demo_by TERM "$demo"
    expect_a_clean_end 143
}

# --- On a terminal --------------------------------------------------------------------------------------

terminal() { tmux -S "$scratch/terminal" -f /dev/null "$@" 2>/dev/null; }
screen() { terminal capture-pane -p; }

# The demo in a terminal of its own, until what is to be seen is on the screen.
start_demo_on_a_terminal() {
    env --default-signal=INT,TERM,HUP tmux -S "$scratch/terminal" -f /dev/null new-session -d -x "${columns:-80}" -y 24 \
        "stty -g >'$scratch/settings'; echo \$\$ >'$scratch/shell'
        PATH='$scratch/bin':\$PATH TMPDIR='$scratch/tmp' '$checkout/run-demo.sh' ${*:2}; echo \$? >'$scratch/status'
        stty -g >'$scratch/settings-after'; sleep 300"
    await_screen "$1"
}

await_screen() {
    local tries
    for ((tries = 0; tries < 600; tries++)); do
        screen | grep -q -- "$1" && return
        sleep 0.1
    done
    echo "    waited for a minute in vain: $1"
    screen
    failed=1
}

expect_the_terminal_back() {
    expect "the demo ends" soon test -s "$scratch/settings-after"
    expect "the exit status" equal "$(<"$scratch/status")" "$1"
    expect "the terminal's settings" equal "$(<"$scratch/settings-after")" "$(<"$scratch/settings")"
    expect "it says so" contains "$(screen)" "run-demo.sh: interrupted"
    terminal kill-server
    expect "no process is left" equal "$(processes_left)" ""
}

on_a_terminal_the_drive_is_shown_until_a_key_leaves_it() {
    start_demo_on_a_terminal "service running" --speed 10
    expect "the story's lines are gone" equal "$(screen | grep -c "around the unit")" 0
    terminal send-keys q
    await_screen "position update: within"
    terminal send-keys C-c
    expect_the_terminal_back 130
}

ctrl_c_in_the_picture_ends_the_demo() {
    start_demo_on_a_terminal "service running" --speed 10
    terminal send-keys C-c
    expect_the_terminal_back 130
}

sigterm_takes_the_picture_away() {
    start_demo_on_a_terminal "service running" --speed 10
    kill -TERM "$(pgrep --parent "$(<"$scratch/shell")" --full run-demo.sh)"
    expect_the_terminal_back 143
}

on_a_terminal_too_the_drive_can_be_told_in_lines() {
    start_demo_on_a_terminal "around the unit  the vehicle departs" --speed 10 --lines
    terminal send-keys C-c
    expect_the_terminal_back 130
}

on_a_narrow_terminal_its_lines_break_at_words() {
    columns=40 start_demo_on_a_terminal "the vehicle departs" --speed 10 --lines
    # What the terminal itself has broken is joined.
    local rows
    rows=$(terminal capture-pane -p -J -S -)
    expect "no row is wider" equal "$(grep -E '.{41}' <<<"$rows")" ""
    expect "what goes on is indented" contains "$rows" "
    over and configures it; this takes"
    terminal send-keys C-c
    expect_the_terminal_back 130
}

# --- Two demos ------------------------------------------------------------------------------------------

the_second_demo_waits_for_the_first() {
    local first
    start_demo
    first=$demo
    await "waiting for the first fix" || failed=1
    mv "$output" "$output.first"
    start_demo
    await "another demo runs in this folder" || failed=1
    expect "the first one's results stay" test -s "$checkout/build/demo/first-start.log"
    kill -INT -- "-$first"
    await "== first start" || failed=1
    end_demo_by INT "-$demo"
    expect_a_clean_end 130
}

a_demo_that_waits_can_be_interrupted() {
    mkdir -p "$checkout/build"
    exec {held}>"$checkout/build/demo.lock"
    flock "$held"
    start_demo {held}>&-
    await "another demo runs in this folder" || failed=1
    end_demo_by TERM "$demo"
    exec {held}>&-
    expect_a_clean_end 143
}

# --- Captures -------------------------------------------------------------------------------------------

# What a receiver that stands sends within two seconds.
make_capture() {
    timeout 20 "$simulator" --capture "$scratch/capture" --ttff 0 --baud 115200 >/dev/null &
    soon eval '[[ -s $scratch/capture && $(grep -ac GGA "$scratch/capture") -ge 2 ]]'
    kill "$!"
    wait "$!" 2>/dev/null
}

a_file_without_a_sentence_is_refused_in_one_line() {
    echo "no receiver wrote this" >"$scratch/notes"
    start_demo --recording "$scratch/notes"
    wait "$demo"
    expect "the exit status" equal "$?" 2
    expect "one line besides the steps" equal "$(grep -vc '^==' "$output")" 1
    expect "it names the file" contains "$(<"$output")" "$scratch/notes"
}

a_capture_is_counted_before_it_is_played() {
    make_capture
    start_demo --recording "$scratch/capture"
    await "sentences" || failed=1
    end_demo_by INT "-$demo"
    expect_a_clean_end 130
}

# --- The story as a person reads it ---------------------------------------------------------------------

# tell LINE ...: the story with an application that says these lines at each start and saves a database at its end.
tell() {
    mkdir -p "$scratch/data" "$scratch/results"
    { echo '#!/bin/bash'; printf 'echo %q\n' "$@"
        echo "echo 31.5 >'$scratch/results/seconds-to-first-fix'; echo frames >'$scratch/data/NavigationDatabaseDump'"
    } >"$scratch/application"
    chmod 755 "$scratch/application"
    UNIT_CONTROLS=$scratch UNIT_DATA=$scratch/data "$checkout/tools/demo-scenario" "$scratch/results" \
        "$scratch/application" ${report:+"$report"} >"$output" 2>&1
}

# make_report COMMANDS: what takes the place of the program that makes the page, as `report RECORDING -o PAGE`.
make_report() {
    report=$scratch/report
    printf '#!/bin/bash\n%s\n' "$1" >"$report"
    chmod 755 "$report"
}

log_line() { echo "2026-05-04T10:11:12.345Z <6> src/GPSHAL_RUXO_3.cpp:1 $1"; }

a_missing_database_is_explained_at_the_first_start_only() {
    tell "$(log_line "Failed to open navigation database dump file")"
    expect "the first start" contains "$(sed '/second start/,$d' "$output")" "(no database yet, as on every first start)"
    expect "the second" equal "$(sed '1,/== second start/d' "$output" | grep -c "no database yet")" 0
    expect "which shows the line itself" contains "$(sed '1,/== second start/d' "$output")" "Failed to open navigation"
}

a_restart_of_gpsd_is_explained() {
    tell "$(log_line "Failed to connect to GPSD server (errno=-6)")" \
        "$(log_line "GPSD does not provide any data - restarting GPSD")"
    expect "the failed connection is shown" contains "$(<"$output")" "(errno=-6) (gpsd took no connection;"
    expect "and what the restart means" contains "$(<"$output")" "restarting GPSD (more than ten looks"
}

the_logs_lines_stand_in_the_applications_columns() {
    local line="2026-05-04 10:11:12             no position  coming up"
    tell "$line" "$(log_line "UBXConfig: Polling navigation database")"
    local column=${line%%coming up}
    expect "the text's column" contains "$(<"$output")" \
        "$(printf '2026-05-04 10:11:12%*sUBXConfig' $((${#column} - 19)) "the library's log  ")"
}

the_vehicle_departs_at_the_second_start() {
    tell "the service is up"
    expect "one departure" equal "$(cat "$scratch/receiver.control")" go
    expect "which is told" equal "$(grep -c "around the unit  the vehicle departs$" "$output")" 1
    expect "not at the first start" contains "$(<"$output")" "the vehicle stands"
}

# --- What is left of the drive --------------------------------------------------------------------------

the_story_ends_with_the_page_and_the_summary_line() {
    make_report '[[ $1 == */results/drive.jsonl && $2 == -o ]] && echo page >"$3"'
    tell "the service is down" "verdict: all is well" "demo: 1 fixes"
    expect "the exit status" equal "$?" 0
    expect "the page" equal "$(<"$scratch/results/drive.html")" page
    expect "its place in one line, between verdict and summary line" equal "$(tail -n 3 "$output")" "verdict: all is well
== the drive as a page, for any browser: $scratch/results/drive.html
demo: 1 fixes"
}

without_a_page_the_demo_fails_but_ends_with_its_summary_line() {
    make_report 'echo "there is no room for it" >&2; exit 2'
    tell "demo: 1 fixes"
    expect "the exit status" equal "$?" 1
    expect "why" contains "$(<"$output")" "there is no room for it"
    expect "what" contains "$(<"$output")" "no page could be made of the drive"
    expect "the last line" equal "$(tail -n 1 "$output")" "demo: 1 fixes"
}

# recorded TYPE: how many lines of the recording are of this type.
recorded() { grep -c "^{\"type\":\"$1\"" "$scratch/drive.jsonl"; }

# stated COUNT: the number of this kind that the page states.
stated() { grep -oP "id=\"data-count-$1\" value=\"\K[0-9]+" "$scratch/drive.html"; }

the_recording_holds_what_the_summary_line_counts() {
    RECEIVER_SIMULATOR=$simulator "$repository/tools/virtual-unit" --antenna 1 --speed 5 --writable "$scratch" \
        --receiver "--ttff 20 --route $repository/examples/drive/route.txt" -- "$drive" --for 60 --expect fix,position,tracking \
        --tracking 10 --geofence "Gate,52.5163,13.3772,300,300" --record "$scratch/drive.jsonl" >"$output" 2>/dev/null
    expect "the exit status" equal "$?" 0
    local fixes
    fixes=$(grep -o '"fix_tick_s":[1-9][0-9]*' "$scratch/drive.jsonl" | sort -u | wc -l)
    expect "the same numbers" contains "$(tail -n 1 "$output")" "demo: $fixes fixes, $(recorded position_update) position \
updates, $(grep '^{"type":"tracking"' "$scratch/drive.jsonl" | grep -vc '"fix":null') tracking reports, $(recorded \
'geofence_[a-z]*') geofence events, $(recorded antenna) antenna changes,"
    expect "its end" contains "$(tail -n 1 "$scratch/drive.jsonl")" '"type":"end"'
    "$build/tools/report/ruxogps-report" "$scratch/drive.jsonl" -o "$scratch/drive.html"
    expect "the page's numbers" contains "$(tail -n 1 "$output")" "demo: $(stated fixes) fixes, $(stated position-updates) \
position updates, $(stated tracking) tracking reports, $(($(stated entered) + $(stated left))) geofence events, $(stated \
antenna) antenna changes,"
    expect "and the reports without a fix" equal "$(stated tracking-without-fix)" \
        "$(grep '^{"type":"tracking"' "$scratch/drive.jsonl" | grep -c '"fix":null')"
    expect "of which there are some, as a fix takes longer than their period" test "$(stated tracking-without-fix)" -gt 0
}

# --- No unit --------------------------------------------------------------------------------------------

# On a unit that lacks something, where nothing of the host is in danger.
expect_no_unit() {
    local status=0
    "$@" >"$output" 2>&1 || status=$?
    expect "the exit status" equal "$status" "$no_unit_status"
    expect "one line" equal "$(wc -l <"$output")" 1
    expect "it names what is missing" contains "$(<"$output")" "this is no unit, as $missing is missing"
    expect "and the way out" contains "$(<"$output")" tools/virtual-unit
}

without_the_port_drive_says_that_this_is_no_unit() {
    no_unit_status=3 missing=/dev/ttymxc1 expect_no_unit "$repository/tools/virtual-unit" --no-receiver -- "$drive"
}

without_the_reset_line_drive_says_that_this_is_no_unit() {
    # shellcheck disable=SC2016  # for the unit's shell
    RECEIVER_SIMULATOR=$simulator no_unit_status=3 missing=/sys/class/gpio/gpio93/value expect_no_unit \
        "$repository/tools/virtual-unit" -- bash -c 'rm /sys/class/gpio/gpio93/value; "$0"' "$drive"
}

the_shortest_example_says_that_this_is_no_unit() {
    no_unit_status=1 missing=/dev/ttymxc1 expect_no_unit "$repository/tools/virtual-unit" --no-receiver -- \
        "${drive%/drive}/minimal"
}

# --- The README's example -------------------------------------------------------------------------------

the_readme_shows_the_shortest_example_as_it_is() {
    local shown
    # shellcheck disable=SC2016  # the README's own marks
    shown=$(sed -n '/^```cpp$/,/^```$/p' "$repository/README.md" | sed '1d;$d')
    expect "the same lines" equal "$shown" "$(sed 1,2d "$repository/examples/minimal.cpp")"
}

the_shortest_example_prints_where_it_is() {
    RECEIVER_SIMULATOR=$simulator "$repository/tools/virtual-unit" --receiver '--ttff 5' --speed 5 -- \
        "${drive%/drive}/minimal" >"$output" 2>"$scratch/log"
    expect "the exit status" equal "$?" 0
    expect "the receiver's position" equal "$(<"$output")" "47.285200, 8.565300"
}

# --- Running --------------------------------------------------------------------------------------------

readonly checks=(ctrl_c_ends_the_build ctrl_c_ends_the_configuration_of_the_receiver ctrl_c_ends_the_first_start
    ctrl_c_ends_the_second_start ctrl_c_ends_a_recording sigterm_ends_the_demo_alone_as_well
    on_a_terminal_the_drive_is_shown_until_a_key_leaves_it ctrl_c_in_the_picture_ends_the_demo
    sigterm_takes_the_picture_away on_a_terminal_too_the_drive_can_be_told_in_lines
    on_a_narrow_terminal_its_lines_break_at_words
    the_second_demo_waits_for_the_first a_demo_that_waits_can_be_interrupted
    a_file_without_a_sentence_is_refused_in_one_line a_capture_is_counted_before_it_is_played
    a_missing_database_is_explained_at_the_first_start_only a_restart_of_gpsd_is_explained
    the_logs_lines_stand_in_the_applications_columns the_vehicle_departs_at_the_second_start
    the_story_ends_with_the_page_and_the_summary_line without_a_page_the_demo_fails_but_ends_with_its_summary_line
    the_recording_holds_what_the_summary_line_counts
    without_the_port_drive_says_that_this_is_no_unit without_the_reset_line_drive_says_that_this_is_no_unit
    the_shortest_example_says_that_this_is_no_unit the_readme_shows_the_shortest_example_as_it_is
    the_shortest_example_prints_where_it_is)

run_check() {
    failed=
    report=
    declare -F "$1" >/dev/null || { echo "there is no check '$1'" >&2; return 1; }
    make_checkout
    echo "$1"
    "$1"
    end_what_is_left
    rm -rf "$scratch"
    [[ -z $failed ]]
}

if [[ ${1-} == --list ]]; then
    printf '%s\n' "${checks[@]}"
    exit
fi
drive=$1
simulator=$2
build=$3
shift 3
failures=0
for check in "${@:-${checks[@]}}"; do
    run_check "$check" || failures=$((failures + 1))
done
exit "$((failures > 0))"
