#ifndef RECEIVERSEQUENCE_H
#define RECEIVERSEQUENCE_H

#include <string>
#include <vector>

#include "Calls.h"

/// What a sequence of the receiver's configuration consists of: shell commands, pauses, and waits for
/// acknowledgements, which are reads of the port with a pause between each two.

/// One acknowledgement (ACK-ACK) of a wait: whole in one read, cut by two, or not there.
struct Answer {
    std::string name; ///< of the command, such as CFG-PRT
    bool came = false;
    std::size_t firstRead = 0;       ///< counted from 0: the read with its first byte
    std::size_t lastRead = 0;        ///< the read with the last byte that matters
    std::size_t bytesInFirst = 0;    ///< how many of its bytes the first of them brought
    std::size_t bytesThatMatter = 0; ///< header, class and id: the checksum isn't looked at

    bool isWhole() const { return came && firstRead == lastRead; }
};

struct AckWait {
    double begin = 0;                  ///< of its first read
    double end = 0;                    ///< of its last one
    std::vector<std::string> commands; ///< the shell commands that wrote what is awaited
    std::vector<std::string> reads;    ///< what each read brought
    std::size_t stepsByTheLine = 0;    ///< see below

    std::vector<Answer> answers() const;
    std::size_t stepsTaken() const { return reads.empty() ? 0 : reads.size() - 1; }
    /// The pauses after which all the answers had come to the port, as the reads show: each takes all that is
    /// there. All of them where an answer never came.
    std::size_t stepsByTheReads() const;
    /// An answer was cut or lost, so the library waits in vain.
    bool missesAnAnswer() const;
};

struct ReceiverSequence {
    double shell = 0;    ///< seconds in shell commands
    double pauses = 0;   ///< seconds asked for, without those between reads
    double lateness = 0; ///< by which all pauses ended late
    std::size_t shellCalls = 0;
    std::vector<AckWait> waits;

    std::size_t stepsTaken() const;
    std::size_t stepsByTheReads() const;
    /// If nothing else were on the line: from when the receiver heard each command, by its own log, the time
    /// that it takes to answer, and the answer's bytes at the line's speed. Knows nothing of what was read.
    std::size_t stepsByTheLine() const;
    /// What the described sequence takes: commands as long as they took in this run, pauses as long as asked
    /// for, and in each wait the fewer of these two numbers of steps.
    double limit() const;
    bool missesAnAnswer() const;
};

/// The sequence that `thread` went through between these moments.
ReceiverSequence receiverSequence(const calls::Calls& calls, pthread_t thread, double begin, double end);

/// A line for each answer that was cut or lost, for people.
std::string explanation(const ReceiverSequence& sequence);

#endif
