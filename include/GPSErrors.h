#ifndef GPSERRORS_H
#define GPSERRORS_H

/// \file
/// Result codes. Every operation that can fail returns an unsigned 32-bit code: 0 for success, or one of
/// these. Codes of the platform (from the antenna query) are handed on unchanged, and so are the codes that
/// an application's `IGPSCallback` returns.

/// The receiver failed to initialise, is not active after it, or is not running after a start; the adapter's
/// lock could not be taken or given back; the system time could not be read; there was no memory for
/// the platform's answer to the antenna query, or for the text of `OnAntennaStateChanged`.
const unsigned int GPS_ERR_FAILED = 0x17000001u;

/// The object is not in the state that the call needs: a start before initialisation, or a query of a driver
/// that was not started, or was stopped.
const unsigned int GPS_ERR_NOT_RUNNING = 0x17000002u;

/// There is nobody to call or to ask: no callback is registered, the platform's HAL is missing, or the
/// worker's start token could not be taken.
const unsigned int GPS_ERR_NOT_AVAILABLE = 0x17000003u;

/// There is no valid position to check a configured geofence with.
const unsigned int GPS_ERR_INVALID_POSITION = 0x17000021u;

/// The worker's thread could not be created or cancelled.
const unsigned int GPS_ERR_THREAD = 0x17000101u;

/// The value that the call needs has not come from gpsd within the last 10 seconds.
const unsigned int GPS_ERR_NO_CURRENT_DATA = 0x17000205u;

#endif
