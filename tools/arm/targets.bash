# Sourced by the tools of this folder: what is known of each ARM target.
# shellcheck shell=bash
# shellcheck disable=SC2034  # read by those who source this

readonly arm_targets=(armhf armhf-time64 arm64)

# Debian's packages of the target that are built against. Their dependencies follow by themselves.
readonly sysroot_packages=libc6-dev,libstdc++6,libgps-dev,libgtest-dev,libgmock-dev,librapidcheck-dev,\
nlohmann-json3-dev,libtomlplusplus-dev,libncurses-dev

# arm_target NAME: sets what depends on the target, or fails. Debian's ARM of 32 bits counts time with 64 bits from
# trixie on; its compiler lives in that suite, because bookworm's would bring an older C++ library than the sysroot's.
arm_target() {
    case $1 in
        armhf) suite=bookworm architecture=armhf triplet=arm-linux-gnueabihf ;;
        armhf-time64) suite=trixie architecture=armhf triplet=arm-linux-gnueabihf ;;
        arm64) suite=bookworm architecture=arm64 triplet=aarch64-linux-gnu ;;
        *) return 1 ;;
    esac
}

# check_suite TARGET: a newer suite's compiler brings its newer C++ library, which the system root of an older one can't
# load.
check_suite() {
    local codename
    codename=$(. /etc/os-release && echo "${VERSION_CODENAME-}")
    [[ $codename == "$suite" ]] || fail "$1 needs the cross compiler of Debian's $suite, and this is ${codename:-no Debian}"
}
