#!/bin/bash
# Shows the service at work on a machine that has no GPS receiver: installs and builds what it needs, then runs the
# example application on a virtual unit with a simulated receiver. Ends by itself and closes with a summary line.
#
# This file is the host's side: options, packages, build, the end on a signal. tools/demo-scenario tells the story.
# shellcheck disable=SC2154,SC2317  # set by options.bash; the traps' functions are called by name
set -u

readonly build=build/demo-release
readonly results=build/demo
readonly application=$build/examples/drive
readonly simulator=$build/simulator/receiver-simulator
readonly report=$build/tools/report/ruxogps-report
readonly picture=$build/tools/demo/show-recording
readonly route=examples/drive/route.txt

readonly end_s=2 # so long an interrupted step has to end by itself

# The story's lines have date, time and position in front of their text.
readonly text_column=45
readonly least_text=30 # columns: where a terminal has fewer for it, the text goes on further left

folder=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
readonly folder
# shellcheck source=tools/options.bash
. "$folder/tools/options.bash"

# --- Options --------------------------------------------------------------------------------------------

usage() {
    cat <<'HELP'
Usage: ./run-demo.sh [OPTIONS]

Without options: a first start without a navigation database, a stop that saves it, and a second start that restores
it, has its fix sooner, and drives a route through two geofences with the antenna lost and back on the way. The drive is
recorded, and a page about it is left for any browser: build/demo/drive.html. On a terminal the drive is shown as
ruxogps-monitor would show it, until its end or the key q.

  --recording FILE  play a receiver's capture (NMEA or UBX bytes) instead: over and over, with the times of now; the
                    geofences are drawn on the track that its first minutes show
  --lines           tell the drive in lines, on a terminal as well
  --speed X         how much faster the unit's clock runs: above 0, below 100 (5)
  -h, --help        print this text
  --version         print the version

Exit status: 0 when each kind of event was really seen, 1 when one was not or something failed, 2 for a wrong option or
a capture without a sentence or frame, 4 when a capture can't bring one (the demo says which and why), 130 after Ctrl-C,
143 after SIGTERM. It ends at once then and leaves nothing running. Logs, recording and navigation database stay in
build/demo.
HELP
}

take_options() {
    read_options "recording:,lines,speed:" "$@"
    set -- "${options[@]}"
    recording=
    live=
    [[ ! -t 0 || ! -t 1 || ${TERM:-dumb} == dumb ]] || live=1
    speed=5
    while [[ $1 != -- ]]; do
        case $1 in
            --recording)
                [[ -f $2 && -r $2 ]] || wrong_usage "--recording needs a file that can be read, not '$2'"
                recording=$(readlink -f -- "$2"); shift 2 ;;
            --lines) live=; shift ;;
            --speed) needs_number --speed "$2" 0 100; speed=$2; shift 2 ;;
        esac
    done
    shift
    (($# == 0)) || wrong_usage "unexpected argument '$1'"
}

# --- Steps ----------------------------------------------------------------------------------------------

say() { echo "== $*"; }

fail() {
    echo "$tool: $*" >&2
    exit 1
}

# A step has a session of its own, out of the terminal's reach: a Ctrl-C comes to this script alone, which ends the
# step as a whole. And a shell that waits for a background process, unlike a foreground one, hears signals at once.
run_step() {
    setsid "$@" </dev/null &
    wait "$!"
}

# Those of a process group that still run; one that nobody has asked for its status yet is gone.
runs() { pgrep --pgroup "$1" --runstates R,S,D,T >/dev/null; }

# SIGTERM comes again until all is over: the virtual unit ends its command gently at the first one and at once at the
# second; ninja takes its compilers along.
end_step() {
    local deadline_s=$((SECONDS + end_s))
    while ((SECONDS < deadline_s)); do
        kill -TERM -- "$1" "-$1"
        sleep 0.2
        runs "$1" || return
    done
    kill -KILL -- "-$1"
}

interrupted() {
    local step
    trap '' INT TERM HUP
    for step in $(jobs -p); do
        { end_step "$step"; wait "$step"; } 2>/dev/null
    done
    show_last_lines
    echo "$tool: interrupted; nothing is left running" >&"$errors"
    exit $((128 + $(kill -l "$1")))
}

# The lock goes with the last process that has inherited it.
wait_for_turn() {
    mkdir -p build || exit
    exec {turn}>build/demo.lock || exit
    flock --nonblock "$turn" && return
    say "another demo runs in this folder: waiting for its end"
    run_step flock "$turn"
}

# Quiet unless something is amiss.
quietly() {
    run_step "$@" >"$results/build.log" 2>&1 && return
    tail -n 40 "$results/build.log" >&2
    fail "'$*' failed"
}

# In the foreground, as sudo may have to ask for a password; what apt starts must not keep the lock.
build_all() {
    say "installing what is missing, then building (the words of compiler and CMake go to $results/build.log)"
    tools/install-dependencies run {turn}>&- >&"$screen" || fail "the packages could not be installed"
    quietly cmake --preset demo
    quietly cmake --build --preset demo
}

# Says in one line what is in it, and refuses what no receiver has written.
check_recording() {
    local words
    words=$("$simulator" --check-recording "$recording" 2>&1) ||
        wrong_usage "--recording: ${words#*--check-recording: }"
    say "the capture holds $words"
}

# --- Lines on a terminal --------------------------------------------------------------------------------

# From here on a terminal gets what this script and its steps say at `screen` through a process that wraps it at words.
# Elsewhere each line stays as it is.
wrap_lines_on_a_terminal() {
    exec {screen}>&1
    wrapper=
    [[ -t 1 ]] || return 0
    exec > >(trap '' INT TERM HUP; wrap_lines)
    wrapper=$!
    trap show_last_lines EXIT
}

# Bounded, as a step may leave somebody behind who could still say something.
show_last_lines() {
    local tries
    exec >&"$screen"
    for ((tries = 0; tries < 20; tries++)); do
        [[ -n $wrapper ]] && kill -0 "$wrapper" 2>/dev/null || return 0
        sleep 0.1
    done
}

# The terminal may get another size meanwhile.
wrap_lines() {
    local line columns
    while IFS= read -r line; do
        read -r _ columns < <(stty size <&"$screen")
        wrap_line "$line" "${columns:-0}"
    done
}

# wrap_line LINE COLUMNS: what goes on is indented. A word that is wider than the terminal, as a path may be, stays whole.
wrap_line() {
    local line=$1 indent=4 head
    if [[ $line == "== "* ]]; then
        indent=3
    elif [[ ${line:0:20} =~ ^[0-9-]{10}\ [0-9:]{8}\ $ ]]; then
        (($2 < text_column + least_text)) || indent=$text_column
    fi
    while (($2 > 0 && ${#line} > $2)); do
        ((indent == text_column)) || squeeze_blanks
        head=${line:0:$2 + 1}
        head=${head% *}
        [[ ${head:indent} == *[!\ ]* && $head != "${line:0:$2 + 1}" ]] || break
        without_blanks_behind "$head"
        line=${line:${#head}}
        line=$(printf '%*s' "$indent" '')${line#"${line%%[! ]*}"}
    done
    without_blanks_behind "$line"
}

without_blanks_behind() { printf '%s\n' "${1%"${1##*[! ]}"}"; }

# Columns have no meaning where there is no room for them; an indentation stays.
squeeze_blanks() {
    local front=${line%%[! ]*}
    line=${line#"$front"}
    while [[ $line == *"   "* ]]; do line=${line//   /  }; done
    line=$front$line
}

# --- The picture on a terminal --------------------------------------------------------------------------

# As run_step, but what the step says goes into a file and is told from there, until the drive begins: then the picture
# has the terminal.
run_step_with_picture() {
    local step teller
    : >"$results/story"
    setsid "$@" </dev/null >"$results/story" 2>&1 &
    step=$!
    tell_story 1 "$step"
    until [[ -s $results/drive.jsonl ]] || ! kill -0 "$step" 2>/dev/null; do sleep 0.2; done
    if [[ -s $results/drive.jsonl ]]; then
        end_process "$teller"
        show_drive "$step"
    fi
    wait "$teller"
    wait "$step"
}

# tell_story LINE STEP: from this line on, until the step is over.
tell_story() {
    tail --lines="+$1" --follow --sleep-interval=0.2 --pid="$2" "$results/story" 2>/dev/null &
    teller=$!
}

end_process() { { kill "$1" && wait "$1"; } 2>/dev/null; }

# Key q leaves the picture, and the rest is told in lines. Ctrl-C comes to the picture as a key.
show_drive() {
    local view ended status
    env --default-signal=INT "$picture" --speed "$speed" "$results/drive.jsonl" <&"$keys" >&"$screen" &
    view=$!
    wait -n -p ended "$view" "$1"
    status=$?
    if ((ended != view)); then
        end_process "$view"
    elif ((status == 128 + $(kill -l INT))); then
        interrupted INT
    elif ! drive_is_over; then
        tell_story "$(($(wc -l <"$results/story") + 1))" "$1"
        return
    fi
    wait "$1"
    tell_what_came_behind_the_drive
}

drive_is_over() { tail --lines=1 "$results/drive.jsonl" | grep -q '^{"type":"end"'; }

# All of it where the application didn't come down.
tell_what_came_behind_the_drive() {
    awk '/^== (second start|playing)/ || / the service is down$/ { told = ""; next } { told = told $0 ORS }
        END { printf "%s", told }' "$results/story"
}

# --- The whole ------------------------------------------------------------------------------------------

show() {
    local receiver="--hold --route $route" story=()
    if [[ -n $recording ]]; then
        receiver="--hold --repeat --restamp --recording '$recording'"
        story=(--recording "$(basename -- "$recording")")
    fi
    say "the unit's clock runs $speed times as fast as yours; the library's log goes to $results"
    RECEIVER_SIMULATOR=$simulator run_step${live:+_with_picture} tools/virtual-unit --speed "$speed" --antenna 1 --receiver "$receiver" \
        --data "$results/data" --writable "$results" -- tools/demo-scenario "${story[@]}" "$results" "$application" \
        "$report"
}

main() {
    take_options "$@"
    cd "$folder" || exit
    exec {errors}>&2 {keys}<&0 # a signal may come while a step's words go to a file; background processes have no input
    wrap_lines_on_a_terminal
    trap 'interrupted INT' INT
    trap 'interrupted TERM' TERM
    trap 'interrupted HUP' HUP
    wait_for_turn
    rm -rf "$results"
    mkdir -p "$results/data"
    build_all
    [[ -z $recording ]] || check_recording
    show
}

# In one line: bash reads on in this file only later, when somebody may have changed it.
main "$@"; exit
