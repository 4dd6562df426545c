/* The least that a client of libgps in C can do: one session, each report copied into a record of its own. No
 * thread, no watchdog, no log, no events. On SIGUSR1 it tells its heap and its reports. */

#include <gps.h>
#include <signal.h>
#include <string.h>

#include "Footprint.h"

enum { SATELLITES = 235, WAIT_US = 5000000 };

struct snapshot {
    double latitude, longitude, altitude, speed, track;
    int mode, visible, used;
    struct satellite_t satellites[SATELLITES];
};

static struct gps_data_t session;
static struct snapshot snapshot;
static volatile sig_atomic_t asked;

static void onSignal(int number) {
    (void)number;
    asked = 1;
}

static void handleSignal(void) {
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = onSignal;
    sigaction(SIGUSR1, &action, NULL);
}

static void copyReport(void) {
    int i;
    snapshot.latitude = session.fix.latitude;
    snapshot.longitude = session.fix.longitude;
    snapshot.altitude = session.fix.altMSL;
    snapshot.speed = session.fix.speed;
    snapshot.track = session.fix.track;
    snapshot.mode = session.fix.mode;
    snapshot.visible = session.satellites_visible;
    snapshot.used = session.satellites_used;
    for (i = 0; i < session.satellites_visible && i < SATELLITES && i < MAXCHANNELS; ++i)
        snapshot.satellites[i] = session.skyview[i];
}

int main(void) {
    unsigned long reports = 0;
    handleSignal();
    if (gps_open("localhost", "2947", &session) < 0)
        return 1;
    gps_stream(&session, WATCH_ENABLE | WATCH_JSON, NULL);
    for (;;) {
        if (gps_waiting(&session, WAIT_US) && gps_read(&session, NULL, 0) > 0) {
            copyReport();
            ++reports;
        }
        if (asked)
            tellFootprint(reports);
        asked = 0;
    }
}
