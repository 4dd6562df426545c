#ifndef HAYSTACKS_H
#define HAYSTACKS_H

#include <array>
#include <vector>

/// What the configuration handler's pattern search goes through, and who searches, for `counts` and `times`
/// alike. The same bytes at each run and on each machine.

using Bytes = std::vector<unsigned char>;

/// A read buffer, 5,000 bytes.
struct Haystack {
    const char* name;
    Bytes bytes;
};

/// zeros      an idle line
/// nmea       sentences
/// noise      each byte as likely as any other
/// frames     what a receiver sends while its database is saved: database frames, a solution, answers
/// refusals   nothing but UBX-ACK-NAK, the shortest frames: each tenth byte is a beginning that leads nowhere
const std::array<Haystack, 5>& haystacks();

/// A search that takes and gives what `findInBinary` does: the last position at which the needle fits is left
/// out.
struct Searcher {
    const char* who;
    int (*find)(const Bytes& haystack, const Bytes& needle, unsigned int start);
};
const std::array<Searcher, 3>& searchers(); ///< "ours", "memmem" and "std-search"

/// Every position of each header that the handler looks for: of ACK-ACK, of MGA-ACK, of a database frame.
/// Gives how many there are.
unsigned int searchAll(const Searcher& searcher, const Bytes& haystack);

/// Whether all searchers find the same positions in all haystacks.
bool hitsAreTheSame();

/// The first position of ACK-ACK's and of MGA-ACK's header, added up: what is looked for in each read of a
/// wait.
int searchForAcknowledgements(const Searcher& searcher, const Bytes& haystack);

#endif
