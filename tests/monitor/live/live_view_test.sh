#!/bin/bash
# The live view on terminals: tmux plays them, each check has a server of its own.
#
#   live_view_test.sh [NAME ...]     runs the named checks, or all of them
#   live_view_test.sh --list         prints their names
#   live_view_test.sh --on-unit      prints the names of those that need a virtual unit
#
# LIVE_REPLAY names the program that shows a recording, MONITOR the monitor, RECEIVER_SIMULATOR the simulator.
# shellcheck disable=SC2317  # the checks are called by name
set -u

repository=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../../..")
readonly repository
readonly here=$repository/tests/monitor/live
readonly build=$repository/build/release
export LIVE_REPLAY=${LIVE_REPLAY:-$build/tests/monitor/live/live_replay}
export MONITOR=${MONITOR:-$build/tools/monitor/ruxogps-monitor}

# A program with sanitizers shall die of a signal as others do.
for sanitizer in ASAN TSAN UBSAN; do
    options=${sanitizer}_OPTIONS
    export "$options=${!options:+${!options}:}handle_segv=0:handle_abort=0"
done

. "$repository/tests/support/checks.bash"

# --- Vocabulary -----------------------------------------------------------------------------------------

servers=0 # of this check so far
of_server() { TMUX_TMPDIR=$scratch tmux -L "live$servers" -f /dev/null "$@"; }

# terminal COLUMNS ROWS [NAME=VALUE ...]: a shell on a new terminal, with these in its environment.
terminal() {
    local columns=$1 rows=$2
    shift 2
    of_server kill-server 2>/dev/null
    ((servers += 1)) # the former one may still be on its way
    of_server new-session -d -x "$columns" -y "$rows" \
        env -u NO_COLOR LC_ALL=C.UTF-8 PS1='ready> ' "$@" bash --norc --noprofile
    soon shows "ready>"
}

# The rows as they are to be seen.
screen() { of_server capture-pane -p 2>/dev/null; }
shows() { [[ $(screen) == *"$1"* ]]; }
shows_not() { ! shows "$1"; }
types() { of_server send-keys "$@"; }
resizes() { of_server resize-window -x "$1" -y "$2"; }
has_colours() { of_server capture-pane -pe | grep -qE $'\e\\[[0-9;]*3[0-7]m'; }
widest() { screen | wc -L; }

# runs COMMAND: types it, between two looks at the terminal's settings; what came of it stands in files.
runs() {
    rm -f "$scratch/"{before,after,status}
    types "clear; echo former screen; stty -g >$scratch/before; $1; echo \$? >$scratch/status; stty -g >$scratch/after" Enter
}
has_ended() { [[ -s $scratch/after ]]; }
status() { cat "$scratch/status"; }
replays() { runs "$LIVE_REPLAY $scratch/drive $* 2>$scratch/errors"; }

# What a person has after the view: the settings, the screen of before, and a cursor.
is_as_before() {
    soon has_ended || return
    equal "$(<"$scratch/after")" "$(<"$scratch/before")" &&
        soon shows "ready>" && shows "former screen" &&
        equal "$(of_server display-message -p '#{alternate_on} #{cursor_flag}')" "0 1"
}

# A unit needs half a minute to come up and go down: its clock runs faster.
unit_speed=$(awk -v factor="${RUXOGPS_UNIT_SPEED_FACTOR:-1}" 'BEGIN { print 10 * factor }')
readonly unit_speed

# monitors OPTIONS: the monitor on a virtual unit with `unit_options`, its recording in the scratch folder.
monitors() {
    runs "$repository/tools/virtual-unit --writable $scratch --speed $unit_speed ${unit_options-} -- ${unit_command-} $MONITOR --record $scratch/recording $*"
}
unit_long() { soon "$@" || soon "$@" || soon "$@"; } # for what takes the unit some seconds
recorded() { grep -q "$1" "$scratch/recording" 2>/dev/null; }
readings() { grep -c '"readings"' "$scratch/recording"; }
has_more_readings_than() { (($(readings) > $1)); }
signals() { pkill "-$1" -f "^$(literally "$MONITOR") --record $scratch/recording"; }
literally() { sed 's/[]*.^$+?(){}|\\[]/\\&/g' <<<"$1"; } # in a regular expression

# --- A recording ----------------------------------------------------------------------------------------

shows_a_drive() {
    terminal 80 24
    replays 1 hold
    expect "the service coming up" soon shows "constructing "
    expect "how long that may take" soon shows " of at most "
    expect "the position" soon shows "Position   52.5"
    expect "a geofence with its distance" shows "to margin"
    expect "an event" shows "fixes are available"
    expect "it fits" test "$(widest)" -le 80
    expect "in colours" has_colours
    types q
    expect "the terminal is given back" is_as_before
    expect "status" equal "$(status)" 0
}

takes_each_key() {
    terminal 80 24
    replays 100 hold
    expect "it is up" soon shows "service running"
    types t
    expect "t turns tracking off" soon shows "Tracking   off"
    types t
    expect "and on" soon shows "Tracking   every 30 s, next"
    types g
    expect "g turns geofences off" soon shows "Geofences  off, 3 of 12"
    types x
    expect "an unknown key" soon shows "? shows the keys"
    types '?'
    expect "help" soon shows "set the odometer: metres, then Enter"
    types l
    expect "the log" soon shows "live_replay: the view is up"
    types Tab Tab Tab
    expect "the third page from there" soon shows "service constructing"
    types Escape q
    expect "q ends it" is_as_before
}

takes_the_odometers_metres() {
    terminal 80 24
    replays 100 hold
    expect "it is up" soon shows "service running"
    types o 1 2 a 9 BSpace 3
    expect "o takes digits" soon shows "Odometer in metres: 123_"
    types Enter
    expect "and sets" soon shows "odometer set to 123 m"
    types o 9 9 9 9 9 9 9 9 9 9 Enter
    expect "too many metres" soon shows "at most 4294967295 metres"
    types o 7 Escape
    expect "Esc leaves it" soon shows "q quit"
    expect "as it was" shows "Odometer   123 m"
    types q
    expect "q ends it" is_as_before
}

# Where no event is to be seen.
says_on_each_page_what_a_key_did() {
    terminal 80 24
    replays 100 hold
    expect "it is up" soon shows "service running"
    types l t
    expect "t on the log's page" soon shows "tracking turned off"
    types g
    expect "g" soon shows "geofences turned off"
    types o 5 Enter
    expect "o" soon shows "odometer set to 5 m"
    types '?' t
    expect "t on the help's page" soon shows "tracking turned on"
    types Escape
    expect "the keys are to be seen again" soon shows "q quit"
    types q
    expect "the terminal is given back" is_as_before
}

turns_its_pages() {
    terminal 80 24
    replays 100 hold
    expect "it is up" soon shows "service running"
    types Tab
    expect "geofences with their sizes" soon shows "300 m x 200 m + 100 m"
    types Tab
    expect "events from the first one on" soon shows "service constructing"
    types Tab
    expect "the log" soon shows "Log: the service's words"
    types Tab
    expect "and round" soon shows "Position   52.5"
    types q
    expect "the terminal is given back" is_as_before
}

follows_a_new_size() {
    terminal 80 24
    replays 100 hold
    expect "80 columns" soon shows "Position   52.5"
    resizes 40 24
    expect "40 columns" soon shows "o odo t trk g geo l log ? help q quit"
    expect "nothing is wider" test "$(widest)" -le 40
    resizes 40 10
    expect "10 rows" soon shows "Speed "
    expect "the keys stay" soon shows "q quit"
    resizes 120 40
    expect "120 columns" soon shows "altitude 34.0 m                  Events"
    resizes 1 1
    resizes 80 24
    expect "back from a single cell" soon shows "o odometer  t tracking"
    types q
    expect "the terminal is given back" is_as_before
}

lives_without_colours() {
    terminal 80 24 NO_COLOR=1
    replays 100 hold
    expect "NO_COLOR" soon shows "Position   52.5"
    expect "has none" eval '! has_colours'
    types q
    expect "the terminal is given back" is_as_before
    terminal 80 24 TERM=vt100
    replays 100 hold
    expect "a VT100" soon shows "Position   52.5"
    expect "has none" eval '! has_colours'
    types q
    expect "its settings are as before" soon has_ended
    expect "its settings are as before" equal "$(<"$scratch/after")" "$(<"$scratch/before")"
    expect "it goes on" soon shows "ready>"
}

key_row() { screen | grep -n "q quit" | cut -d: -f1; }
key_row_is() { [[ $(key_row) == "$1" ]]; }

# The terminal's description may tell of another size, or of none.
fills_each_terminal() {
    local kind
    for kind in vt100 vt220 linux xterm-256color "vt100 NO_COLOR=1 LC_ALL=C"; do
        # shellcheck disable=SC2086  # a kind may be several settings
        terminal 100 30 TERM=$kind
        replays 100 hold
        expect "it is up on $kind" soon shows "Position   52.5"
        expect "the keys stand in the last row of $kind" soon key_row_is 30
        types Tab
        expect "the next page" soon shows "300 m x 200 m + 100 m"
        expect "and there too" key_row_is 30
        types q
        expect "it ends" soon has_ended
        expect "all rows scroll again" equal "$(of_server display-message -p '#{scroll_region_upper} #{scroll_region_lower}')" "0 29"
    done
}

needs_a_terminal_that_can_place_its_cursor() {
    terminal 80 24 TERM=dumb
    replays 100
    expect "it says so" soon grep -qs "TERM names no terminal" "$scratch/errors"
    expect "the terminal is as before" soon has_ended
    expect "the terminal is as before" equal "$(<"$scratch/after")" "$(<"$scratch/before")"
}

shows_names_as_the_terminal_can() {
    terminal 80 24
    replays 100 hold
    expect "UTF-8" soon shows "Werk Süd"
    expect "no control characters" shows "?[2J?]0;bad?"
    types q
    expect "the terminal is given back" is_as_before
    terminal 80 24 LC_ALL=C
    replays 100 hold
    expect "not UTF-8" soon shows "Werk S?d"
    types q
    expect "the terminal is given back" is_as_before
}

gives_the_terminal_back_however_it_ends() {
    local how expected
    for how in "over 0" "throw 1" "abort 134" "segv 139" "exit 255"; do
        read -r how expected <<<"$how"
        terminal 80 24
        replays 100 "$how"
        expect "after $how" is_as_before
        expect "status of $how" equal "$(status)" "$expected"
        expect "what was said before $how" grep -q "the view is up" "$scratch/errors"
    done
}

gives_the_terminal_back_after_signals() {
    local signal
    for signal in ABRT SEGV QUIT USR1 ALRM PIPE; do
        terminal 80 24
        replays 100 hold
        expect "it is up" soon shows "q quit"
        pkill "-$signal" -f "^$(literally "$LIVE_REPLAY") $scratch/drive"
        expect "after SIG$signal" is_as_before
        expect "status of SIG$signal" equal "$(status)" $((128 + $(kill -l "$signal")))
    done
}

pauses_and_goes_on() {
    local how
    for how in key signal; do
        terminal 80 24
        types "$LIVE_REPLAY $scratch/drive 100 hold 2>/dev/null" Enter
        expect "it is up" soon shows "q quit"
        if [[ $how == key ]]; then types C-z; else pkill -TSTP -f "^$(literally "$LIVE_REPLAY") $scratch/drive"; fi
        expect "it is stopped by $how" soon shows "Stopped"
        expect "on the former screen" equal "$(of_server display-message -p '#{alternate_on}')" 0
        types "clear; stty -a" Enter
        expect "with echo" soon shows " echo "
        types "fg" Enter
        expect "it goes on" soon shows "q quit"
        types q
        expect "and ends" soon shows "ready>"
    done
}

keeps_the_log_off_the_screen() {
    terminal 80 24
    replays 100 hold
    expect "it is up" soon shows "Position   52.5"
    expect "the words are not to be seen" shows_not "the view is up"
    types l
    expect "but on their page" soon shows "the view is up"
    expect "and in the file" grep -q "the view is up" "$scratch/errors"
    types q
    expect "the terminal is given back" is_as_before
}

never_waits_for_the_terminal() {
    local how
    for how in stopped unread closed; do
        timeout 20 "$here/unread-terminal" "$how" env --ignore-signal=HUP "$LIVE_REPLAY" "$scratch/drive" 1 2>/dev/null
        expect "a terminal that is $how" equal $? 0
    done
}

# --- The monitor on a virtual unit ----------------------------------------------------------------------

asks_the_service() {
    terminal 80 24
    unit_options="--receiver '--route $repository/examples/drive/route.txt --ttff 2'"
    monitors --tracking 30 --geofence Gate,52.5158,13.3690,300m,200m --log "$scratch/log"
    types o
    expect "nothing can be asked while it comes up" unit_long shows "not while the service is"
    expect "it comes up" unit_long shows "service running"
    expect "a fix" unit_long shows "Position   52.5"
    types o 5 0 0 0 Enter
    expect "the odometer is set" soon shows "Odometer   5000 m"
    types o 1 0 Enter
    expect "and once more" soon shows "Odometer   10 m"
    types t
    expect "tracking is off" soon shows "Tracking   off"
    types g
    expect "geofences are off" soon shows "Geofences  off"
    expect "neither imposes the odometer again" equal "$(grep -c 'Set odometer from ' "$scratch/log")" 2
    types l
    expect "the log is on the screen too" soon shows "Set odometer from 5000 to 10"
    types Escape
    types q
    expect "it says what it does" soon shows "the service ends, then this view"
    unit_long has_ended
    expect "the terminal is given back" is_as_before
    expect "status" equal "$(status)" 0
    expect "the recording is whole" recorded '"type":"end"'
    expect "what was asked for is in it" equal "$(grep -c '"type":"command"' "$scratch/recording")" 4
    expect "the schema" fits_the_schema "$scratch/recording"
}

gives_the_terminal_back_when_it_is_ended() {
    local signal expected
    unit_options="--receiver '--ttff 2'"
    for signal in TERM HUP C-c; do
        terminal 80 24
        rm -f "$scratch/recording"
        monitors
        expect "it comes up" unit_long shows "service running"
        if [[ $signal == C-c ]]; then types C-c; else signals "$signal"; fi
        unit_long has_ended
        expect "after $signal" is_as_before
        expected=$((128 + $(kill -l "${signal/C-c/INT}")))
        expect "status of $signal" equal "$(status)" "$expected"
        expect "in order" recorded '"step":"down"'
    done
}

gives_the_terminal_back_at_a_second_signal() {
    local how expected
    unit_options="--receiver '--ttff 2'"
    for how in "TERM 143" "C-c 130"; do
        read -r how expected <<<"$how"
        terminal 80 24
        monitors
        expect "it comes up" unit_long shows "resets and configures"
        if [[ $how == C-c ]]; then types C-c C-c; else signals TERM && sleep 0.1 && signals TERM; fi # within 50 ms they are one
        expect "at once" is_as_before
        expect "status" equal "$(status)" "$expected"
    done
}

gives_the_terminal_back_when_the_library_ends_the_process() {
    terminal 80 24
    unit_options=
    mkdir "$scratch/bin" && printf '#!/bin/sh\nexit 1\n' >"$scratch/bin/stty" && chmod 755 "$scratch/bin/stty"
    unit_command="env PATH=$scratch/bin:/unit/bin:$PATH"
    monitors
    unit_long has_ended
    expect "the terminal is given back" is_as_before
    expect "status" equal "$(status)" 255
    expect "and it says why" shows "ruxogps-monitor: "
}

says_at_the_end_what_could_not_be_written() {
    terminal 120 24
    mkdir "$scratch/maps"
    runs "$repository/tools/virtual-unit --writable $scratch --data-size 16 --speed $unit_speed --receiver '--ttff 2' -- \
        $MONITOR --record /data/drive.jsonl --gpx $scratch/maps/drive.gpx"
    expect "it comes up" unit_long shows "service running"
    expect "the recording breaks off" unit_long shows "the recording /data/drive.jsonl ends here: No space left on device"
    types l
    expect "the keys are to be seen again" soon shows "q quit"
    expect "it stands in the log" shows "the recording /data/drive.jsonl ends here"
    rmdir "$scratch/maps"
    types q
    unit_long has_ended
    expect "the terminal is given back" is_as_before
    expect "status" equal "$(status)" 1
    expect "the recording" shows "ruxogps-monitor: the recording /data/drive.jsonl ends here: No space left on device"
    expect "the map" shows "ruxogps-monitor: $scratch/maps/drive.gpx: No such file or directory"
}

goes_on_recording_while_the_terminal_takes_nothing() {
    local how
    for how in stopped unread; do
        rm -f "$scratch/recording"
        timeout 60 "$here/unread-terminal" "$how" "$repository/tools/virtual-unit" --writable "$scratch" \
            --speed "$unit_speed" --receiver "--ttff 2" -- "$MONITOR" --record "$scratch/recording" &
        expect "the service comes up" unit_long recorded '"step":"running"'
        expect "fixes come" unit_long recorded '"fix":{"time_utc"'
        expect "and go on" unit_long has_more_readings_than $(($(readings) + 2))
        signals TERM
        wait $!
        expect "it ends in order" equal $? 143
        expect "to its last line" recorded '"type":"end"'
    done
}

# --- Runner ---------------------------------------------------------------------------------------------

readonly checks=(
    shows_a_drive takes_each_key takes_the_odometers_metres says_on_each_page_what_a_key_did turns_its_pages
    follows_a_new_size lives_without_colours fills_each_terminal needs_a_terminal_that_can_place_its_cursor
    shows_names_as_the_terminal_can
    gives_the_terminal_back_however_it_ends gives_the_terminal_back_after_signals pauses_and_goes_on
    keeps_the_log_off_the_screen never_waits_for_the_terminal)
readonly unit_checks=(
    asks_the_service gives_the_terminal_back_when_it_is_ended gives_the_terminal_back_at_a_second_signal
    gives_the_terminal_back_when_the_library_ends_the_process says_at_the_end_what_could_not_be_written
    goes_on_recording_while_the_terminal_takes_nothing)

run_check() {
    failed=0
    servers=0
    scratch=$(mktemp -d) && cp "$here/drive.jsonl" "$scratch/drive" || return # whose path names this check's programs
    expect "there is such a check" declare -F "$1" >/dev/null
    "$1"
    ((failed == 0)) || screen
    of_server kill-server 2>/dev/null
    rm -rf "$scratch"
    return "$failed"
}

case ${1-} in
    --list) printf '%s\n' "${checks[@]}" ;;
    --on-unit) printf '%s\n' "${unit_checks[@]}" ;;
    '') run_each run_check "${checks[@]}" "${unit_checks[@]}" ;;
    *) run_each run_check "$@" ;;
esac
exit
