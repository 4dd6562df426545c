# Sourced by the project's shell tools, so that all of them take options alike: `--opt VALUE` and `--opt=VALUE`, `-h`,
# `--help` and `--version`, and one line and status 2 for whatever is wrong. The tool defines `usage` (prints the help).
#
#   . tools/options.bash
#   read_options "preset:,fresh" "$@"      # as getopt(1) takes long options: a colon where a value follows
#   set -- "${options[@]}"
#   while [[ $1 != -- ]]; do
#       case $1 in
#           --preset) preset=$2; shift 2 ;;
#           --fresh) fresh=1; shift ;;
#       esac
#   done
#   shift                                  # what remains are the operands
# shellcheck shell=bash

readonly exit_usage=2
readonly tool=${0##*/}

wrong_usage() {
    echo "$tool: $1 (--help lists the options)" >&2
    exit "$exit_usage"
}

project_version() {
    sed -n 's/^project(ruxogps VERSION \([0-9.]*\).*/\1/p' "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/../CMakeLists.txt"
}

# Options end at the first operand, which may be a command with options of its own.
read_options() {
    local long=$1 parsed complaint
    shift
    if ! parsed=$(getopt --name "$tool" --options +h --longoptions "help,version${long:+,$long}" -- "$@" 2>/dev/null); then
        complaint=$(getopt --name "$tool" --options +h --longoptions "help,version${long:+,$long}" -- "$@" 2>&1 >/dev/null |
            sed -n "1s/^$tool: //p")
        wrong_usage "$complaint"
    fi
    options=()
    eval "options=($parsed)"
    answer_common_options "$long" "${options[@]}"
}

# Help and version, unless they stand where an option's value stands.
answer_common_options() {
    local long=,$1,
    shift
    while [[ $1 != -- ]]; do
        case $1 in
            -h | --help) usage; exit 0 ;;
            --version) echo "$tool (ruxogps) $(project_version)"; exit 0 ;;
        esac
        [[ $long != *,"${1#--}":,* ]] || shift
        shift
    done
}

# needs_number NAME VALUE ABOVE BELOW: refuses a VALUE that is no decimal number above ABOVE and below BELOW.
needs_number() {
    local range="a number above $3 and below $4"
    [[ $2 =~ ^[0-9]+(\.[0-9]+)?$ ]] || wrong_usage "$1 needs $range, not '$2'"
    awk -v value="$2" -v above="$3" -v below="$4" 'BEGIN { exit !(value > above && value < below) }' ||
        wrong_usage "$1 needs $range, not '$2'"
}

# needs_count NAME VALUE: refuses a VALUE that is no whole number from 1 to 9999.
needs_count() { [[ $2 =~ ^[1-9][0-9]{0,3}$ ]] || wrong_usage "$1 needs a whole number from 1 to 9999, not '$2'"; }
