#!/bin/bash
# The program as a user meets it: options, port, control pipe, state, capture, reset line, end.
#
#   program_test.sh PATH/TO/receiver-simulator
# shellcheck disable=SC2016,SC2034  # the checks are texts that `check` evaluates, their variables included
set -u

simulator=$1
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
check "and one line" '[[ $message == "receiver-simulator: unknown option '"'--colour'"', see --help" ]]'
check "help lists options and commands" '[[ $("$simulator" --help) == *--recording*nosatellites* ]]'
check "a route's length is printed" \
    '[[ $("$simulator" --waypoints "47,8,10;47.01,8,10" --print-route-length) == 1111.951 ]]'
check "a port that can not be linked is an error" \
    '[[ $("$simulator" --link /nowhere/port 2>/dev/null >/dev/null; echo $?) == 1 ]]'

# --- A running receiver ---------------------------------------------------------------------------------

echo 1 >"$folder/reset"
start --engine nmea --reset-line "$folder/reset" --start 48.5,9.25,300 --command 'quality 1'
check "it says which port is ready" '[[ $ready == "ready: /dev/pts/"* ]]'
check "the link leads to that port" '[[ "ready: $(readlink "$folder/port")" == "$ready" ]]'
check "it gets a fix" 'await fix 1'
check "with the quality of the command" '[[ $(state quality) == 1 ]]'
check "where it stands" '[[ $(state latitude) == 48.50000000 && $(state longitude) == 9.25000000 ]]'
check "sentences can be read from the port" \
    '[[ $(timeout 10 grep -a -m 1 RMC "$folder/port") =~ ^\$GNRMC,.*,A,4830.00000,N,00915.00000,E ]]'

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
wait "$receiver"
check "a recording ends by itself" '[[ $? == 0 ]]'
receiver=
check "all of it has been played" 'cmp -s <(grep -av "^#" "$folder/recording") <(grep -av "^#" "$folder/capture")'

((failures == 0)) && echo "all good"
exit $((failures > 0))
