#!/bin/bash
# What long-drive keeps, and how a drive goes on: against a unit that prints a drive which was never driven.
#
#   long_drive_test.sh [NAME ...]      runs the named checks, or all of them
#   long_drive_test.sh --list          prints their names
# shellcheck disable=SC2317  # the checks are called by name
set -u

repository=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../../..")
readonly repository
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
readonly drive=$scratch/tests/faults/long/long-drive
readonly folder=$scratch/kept
export UNIT_DRIVES=$scratch/drives  # the seconds that were asked for, a line each
export UNIT_STAYS=$scratch/stays    # while it is there, the unit doesn't come to an end

# --- Vocabulary -------------------------------------------------------------------------------------------

. "$repository/tests/support/checks.bash"

build() {
    mkdir -p "$scratch/build/$1/tests/faults/long"
    cp /bin/true "$scratch/build/$1/tests/faults/long/long_drive"
}

of_build() { printf '%s\n' "$scratch/build/$1/"{tests/faults/long/long_drive,simulator/receiver-simulator,tools/unit}; }

# A tree of its own: the commands as they are, and in place of the unit one that drives so many seconds at once.
prepare() {
    mkdir -p "$scratch/tests/faults/long" "$scratch/tools"
    cp "$repository"/tests/faults/long/{long-drive,judge,made_up_drive.py} "$scratch/tests/faults/long"
    cp "$repository/tools/options.bash" "$scratch/tools"
    build release
    cat >"$scratch/tools/virtual-unit" <<'UNIT'
#!/bin/bash
while [[ $1 != */long_drive ]]; do shift; done
printf '%s\n' "$1" "$RECEIVER_SIMULATOR" "$UNIT_PROGRAMS" >"${0%/tools/*}/driven_with"
echo "$2" >>"$UNIT_DRIVES"
long=${0%/tools/*}/tests/faults/long
"$long/made_up_drive.py" "$long/judge" "${UNIT_SECONDS:-$2}" "$3"
while [[ -e $UNIT_STAYS ]]; do sleep 0.1; done
UNIT
    chmod 755 "$scratch/tools/virtual-unit"
}

drives() { "$drive" --hours 0.5 --kill-every 500 --folder "$folder" "$@"; }
says() { drives --status >"$scratch/status"; grep -q "$1" "$scratch/status"; }

# --- Checks -----------------------------------------------------------------------------------------------

a_drive_in_the_background_is_told_of_ended_and_goes_on() {
    touch "$UNIT_STAYS"
    UNIT_SECONDS=980 drives >"$scratch/said"
    expect "it says so" contains "$(<"$scratch/said")" "drives in the background"
    expect "how far it has come" soon says '^driven 980 s$'
    expect "that it drives" says '^driving, process [0-9]'
    expect "no second one beside it" contains "$(drives 2>&1)" "runs in $folder already"
    drives --end
    expect "it ends" soon says '^not driving$'
    rm "$UNIT_STAYS"
    drives --foreground >"$scratch/said"
    expect "its judgement's status" equal $? 0
    expect "what was left of it" equal "$(tr '\n' ' ' <"$UNIT_DRIVES")" "1920 940 "
    expect "both are judged" equal "$(grep -c '"events_lost": 0' "$scratch/said")" 2
    expect "and kept" equal "$(<"$folder/result")" "$(<"$scratch/said")"
}

a_whole_drive_is_only_judged_again() {
    drives --foreground >/dev/null
    expect "the same judgement" equal "$(drives --foreground)" "$(<"$folder/result")"
    expect "one drive" equal "$(<"$UNIT_DRIVES")" 1920
}

a_drive_too_short_to_be_judged_is_driven_anew() {
    UNIT_SECONDS=300 drives --foreground >/dev/null
    expect "none was judged" equal $? 1
    drives --foreground >/dev/null
    expect "the second is the whole" equal "$(tr '\n' ' ' <"$UNIT_DRIVES")" "1920 1920 "
}

what_is_amiss_is_the_status() {
    sed -i 's/sample end {HELD}/sample end {HELD[:-1]}8/' "$scratch/tests/faults/long/made_up_drive.py"
    drives --foreground >"$scratch/said"
    expect "its status" equal $? 1
    expect "what it is" contains "$(<"$scratch/said")" "AMISS processes: 7 after a minute, 8 now"
}

# Not with whatever was built last, which may have a sanitizer's memory.
the_release_drives_or_the_build_that_is_named() {
    build tsan
    drives --foreground >/dev/null
    expect "the release" equal "$(<"$scratch/driven_with")" "$(of_build release)"
    rm -r "$folder"
    (cd "$scratch" && drives --build build/tsan >/dev/null)
    expect "it ends" soon says '^not driving$'
    expect "the named one" equal "$(<"$scratch/driven_with")" "$(of_build tsan)"
    expect "none" contains "$(drives --build "$scratch/build" 2>&1)" "is not built in $scratch/build"
}

nothing_drives_and_nothing_is_judged() {
    expect "none to end" contains "$(drives --end 2>&1)" "no drive runs in $folder"
    expect "none to judge" contains "$(drives --status)" "nothing has been driven yet"
}

# --- All of it --------------------------------------------------------------------------------------------

checks=(a_drive_in_the_background_is_told_of_ended_and_goes_on a_whole_drive_is_only_judged_again
    a_drive_too_short_to_be_judged_is_driven_anew what_is_amiss_is_the_status
    the_release_drives_or_the_build_that_is_named nothing_drives_and_nothing_is_judged)

run() {
    failed=
    rm -rf "${scratch:?}"/*
    prepare
    "$1"
    [[ -z $failed ]]
}

[[ ${1-} != --list ]] || { printf '%s\n' "${checks[@]}"; exit; }
run_each run "${@:-${checks[@]}}"
