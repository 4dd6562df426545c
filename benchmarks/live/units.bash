# Sourced by the scripts that have several virtual units at a time, each of them a job in the background:
#
#   trap 'end_units; rm -rf "$work"' EXIT
# shellcheck shell=bash

# A Ctrl-C doesn't reach what runs in the background.
end_units() {
    jobs -p | xargs -r kill 2>/dev/null
    wait
}
