// Random database files, well-formed, damaged and without end, against a model of their way back to the
// receiver.

#include "HandlerGround.h"
#include "RestoreModel.h"

namespace {

/// A piece of the file.
struct Part {
    enum Kind { Frame, WrongChecksum, NoChecksum, OddFrame, Cut, Junk };
    int kind = Frame;
    int length = 0;
    int detail = 0;
};

std::ostream& operator<<(std::ostream& out, const Part& p) {
    return out << "{" << p.kind << ", " << p.length << ", " << p.detail << "}";
}

struct Database {
    int frames = 0; ///< whole ones, in front of the parts
    std::vector<Part> parts;
    int trailer = 0;
    std::vector<int> replies; ///< of the receiver, in turn
    uint32_t mostReads = 2;
};

std::ostream& operator<<(std::ostream& out, const Database& d) {
    out << d.frames << " frames, ";
    rc::show(d.parts, out);
    out << ", trailer " << d.trailer << ", replies ";
    rc::show(d.replies, out);
    return out << ", " << d.mostReads << " reads";
}

rc::Gen<Part> parts() {
    using P = Part;
    return rc::gen::build<P>(
        rc::gen::set(&P::kind, rc::gen::weightedElement<int>({{8, P::Frame},
                                                              {2, P::WrongChecksum},
                                                              {1, P::NoChecksum},
                                                              {2, P::OddFrame},
                                                              {1, P::Cut},
                                                              {2, P::Junk}})),
        rc::gen::set(&P::length, rc::gen::weightedOneOf<int>({{6, from(0, 20)}, {1, from(0, 300)}})),
        rc::gen::set(&P::detail, from(0, 255)));
}

rc::Gen<Database> databases() {
    using D = Database;
    return rc::gen::build<D>(
        rc::gen::set(&D::frames, rc::gen::weightedOneOf<int>({{40, rc::gen::just(0)}, {1, from(100, 260)}})),
        rc::gen::set(&D::parts, historyOf(parts(), 12)), rc::gen::set(&D::trailer, from(0, 9)),
        rc::gen::set(&D::replies, rc::gen::container<std::vector<int>>(5, from(0, 7))),
        rc::gen::set(&D::mostReads, from(1u, 3u)));
}

Bytes once(const Part& part) {
    const auto detail = static_cast<uint8_t>(part.detail);
    const auto length = static_cast<std::size_t>(part.length);
    Bytes frame = ubxFrame(0x13, 0x80, Bytes(length, static_cast<char>(detail)));
    switch (part.kind) {
    case Part::Frame:
        return frame;
    case Part::WrongChecksum:
        frame.back() = static_cast<char>(frame.back() ^ 1);
        return frame;
    case Part::NoChecksum:
        return frame.substr(0, frame.size() - 2) + Bytes(2, '\0');
    case Part::OddFrame: // class and id below 16, too
        return ubxFrame(detail % 24, detail, Bytes(length, 'x'));
    case Part::Cut:
        return frame.substr(0, std::min<std::size_t>(frame.size(), 1 + detail % 16));
    default:
        return Bytes(length, detail % 2 == 0 ? 'j' : '\0');
    }
}

Bytes trailerOf(int kind, int frames) {
    char digits[16];
    snprintf(digits, sizeof digits, "%06d", frames);
    const Bytes trailers[] = {
        digits, digits, digits, digits, "000000", "000001", "2", "", Bytes("3\0zeros", 7), "abcdef"};
    return trailers[kind];
}

/// A part that runs into the file's end is repeated for as many bytes as the file has: it stays short.
Bytes fileOf(const Database& database) {
    constexpr std::size_t kLongest = 300;
    Bytes parts;
    for (const Part& part : database.parts)
        parts += once(part);
    Bytes file;
    for (int i = 0; i < database.frames; ++i)
        file += ubxFrame(0x13, 0x80, std::to_string(i));
    const auto frames = database.frames + static_cast<int>(database.parts.size());
    return file + parts.substr(0, kLongest) + trailerOf(database.trailer, frames);
}

Bytes replyTo(const Bytes& frame, int kind) {
    const auto id = static_cast<uint8_t>(frame.size() > 3 ? frame[3] : 0);
    const Bytes replies[] = {contentReceiver(frame),
                             contentReceiver(frame),
                             mgaAck(id, 1),
                             mgaAck(id, 0, 1),
                             "",
                             ackAck(0x13, id),
                             "junk" + mgaAck(0x80, 2),
                             mgaAck(id) + ackAck(0x06, 0x17) + mgaAck(id)};
    return replies[kind];
}

class Restore : public HandlerGround {
public:
    explicit Restore(const Database& database) : database_(database), file_(fileOf(database)) {
        limitReadsTo(database.mostReads);
        useBufferOf(128);
        openPort();
        unit.port.setDumpFile(file_);
        model.acknowledgedCount = member(HandlerAcknowledgedCount());
    }

    void run() {
        unit.forget();
        std::size_t frames = 0;
        unit.port.receiver = [&](const Bytes& frame) { return replyTo(frame, nextReply(frames)); };
        handler->restoreNavigationDatabase();
        unit.port.receiver = silentReceiver;
        Lines written;
        std::size_t framesInTheModel = 0;
        RestoreModel restored(model, [&](const std::string& text) {
            written.push_back("system echo -e \"" + text + "\" > /dev/ttymxc1");
            model.line += replyTo(unescaped(text), nextReply(framesInTheModel));
        });
        restored.restore(file_);
        RC_ASSERT(unit.journal.only({"system"}) == written);
        compare();
        RC_ASSERT(unit.port.dumpFile() == file_);
    }

private:
    int nextReply(std::size_t& frames) const {
        return database_.replies[frames++ % database_.replies.size()];
    }

    const Database database_;
    const Bytes file_;
};

TEST(RestoreModel, HoldsForEveryFile) {
    forRandomHistories([] { Restore(*databases()).run(); });
}

} // namespace
