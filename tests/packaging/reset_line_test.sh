#!/bin/bash
# export-reset-line, on a virtual unit whose /sys is its own: a kernel is played that gives the line when it is asked.
#
#   reset_line_test.sh REPOSITORY
# shellcheck source-path=SCRIPTDIR source=../support/checks.bash
set -u

repository=$1
. "$repository/tests/support/checks.bash"

if [[ ${2-} != inside ]]; then
    exec "$repository/tools/virtual-unit" --no-receiver -- "$0" "$repository" inside
fi

failed=
gpio=/sys/class/gpio
export_line() { "$repository/packaging/systemd/export-reset-line" "$@" 2>&1; }

play_kernel() {
    until grep -qs 93 "$gpio/export"; do
        sleep 0.01
    done
    sleep 0.3 # udev's time
    mkdir "$gpio/gpio93"
    echo in >"$gpio/gpio93/direction"
    echo 0 >"$gpio/gpio93/value"
}

rm -r "$gpio/gpio93"
output=$(export_line)
expect "without GPIOs in the kernel it fails" test $? = 1
expect "and says so" contains "$output" "is CONFIG_GPIO_SYSFS in the kernel?"

: >"$gpio/export"
play_kernel &
export_line "$(id -g)"
expect "the line is asked for and awaited" test $? = 0
wait
expect "it is an output, and high at once" equal "$(cat "$gpio/gpio93/direction")" high
expect "the group may write to it" equal "$(stat -c %A "$gpio/gpio93/value" | cut -c 5-7)" rw-

echo out >"$gpio/gpio93/direction"
: >"$gpio/export"
expect "a second time is no failure" export_line
expect "nothing is asked for again" equal "$(cat "$gpio/export")" ""
expect "a line that is an output stays as it is" equal "$(cat "$gpio/gpio93/direction")" out
[[ -z $failed ]]
