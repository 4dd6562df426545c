#ifndef READERCYCLE_H
#define READERCYCLE_H

#include "GpsdSession.h"
#include "ReaderBlock.h"

/// Empty cycles since the last restart with which a reader goes on. One more, and an empty wait ends it, and
/// the next GetData restarts everything.
constexpr unsigned int kEmptyCyclesAllowed = 10;

/// One cycle of the reader thread, which calls it until it is to stop: waits up to 5 s for a report and
/// copies it into `block` with `semaphore` held, stamped with the time at which the cycle began; then pauses
/// 50 ms.
///
/// A wait without a report counts as empty in `GPSHAL_RUXO_3::noDataReadCounter`, which is logged; above
/// kEmptyCyclesAllowed it also closes the session and asks the thread to stop. A failed read counts as well,
/// but ends nothing: the copy takes what the record still holds. So a session that isn't connected, or has no
/// memory, comes here some 20 times a second until the restart ends it.
///
/// Nothing is thrown: a log line that finds no memory is lost. A thread that is cancelled meanwhile leaves
/// the semaphore free.
void readOneReport(GpsdSession& session, ReaderBlock& block);

#endif
