# Sourced by the shell tools that make a Debian of their own, so that all of them fetch as apt of this host is told to.
#
#   . tools/debian.bash
#   mmdebstrap ... --aptopt="$(debian_fetching)" "$suite" "$target" "$(debian_mirror "$suite")"
# shellcheck shell=bash

# debian_mirror SUITE: the one line of a sources.list. The host's mirror of Debian; where it has none, Debian's own.
debian_mirror() {
    local uri
    uri=$(apt-get indextargets --format '$(ORIGIN) $(LABEL) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' 2>/dev/null |
        sed -n 's/^Debian Debian main //p' | head -n 1)
    echo "deb ${uri:-http://deb.debian.org/debian/} $1 main"
}

# How the host fetches: proxies, time-outs, dates. What it makes of the lists is its own affair.
debian_fetching() {
    apt-config dump Acquire | grep -Ev '^Acquire(::(IndexTargets|Changelogs|CompressionTypes|cdrom|GzipIndexes)\b.*)? '
    local scheme proxy
    for scheme in http https; do
        proxy=${scheme}_proxy
        [[ -z ${!proxy-} ]] || echo "Acquire::$scheme::Proxy \"${!proxy}\";"
    done
}
