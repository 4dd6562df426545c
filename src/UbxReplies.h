#ifndef UBXREPLIES_H
#define UBXREPLIES_H

#include <cstdint>
#include <cstdio>
#include <string>

/// What one read of the serial port brought of the receiver's replies. Called by the configuration handler
/// while it waits, on the thread that it runs on.

/// Zero bytes that lie behind a read buffer: what follows a pattern found at its end is read there.
constexpr uint32_t kReadBufferSlack = 8;

/// The first position from `start` on at which `needle` stands in `haystack`, or -1, also for a haystack that
/// is shorter. The last position at which it would fit is never tested. Lengths and positions in bytes.
int findBytes(const unsigned char* haystack, unsigned int haystackLength, const unsigned char* needle,
              unsigned int needleLength, unsigned int start);

/// Database frames as they came, one behind the other, and their number.
struct CollectedFrames {
    std::string bytes;
    uint32_t count = 0;
};

/// A view of a read buffer of `size` bytes and `kReadBufferSlack` more, which stays its owner's. Positions
/// are bytes from its begin; a search that finds nothing gives -1, and goes on from there like from any
/// other.
class UbxReplies {
public:
    UbxReplies(unsigned char* buffer, uint32_t size) : buffer_(buffer), size_(size) {}

    /// Fills the buffer with zeros, those behind it included.
    void clear();

    /// Takes what has arrived at `port`, at most `size` bytes, over the buffer's first ones; the rest stays
    /// as it is. Doesn't wait on a line that was set up (see ReceiverPort.h), and an idle one brings nothing.
    /// A read that fails counts as one that brought nothing.
    void readFrom(FILE* port);

    /// The header of the first UBX-ACK-ACK from `start` on.
    int findAckAck(int start) const;

    /// The header of the first UBX-MGA-ACK-DATA0 from `start` on.
    int findMgaAck(int start) const;

    /// The payload of the message whose header stands at `position`; what begins at byte 5 for -1.
    const unsigned char* payloadOf(int position) const;

    /// Appends the frames of this class and id that lie before the first MGA-ACK to `frames`: each of them
    /// or, without memory for one (std::bad_alloc), those before it. A frame that runs past the buffer's end
    /// is cut there. Its checksum is not looked at.
    void collect(unsigned char msgClass, unsigned char msgId, CollectedFrames& frames) const;

private:
    unsigned char* buffer_;
    uint32_t size_;
};

/// The acknowledgements of one read, two at a time: an ACK-ACK and an MGA-ACK that are looked for side by
/// side. A search that found nothing goes on near the buffer's begin, so acknowledgements may come again
/// while the other search still finds new ones. It ends when both find nothing, or when the pairs only
/// repeat.
class AcknowledgementPair {
public:
    /// The first of each.
    explicit AcknowledgementPair(const UbxReplies& replies);

    /// Whether one of the two was found, and the pairs don't repeat.
    bool isThere() const { return isThere_; }

    /// Looks for the next of each.
    void goOn();

    /// Payload of the ACK-ACK; what begins at byte 5 when there is none.
    const unsigned char* ackAck() const { return replies_.payloadOf(ackAck_); }
    /// Payload of the MGA-ACK; likewise.
    const unsigned char* mgaAck() const { return replies_.payloadOf(mgaAck_); }

private:
    const UbxReplies& replies_;
    int ackAck_; ///< position of its header, or -1
    int mgaAck_; ///< likewise
    bool isThere_;
    int keptAckAck_ = -1; ///< an earlier pair; -1, -1 is none
    int keptMgaAck_ = -1;
    uint32_t steps_ = 0;
    uint32_t nextKept_ = 1; ///< step at which the pair is kept again
};

#endif
