// Constructs a GPSAdapter once, on a virtual unit, and prints how long it took beside what the described
// sequence takes in this run:
//
//   took=1.202 limit=1.200 slow=0 shell=0.052 calls=10 pauses=1.000 steps=6 reads=6 line=6 lateness=0.002
//
// The steps of the read loop: made, needed by what the reads brought, and needed by the line.
// slow=1 where an acknowledgement was cut by two reads or lost, which the standard error then explains.

#include <unistd.h>

#include <cstdio>

#include "Calls.h"
#include "GPSAdapter.h"
#include "ReceiverSequence.h"

int main() {
    needUnit();
    const double begin = calls::now();
    new GPSAdapter(nullptr); // never destroyed: that would poll the navigation database
    const double end = calls::now();
    const ReceiverSequence sequence = receiverSequence(calls::noted(), pthread_self(), begin, end);
    std::printf("took=%.6f limit=%.6f slow=%d shell=%.6f calls=%zu pauses=%.6f steps=%zu reads=%zu "
                "line=%zu lateness=%.6f\n",
                end - begin, sequence.limit(), sequence.missesAnAnswer(), sequence.shell, sequence.shellCalls,
                sequence.pauses, sequence.stepsTaken(), sequence.stepsByTheReads(), sequence.stepsByTheLine(),
                sequence.lateness);
    std::fprintf(stderr, "%s", explanation(sequence).c_str());
    std::fflush(nullptr);
    _exit(0);
}
