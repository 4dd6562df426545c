#!/bin/bash
# The program as a user meets it: options, port, control pipe, state, capture, reset line, end.
#
#   program_test.sh PATH/TO/receiver-simulator      which is described in the README.md beside this folder
# shellcheck disable=SC2016,SC2034  # the checks are texts that `check` evaluates, their variables included
set -u

simulator=$1
readme=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../README.md
folder=$(mktemp -d)
receiver=
failures=0
trap '[[ -z $receiver ]] || kill "$receiver" 2>/dev/null; rm -rf "$folder"' EXIT

check() {
    if ! eval "$2"; then
        echo "FAILED: $1 ($2)"
        failures=$((failures + 1))
    fi
}

# Starts the receiver in the background and waits until its port is usable.
start() {
    coproc RECEIVER { exec "$simulator" --link "$folder/port" --control "$folder/control" --state "$folder/state" \
        --log "$folder/log" --capture "$folder/capture" --ttff 1 "$@" 2>"$folder/errors"; }
    receiver=$RECEIVER_PID
    read -r -t 10 ready <&"${RECEIVER[0]}" || ready=
}

stop() {
    kill -TERM "$receiver"
    wait "$receiver"
    status=$?
    receiver=
}

state() { sed -n "s/^$1=//p" "$folder/state"; }

# Waits until the state file holds this value; at most ten seconds.
await() {
    local try
    for ((try = 0; try < 200; try++)); do
        [[ $(state "$1") =~ ^($2)$ ]] && return 0
        sleep 0.05
    done
    return 1
}

# --- Options --------------------------------------------------------------------------------------------

message=$("$simulator" --colour blue 2>&1 >/dev/null)
check "a wrong option ends with status 2" '[[ $("$simulator" --colour 2>/dev/null; echo $?) == 2 ]]'
check "and one line" \
    '[[ $message == "receiver-simulator: unrecognized option '"'--colour'"' (--help lists the options)" ]]'
check "help lists options and commands" '[[ $("$simulator" --help) == *--recording*nosatellites* ]]'
check "so does -h" '[[ $("$simulator" -h) == "$("$simulator" --help)" ]]'
options=$("$simulator" --help | sed -n '/^Options/,/^$/s/^  \(-h, \)\?\(--[a-z-]*\) .*/\2/p')
check "the help's list of options is found" '[[ $options == --link*--version ]]'
check "every option is explained in the README" '! for option in $options; do
        grep -q -- "\`$option\`" "$readme" || echo "$option"; done | grep .'
check "its version is the project's" '[[ $("$simulator" --version) =~ ^receiver-simulator\ \(ruxogps\)\ [0-9]+\.[0-9]+\.[0-9]+$ ]]'
check "a route's length is printed" \
    '[[ $("$simulator" --waypoints "47,8,10;47.01,8,10" --print-route-length) == 1111.951 ]]'
check "a port that can not be linked is an error" \
    '[[ $("$simulator" --link /nowhere/port 2>/dev/null >/dev/null; echo $?) == 1 ]]'

# --- Files ----------------------------------------------------------------------------------------------

printf '# A note\n\nRun `$HOME/tool` *soon*.\n' >"$folder/notes"
printf '# Receiver: any\n$GPGSV,1,1,00*79\r\nrubbish' >"$folder/sentence"
for option in --recording --check-recording --route; do
    message=$("$simulator" "$option" /nowhere/at/all 2>&1 >/dev/null)
    status=$?
    check "a file for $option that can't be read ends with status 1" '((status == 1))'
    check "and one line" '[[ $message == "receiver-simulator: $option: can'"'t read '/nowhere/at/all'"'" ]]'
done
for option in --recording --check-recording; do
    message=$(timeout 10 "$simulator" "$option" "$folder/notes" 2>&1 >/dev/null)
    status=$?
    check "a file without a sentence is refused by $option" '((status == 1))'
    check "and one line" '[[ $message == *"has no sentence and no UBX frame with a right checksum" ]]'
done
check "what is in a recording is said" \
    '[[ $("$simulator" --check-recording "$folder/sentence") == "1 sentence, 0 frames and 7 unreadable bytes" ]]'

# --- A receiver that has just been switched on -----------------------------------------------------------

start --deaf 60 --port-baud 38400
check "the port has the speed that it was told" '[[ $(state port_baud) == 38400 ]]'
printf 'hello' >"$folder/port"
check "what is written while it is deaf is counted" 'await bytes_from_host 5'
check "and logged as lost" 'grep -q "port=38400 receiver=9600 deaf after its start, lost " "$folder/log"'
stop

# --- A running receiver ---------------------------------------------------------------------------------

echo 1 >"$folder/reset"
start --engine nmea --reset-line "$folder/reset" --start 48.5,9.25,300 --command 'quality 1'
check "it says which port is ready" '[[ $ready == "ready: /dev/pts/"* ]]'
check "the link leads to that port" '[[ "ready: $(readlink "$folder/port")" == "$ready" ]]'
check "it gets a fix" 'await fix 1'
check "with the quality of the command" '[[ $(state quality) == 1 ]]'
check "where it stands" '[[ $(state latitude) == 48.50000000 && $(state longitude) == 9.25000000 ]]'
check "sentences can be read from the port" \
    '[[ $(timeout 10 grep -a -m 1 ^.GNRMC "$folder/port") =~ ^\$GNRMC,.*,A,4830.00000,N,00915.00000,E ]]' # the first may be cut

echo 'nofix' >"$folder/control"
check "a command takes effect" 'await fix 0'
echo 'dance' >"$folder/control"
check "a wrong command is reported in the state" 'await last_command_error "unknown command .dance."'
check "and on the standard error" '[[ $(<"$folder/errors") == "receiver-simulator: unknown command '"'dance'"'" ]]'

printf 'hello' >"$folder/port"
check "what the host writes is counted" 'await bytes_from_host 5'
check "and logged" 'grep -q "port=9600 receiver=9600 received 5 bytes: 68 65 6c 6c 6f$" "$folder/log"'

stty -F "$folder/port" 115200
check "the port's speed is seen" 'await port_baud 115200'
check "the wrong speed brings rubbish" '! timeout 2.5 cat "$folder/port" | grep -a -q RMC'

echo 0 >"$folder/reset"; echo 1 >"$folder/reset"
check "a pulse of the reset line restarts it" 'for try in {1..100}; do grep -q "reset line pulsed" "$folder/log" && break; sleep 0.05; done; grep -q "reset line pulsed" "$folder/log"'

stop
check "a signal ends it cleanly" '[[ $status == 0 ]]'
check "the link is gone" '[[ ! -L $folder/port ]]'
check "the pipe is gone" '[[ ! -p $folder/control ]]'

# --- A capture is played back ---------------------------------------------------------------------------

check "the capture names its receiver" 'head -n 1 "$folder/capture" | grep -q "^# Receiver: simulated u-blox M8$"'
mv "$folder/capture" "$folder/recording"
start --recording "$folder/recording" --playback-speed 100 --quit-at-end --engine nmea --baud 921600
read -r -t 10 playing <&"${RECEIVER[0]}" || playing=
wait "$receiver"
check "a recording ends by itself" '[[ $? == 0 ]]'
receiver=
check "it says first what it plays" '[[ $playing =~ ^playing\ [0-9]+\ sentences,\ 0\ frames\ and\ [0-9]+\ unreadable\ bytes?$ ]]'
check "all of it has been played" 'cmp -s <(grep -av "^#" "$folder/recording") <(grep -av "^#" "$folder/capture")'

((failures == 0)) && echo "all good"
exit $((failures > 0))
