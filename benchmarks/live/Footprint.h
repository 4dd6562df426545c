#ifndef FOOTPRINT_H
#define FOOTPRINT_H

/* What a process of the footprint's measurement tells of itself. For C and C++ alike: the clients are both.
 */

#include <malloc.h>
#include <stdio.h>

/* "heap BYTES reports NUMBER": the heap in use, and the reports read so far. */
static inline void tellFootprint(unsigned long reports) {
    const struct mallinfo2 heap = mallinfo2();
    printf("heap %lu reports %lu\n", (unsigned long)(heap.uordblks + heap.hblkhd), reports);
    fflush(stdout);
}

#endif
