#ifndef GPSEXPORT_H
#define GPSEXPORT_H

/// Marks what libruxogps.so shows to others; everything else in it is hidden.
#define RUXOGPS_API __attribute__((visibility("default")))

#endif
