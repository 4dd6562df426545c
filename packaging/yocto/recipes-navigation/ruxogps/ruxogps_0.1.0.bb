SUMMARY = "GPS service of a telematics unit"
DESCRIPTION = "Library that configures a u-blox receiver, runs gpsd and tells an application of position, geofence, \
tracking, availability and antenna events."
SECTION = "libs"
LICENSE = "CLOSED"

# The checkout that this layer stands in is the source; another one is named in local.conf.
inherit externalsrc
EXTERNALSRC ?= "${THISDIR}/../../../.."

inherit cmake pkgconfig systemd useradd

# The recipe that puts the vendor's headers and the four platform libraries into the system root, and the folder where
# include/ and lib/ are then. Both are the integrator's to set.
RUXOGPS_PLATFORM_RECIPE ?= ""
RUXO_PLATFORM ?= "${STAGING_DIR_HOST}${prefix}"

DEPENDS = "gpsd ncurses nlohmann-json tomlplusplus ${RUXOGPS_PLATFORM_RECIPE}"

EXTRA_OECMAKE = "\
    -DRUXO_PLATFORM=${RUXO_PLATFORM} \
    -DRUXOGPS_HOST_TOOLS=OFF \
    -DRUXOGPS_TESTS=OFF \
    -DRUXOGPS_UNIT_TOOLS=ON \
"

# The examples for udev and systemd are put in place, all but the example service: its application is yours.
do_install:append() {
    examples=${D}${datadir}/ruxogps/examples
    install -D -m 0644 $examples/60-ruxogps.rules ${D}${nonarch_base_libdir}/udev/rules.d/60-ruxogps.rules
    install -D -m 0644 $examples/ruxogps.tmpfiles.conf ${D}${nonarch_libdir}/tmpfiles.d/ruxogps.conf
    install -D -m 0644 $examples/ruxogps-reset-line.service ${D}${systemd_system_unitdir}/ruxogps-reset-line.service
    sed -i -e 's,/usr/libexec,${libexecdir},g' ${D}${systemd_system_unitdir}/ruxogps-reset-line.service
    # pkg-config puts the system root in front of every folder, also of the file's own, which lies there already.
    sed -i -e 's,^prefix=.*,prefix=${prefix},' ${D}${libdir}/pkgconfig/*.pc
}

# As the packages of the other packaging: library, development, tools. The host's platform libraries are not built.
PACKAGE_BEFORE_PN = "${PN}-tools"

# Applications that were linked before the library had a version ask for libruxogps.so, so that name belongs to the
# runtime. This is also why dev-so is skipped: it complains of just that.
FILES_SOLIBSDEV = ""
FILES:${PN} = "${libdir}/libruxogps.so*"
INSANE_SKIP:${PN} += "dev-so"

FILES:${PN}-tools = "\
    ${bindir}/ruxogps-check \
    ${bindir}/ruxogps-monitor \
    ${bindir}/ruxogps-report \
    ${libexecdir}/ruxogps \
    ${datadir}/ruxogps \
    ${nonarch_base_libdir}/udev/rules.d \
    ${nonarch_libdir}/tmpfiles.d \
    ${systemd_system_unitdir} \
"

# Run by the library: gpsd, and pidof, kill, killall, stty, sh and timeout, which the image's BusyBox has (or procps,
# psmisc, sysvinit-pidof, coreutils). The tools bring a timeout that takes -t where the system's doesn't.
VIRTUAL-RUNTIME_base-utils ??= "busybox"
RDEPENDS:${PN} = "gpsd ${VIRTUAL-RUNTIME_base-utils}"
RRECOMMENDS:${PN} = "${PN}-tools"
RDEPENDS:${PN}-tools = "${PN}"

USERADD_PACKAGES = "${PN}-tools"
GROUPADD_PARAM:${PN}-tools = "--system ruxogps"
USERADD_PARAM:${PN}-tools = "--system --no-create-home --shell /sbin/nologin --gid ruxogps ruxogps"

SYSTEMD_PACKAGES = "${PN}-tools"
SYSTEMD_SERVICE:${PN}-tools = "ruxogps-reset-line.service"
