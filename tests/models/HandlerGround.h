#ifndef HANDLERGROUND_H
#define HANDLERGROUND_H

#include "AckModel.h"
#include "HandlerTest.h"
#include "Histories.h"

/// A handler and the model of its waits, side by side.
class HandlerGround : public HandlerTest {
public:
    void TestBody() override {}

protected:
    HandlerGround() { adopt(); }

    AckModel model;

    /// Gives the model the handler's list.
    void adopt() {
        model.records.clear();
        for (const Record& r : records())
            model.records.push_back({r.msgClass, r.msgId, r.acknowledged, r.description, r.frame});
    }
    /// A buffer of another size, with the same room behind it.
    void useBufferOf(uint32_t size) {
        delete[] member(HandlerReadBuffer());
        member(HandlerReadBuffer()) = new unsigned char[size + 8]();
        member(HandlerReadBufferSize()) = size;
        model.bufferSize = size;
    }
    void limitReadsTo(uint32_t count) { member(HandlerMaxReads()) = model.mostReads = count; }

    void compare() {
        RC_ASSERT(records().size() == model.records.size());
        for (std::size_t i = 0; i < records().size(); ++i) {
            RC_ASSERT(records()[i].acknowledged == model.records[i].acknowledged);
            RC_ASSERT(records()[i].description == model.records[i].description);
            RC_ASSERT(records()[i].frame == model.records[i].frame);
        }
        RC_ASSERT(member(HandlerAcknowledgedCount()) == model.acknowledgedCount);
        RC_ASSERT(used() == model.used);
        RC_ASSERT(notUsed() == model.notUsed);
        const auto& start = member(HandlerMgaAckPayloadStart());
        if (model.used + model.notUsed != 0)
            RC_ASSERT(std::equal(std::begin(start), std::end(start), model.payloadStart.begin()));
        RC_ASSERT(unit.log.texts() == model.log);
        RC_ASSERT(static_cast<unsigned int>(unit.port.reads) == model.reads);
    }
};

#endif
