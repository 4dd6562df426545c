// Random replies, whole, cut and out of place, against a model of the wait for them.

#include "HandlerGround.h"

namespace {

/// Bytes on the line.
struct Piece {
    enum Kind { Ack, MgaAck, Nak, Frame, Header, Junk, Zeros };
    int kind = Junk;
    int record = 0; ///< which one it names; beyond the list: an unknown one
    int detail = 0;
    int missing = 0; ///< bytes cut off at the end
};

std::ostream& operator<<(std::ostream& out, const Piece& p) {
    return out << "{" << p.kind << ", " << p.record << ", " << p.detail << ", " << p.missing << "}";
}

struct Wait {
    int index = -1;
    bool dumps = false;
    int failingOpens = 0; ///< of the dump file
    uint32_t bufferSize = 5000;
    uint32_t mostReads = 3;
    std::vector<std::pair<int, int>> more;    ///< records: class and id
    std::vector<bool> acknowledged;           ///< which are so already
    std::vector<std::vector<Piece>> arrivals; ///< a vector in front of each read
};

std::ostream& operator<<(std::ostream& out, const Wait& w) {
    out << "{" << w.index << ", " << w.dumps << ", " << w.failingOpens << ", " << w.bufferSize << ", "
        << w.mostReads << ", ";
    rc::show(w.more, out);
    rc::show(w.acknowledged, out);
    rc::show(w.arrivals, out);
    return out << "}";
}

rc::Gen<Piece> pieces() {
    using P = Piece;
    return rc::gen::build<P>(
        rc::gen::set(&P::kind, rc::gen::weightedElement<int>({{6, P::Ack},
                                                              {6, P::MgaAck},
                                                              {1, P::Nak},
                                                              {4, P::Frame},
                                                              {1, P::Header},
                                                              {2, P::Junk},
                                                              {1, P::Zeros}})),
        rc::gen::set(&P::record, from(0, 9)), rc::gen::set(&P::detail, from(0, 11)),
        rc::gen::set(&P::missing, rc::gen::weightedOneOf<int>(
                                      {{5, rc::gen::just(0)}, {1, rc::gen::just(1)}, {1, from(1, 12)}})));
}

rc::Gen<Wait> waits() {
    using W = Wait;
    return rc::gen::build<W>(
        rc::gen::set(&W::index, rc::gen::weightedOneOf<int>(
                                    {{2, rc::gen::just(-1)}, {4, from(0, 8)}, {1, from(-128, 127)}})),
        rc::gen::set(&W::dumps, rc::gen::arbitrary<bool>()),
        rc::gen::set(&W::failingOpens, rc::gen::weightedElement<int>({{6, 0}, {1, 1}, {1, 2}})),
        rc::gen::set(&W::bufferSize,
                     rc::gen::weightedOneOf<uint32_t>({{1, rc::gen::just(5000u)}, {3, from(1u, 90u)}})),
        rc::gen::set(&W::mostReads, from(1u, 6u)),
        rc::gen::set(&W::more, historyOf(rc::gen::pair(rc::gen::element(0x13, 0x06, 0x00),
                                                       rc::gen::element(0x80, 0x40, 0x17, 0x00, 0x05)),
                                         4)),
        rc::gen::set(&W::acknowledged, rc::gen::container<std::vector<bool>>(9, rc::gen::arbitrary<bool>())),
        rc::gen::set(&W::arrivals, historyOf(historyOf(pieces(), 8), 6)));
}

class AckWait : public HandlerGround {
public:
    explicit AckWait(const Wait& wait) : wait_(wait) {
        for (const auto& more : wait.more)
            addRecord(static_cast<uint8_t>(more.first), static_cast<uint8_t>(more.second));
        for (std::size_t i = 0; i < records().size(); ++i)
            records()[i].acknowledged = wait.acknowledged[i];
        adopt();
        model.acknowledgedCount = member(HandlerAcknowledgedCount());
        useBufferOf(wait.bufferSize);
        limitReadsTo(wait.mostReads);
        unit.port.setDumpFile("of old");
        unit.port.openFails("/data/NavigationDatabaseDump", wait.failingOpens);
        openPort();
    }

    void run() {
        unit.forget();
        Bytes dump = wait_.failingOpens == 0 ? "" : "of old";
        arrive(0, [this](const Bytes& bytes) { unit.port.arrives(bytes); });
        arrive(0, [this](const Bytes& bytes) { model.line += bytes; });
        waitFor();
        waitInTheModel(dump);
        compare();
        RC_ASSERT(unit.port.dumpFile() == (wait_.dumps && wait_.failingOpens < 2 ? dump : untouched()));
        RC_ASSERT(unit.journal.count("usleep 21701") + 1 == static_cast<std::size_t>(unit.port.reads));
    }

private:
    static Bytes untouched() { return "of old"; }

    void waitFor() {
        std::size_t pause = 0;
        unit.clock.afterEachSleep = [this, &pause](VirtualClock::Duration) {
            arrive(++pause, [this](const Bytes& bytes) { unit.port.arrives(bytes); });
        };
        handler->waitForAck(static_cast<signed char>(wait_.index), wait_.dumps);
        unit.clock.afterEachSleep = nullptr;
    }
    void waitInTheModel(Bytes& dump) {
        if (wait_.dumps && wait_.failingOpens == 2)
            model.log.push_back("3 Failed to open device for storing navigation database dump");
        std::size_t pause = 0;
        model.atPause = [this, &pause] {
            arrive(++pause, [this](const Bytes& bytes) { model.line += bytes; });
        };
        model.wait(wait_.index, wait_.dumps ? &dump : nullptr);
    }

    template <typename Taker>
    void arrive(std::size_t pause, Taker taker) {
        Bytes all;
        if (pause < wait_.arrivals.size())
            for (const Piece& piece : wait_.arrivals[pause])
                all += bytesOf(piece);
        taker(all);
    }
    Bytes bytesOf(const Piece& piece) const {
        const Bytes whole = wholeBytesOf(piece);
        const auto missing = static_cast<std::size_t>(piece.missing);
        return whole.substr(0, whole.size() - std::min(missing, whole.size()));
    }
    Bytes wholeBytesOf(const Piece& piece) const {
        // Most frames are of the record that is waited for: what a poll brings.
        const bool isPolled = piece.kind == Piece::Frame && piece.record > 1 && wait_.index >= 0;
        const auto record = static_cast<std::size_t>(isPolled ? wait_.index : piece.record);
        const bool isKnown = record < model.records.size();
        const uint8_t msgClass = isKnown ? model.records[record].msgClass : uint8_t{0x0A};
        const uint8_t msgId = isKnown ? model.records[record].msgId : uint8_t{0x0A};
        const auto detail = static_cast<uint8_t>(piece.detail);
        switch (piece.kind) {
        case Piece::Ack:
            return ackAck(msgClass, msgId);
        case Piece::MgaAck:
            return mgaAck(msgId, detail % 3, detail / 9, Bytes(4, static_cast<char>('a' + detail)),
                          detail == 11);
        case Piece::Nak:
            return ubxFrame(0x05, 0x00, {static_cast<char>(msgClass), static_cast<char>(msgId)});
        case Piece::Frame:
            return ubxFrame(msgClass, msgId, Bytes(detail, 'f'));
        case Piece::Header:
            return ubxFrame(msgClass, msgId, Bytes(70 * detail, 'f')).substr(0, 6);
        default:
            return Bytes(detail, piece.kind == Piece::Zeros ? '\0' : 'j');
        }
    }

    const Wait wait_;
};

TEST(AckWaitModel, HoldsForAllThatCanArrive) {
    forRandomHistories([] { AckWait(*waits()).run(); });
}

} // namespace
