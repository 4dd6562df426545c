# What a unit gets besides the library and its tools: the wrapper for `timeout -t` in a folder of its own, to be put in
# front of the service's PATH, and examples for udev and systemd. The examples name /usr/libexec/ruxogps: whoever
# installs elsewhere changes them as they are put in place.

install(PROGRAMS packaging/timeout/timeout
    DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/ruxogps/bin COMPONENT tools)
install(PROGRAMS packaging/systemd/export-reset-line
    DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/ruxogps COMPONENT tools)
install(FILES
        packaging/systemd/ruxogps-reset-line.service
        packaging/systemd/ruxogps-example.service
        packaging/systemd/ruxogps.sysusers.conf
        packaging/systemd/ruxogps.tmpfiles.conf
        packaging/udev/60-ruxogps.rules
    DESTINATION ${CMAKE_INSTALL_DATADIR}/ruxogps/examples COMPONENT tools)
