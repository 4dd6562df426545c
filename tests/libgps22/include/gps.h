#ifndef LIBGPS22_GPS_H
#define LIBGPS22_GPS_H

/// A stand-in for the client header of gpsd 3.16 (client API 6, soname libgps.so.22), the generation that
/// units have and that no current distribution brings. It is not that header: it declares, in words of its
/// own, what the public documentation says of the interface, as far as this library and its tests look at it.
///
/// What differs from today's generations stands here as it was: `status` beside `fix`, `fix.time` a number of
/// seconds, one altitude, whole degrees in the sky view, `gps_read` with the record alone. The reports that
/// the library never looks at are left out, so neither the record's size nor the place of its last member is
/// the real one's. See ../README.md.

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define GPSD_API_MAJOR_VERSION 6
#define GPSD_API_MINOR_VERSION 1

#define MAXCHANNELS 72   /* satellites that a sky view has room for */
#define GPS_PATH_MAX 128 /* of a device's path, with its closing zero */

typedef double timestamp_t;  /* seconds since the Unix epoch, UTC, with fractions; NaN when not known */
typedef uint64_t gps_mask_t; /* which groups of the record hold something, a bit each */
typedef int socket_t;

/* --- The groups that the library looks at, and one that it doesn't ---------------------------------------
 */

#define TIME_SET (1llu << 2)
#define TIMERR_SET (1llu << 3)
#define LATLON_SET (1llu << 4)
#define ALTITUDE_SET (1llu << 5)
#define SPEED_SET (1llu << 6)
#define TRACK_SET (1llu << 7)
#define CLIMB_SET (1llu << 8)
#define STATUS_SET (1llu << 9)
#define MODE_SET (1llu << 10)
#define DOP_SET (1llu << 11)
#define HERR_SET (1llu << 12)
#define VERR_SET (1llu << 13)
#define SATELLITE_SET (1llu << 15)
#define SPEEDERR_SET (1llu << 16)

/* --- What a client asks for with gps_stream ---------------------------------------------------------- */

#define WATCH_ENABLE 0x000001u /* begin */
#define WATCH_JSON 0x000010u   /* reports as JSON */

/* --- Reports ----------------------------------------------------------------------------------------- */

/** Where and when, and how far off each may be (95 %). */
struct gps_fix_t {
    timestamp_t time;
    int mode;
    double ept;       /* of the time, s */
    double latitude;  /* degrees, positive north */
    double epy;       /* m */
    double longitude; /* degrees, positive east */
    double epx;       /* m */
    double altitude;  /* m; there is but one */
    double epv;       /* m */
    double track;     /* degrees from true north */
    double epd;       /* degrees */
    double speed;     /* m/s */
    double eps;       /* m/s */
    double climb;     /* m/s */
    double epc;       /* m/s */
};

/** Dilutions of precision, NaN where not known. */
struct dop_t {
    double xdop, ydop, pdop, hdop, vdop, tdop, gdop;
};

/** A satellite of the sky view. */
struct satellite_t {
    double ss; /* dB-Hz */
    bool used; /* for the fix */
    short PRN;
    short elevation; /* whole degrees */
    short azimuth;   /* whole degrees */
};

/** The receiver that the report came from. */
struct devconfig_t {
    char path[GPS_PATH_MAX];
    int flags;
    char driver[64];
    char subtype[64];
    double activated;
    unsigned int baudrate;
    unsigned int stopbits;
    char parity;
    double cycle;
    double mincycle;
    int driver_mode;
};

/** A session, and what its last reports left. All zeros before gps_open. */
struct gps_data_t {
    gps_mask_t set;
    timestamp_t online;
    socket_t gps_fd; /* negative when not connected */
    struct gps_fix_t fix;
    double separation;
    int status; /* of the fix, though beside it */
    int satellites_used;
    struct dop_t dop;
    double epe;
    timestamp_t skyview_time;
    int satellites_visible;
    struct satellite_t skyview[MAXCHANNELS];
    struct devconfig_t dev;
    void* privdata; /* libgps's own: the buffer of the connection; null without one */
};

/* --- Calls ------------------------------------------------------------------------------------------- */

/** Connects to the gpsd at host and port. 0; or -1, `errno` and the record's descriptor then being negative
 * and saying why. */
int gps_open(const char* host, const char* port, struct gps_data_t* record);
/** Asks for reports (WATCH_*). 0 or -1. */
int gps_stream(struct gps_data_t* record, unsigned int flags, void* device);
/** Whether a read would not block, waited for up to so many microseconds. */
bool gps_waiting(const struct gps_data_t* record, int timeout_us);
/** Reads one report. Its bytes, 0 for a part of one, -1 when it failed. */
int gps_read(struct gps_data_t* record);
/** Disconnects. 0 or -1. Once. */
int gps_close(struct gps_data_t* record);

#ifdef __cplusplus
}
#endif

#endif
