// The handler without memory, and its port when a sequence is left by an exception or a cancelled thread.

#include <functional>
#include <optional>

#include "FailingMemory.h"
#include "HandlerTest.h"

using ::testing::AnyOf;
using ::testing::Optional;

namespace {

const std::string kOpenPort = "fopen /dev/ttymxc1";
const std::string kClosePort = "fclose /dev/ttymxc1";

Bytes dbd(const Bytes& payload) { return ubxFrame(0x13, 0x80, payload); }

/// Frames that need more than a string's own room.
const Bytes kFrames = dbd(Bytes(100, 'a')) + dbd(Bytes(100, 'b')) + dbd(Bytes(100, 'c'));

struct Unwound {}; // as a cancelled thread's stack is

class Memory : public HandlerTest {
protected:
    using Operation = std::function<void(UbxConfigHandler&)>;

    /// The file that each handler finds when it starts.
    Bytes database = kFrames + "000003";

    void newHandler() {
        shutDown();
        unit.port.setDumpFile(database);
        startUp();
        unit.clock.setUtc(VirtualClock::kStartUtc);
    }
    /// Runs `operation` on a new handler without its n-th allocation, and without all from there on, for
    /// every n, and then `check`.
    void lacks(const Operation& operation, const std::function<void()>& check) {
        for (const std::size_t count : {std::size_t{1}, FailingMemory::kForever})
            for (std::size_t n = 1; lacks(operation, n, count); ++n)
                check();
    }
    /// Whether the operation came to its n-th allocation.
    bool lacks(const Operation& operation, std::size_t n, std::size_t count) {
        newHandler();
        const FailingMemory none(n, count);
        operation(*handler);
        return none.hasFailed();
    }
    bool needsNone(const Operation& operation) { return !lacks(operation, 1, FailingMemory::kForever); }

    /// For an operation that opens the port and may append records: the port is closed in the end, and each
    /// record is the one that the operation appends when there is memory.
    void leavesWholeRecords(const Operation& operation) {
        newHandler();
        operation(*handler);
        const std::vector<Record> all = records();
        lacks(operation, [this, &all] {
            EXPECT_FALSE(unit.port.isOpen());
            EXPECT_EQ(member(HandlerSerialPort()), nullptr);
            ASSERT_LE(records().size(), all.size());
            for (std::size_t i = 0; i < records().size(); ++i)
                expectSame(records()[i], all[i]);
        });
    }
    static void expectSame(const Record& left, const Record& right) {
        EXPECT_EQ(left.description, right.description);
        EXPECT_EQ(left.frame, right.frame);
        EXPECT_EQ(left.msgClass, right.msgClass);
        EXPECT_EQ(left.msgId, right.msgId);
    }

    /// What became of a construction.
    enum Outcome { Constructed, Thrown, ConstructedWithout };

    /// Constructs the handler without its allocations from the n-th on, for `count` of them.
    Outcome constructs(std::size_t n, std::size_t count) {
        shutDown();
        place_.reset();
        unit.port.setDumpFile(database);
        unit.forget();
        const FailingMemory none(n, count);
        try {
            place_.emplace();
            return none.hasFailed() ? ConstructedWithout : Constructed;
        } catch (const std::bad_alloc&) {
            return Thrown;
        }
    }
    std::optional<UbxConfigHandler> place_;
};

// --- Life cycle -----------------------------------------------------------------------------------------

TEST_F(Memory, IsReportedByTheConstructorWhichLeavesNothingOpen) {
    int thrown = 0;
    for (const std::size_t count : {std::size_t{1}, FailingMemory::kForever})
        for (std::size_t n = 1; constructs(n, count) == Thrown; ++n, ++thrown) {
            EXPECT_FALSE(unit.port.isOpen());
            EXPECT_EQ(unit.journal.count(kOpenPort), unit.journal.count(kClosePort));
        }
    EXPECT_GT(thrown, 20);
}

TEST_F(Memory, MayLackWhenTheDatabaseIsRestoredAtTheStart) {
    std::size_t n = 1;
    while (constructs(n, FailingMemory::kForever) == Thrown) {
        EXPECT_EQ(unit.journal.count("fopen /data"), 0u);
        ++n;
    }
    for (Outcome outcome = ConstructedWithout; outcome != Constructed; ++n) {
        outcome = constructs(n, 1);
        ASSERT_NE(outcome, Thrown);
        EXPECT_EQ(unit.journal.count("fopen /data"), 1u);
        EXPECT_FALSE(unit.port.isOpen());
    }
}

TEST_F(Memory, MayLackAtTheShutDown) {
    bool failed = true;
    for (std::size_t n = 1; failed; ++n) {
        newHandler();
        unit.port.setDumpFile("old");
        unit.port.receiver = [](const Bytes&) { return kFrames + mgaAck(0x80); };
        {
            const FailingMemory none(n, 1);
            handler.reset();
            failed = none.hasFailed();
        }
        unit.port.receiver = contentReceiver;
        EXPECT_THAT(unit.port.dumpFile(),
                    AnyOf(Optional(Bytes("old")), Optional(Bytes("")), Optional(database)));
        EXPECT_FALSE(unit.port.isOpen());
    }
    EXPECT_THAT(unit.port.dumpFile(), Optional(database));
}

TEST_F(Memory, IsNotNeededForAReset) {
    EXPECT_TRUE(needsNone([](UbxConfigHandler& h) { h.resetConfig(); }));
}

// --- Sequences ------------------------------------------------------------------------------------------

TEST_F(Memory, EndsADumpAndKeepsItsListWhole) {
    leavesWholeRecords([](UbxConfigHandler& h) { h.dumpNavigationDatabase(); });
}

TEST_F(Memory, EndsARestoreAndKeepsItsListWhole) {
    leavesWholeRecords([](UbxConfigHandler& h) { h.restoreNavigationDatabase(); });
}

TEST_F(Memory, EndsAPositionAndKeepsItsListWhole) {
    leavesWholeRecords([](UbxConfigHandler& h) { h.addInitialPosition(1, 2, 3, 4); });
}

TEST_F(Memory, EndsATimeAndKeepsItsListWhole) {
    leavesWholeRecords([](UbxConfigHandler& h) { h.addInitialTime(); });
}

TEST_F(Memory, EndsAReloadAndKeepsItsListWhole) {
    leavesWholeRecords([](UbxConfigHandler& h) { h.reloadConfig(); });
}

TEST_F(Memory, CostsAReloadNoMoreThanTheCommandThatLacksIt) {
    const auto reload = [](UbxConfigHandler& h) { h.reloadConfig(); };
    database = "";
    for (std::size_t n = 1; lacks(reload, n, 1); ++n) {
        EXPECT_GE(unit.port.sent.size(), 4u) << n;
        EXPECT_EQ(unit.journal.count("system echo 1 > "), 1u) << "the receiver's reset is undone";
    }
}

TEST_F(Memory, LeavesAPortCommandUnsentThatTheLineCouldNotFollow) {
    lacks([](UbxConfigHandler& h) { h.sendConfig(0, true, false, false); },
          [this] { EXPECT_EQ(unit.port.sent.size(), unit.journal.count("system timeout")); });
}

TEST_F(Memory, EndsASendConfig) {
    lacks([](UbxConfigHandler& h) { h.sendConfig(-1, false, true, true); },
          [this] { EXPECT_EQ(records().size(), 8u); });
}

// --- Waiting --------------------------------------------------------------------------------------------

class MemoryOfAWait : public Memory {
protected:
    /// Waits for the record `index` on an open port that has `reply`.
    Operation wait(int index, bool dump, const Bytes& reply) {
        return [=](UbxConfigHandler& h) {
            {
                const GroundMemory ground;
                openPort();
                unit.port.arrives(reply);
                addRecord(0x13, 0x80);
            }
            h.waitForAck(static_cast<signed char>(index), dump);
        };
    }
};

TEST_F(MemoryOfAWait, IsNotNeededForAcknowledgements) {
    database = "";
    const Bytes foreign = ackAck(0x0A, 0x0A);
    Bytes replies;
    for (int i = 0; i < 50; ++i)
        replies += foreign + mgaAck(0x77);
    EXPECT_TRUE(needsNone(wait(5, false, replies + mgaAck(0x80))));
    EXPECT_TRUE(records().at(5).acknowledged);
}

TEST_F(MemoryOfAWait, LeavesTheDumpEmptyOrWhole) {
    const Bytes whole = database;
    database = "";
    lacks(wait(5, true, kFrames + mgaAck(0x80)),
          [this, whole] { EXPECT_THAT(unit.port.dumpFile(), AnyOf(Optional(Bytes("")), Optional(whole))); });
    EXPECT_THAT(unit.port.dumpFile(), Optional(whole));
}

// --- Texts ----------------------------------------------------------------------------------------------

TEST_F(Memory, LeavesAFramesTextAsItWas) {
    const std::string frame = "b562134014000100000011223344";
    for (std::size_t n = 1, failed = 1; failed != 0; ++n) {
        std::string out = "before";
        const FailingMemory none(n);
        const bool result = handler->prepareUbxCommandString(frame, out, 0, 0);
        failed = none.hasFailed();
        EXPECT_EQ(result, failed == 0);
        EXPECT_EQ(out == "before", failed != 0);
    }
}

TEST_F(Memory, LeavesAFieldsTextAsItWas) {
    std::string out = "before";
    const FailingMemory none(1);
    handler->littleEndianInt2BigEndianHex(1, out, 100);
    EXPECT_EQ(out, "before");
}

// --- The port -------------------------------------------------------------------------------------------

class Port : public HandlerTest {
protected:
    /// Every pause is where the thread ends.
    Port() {
        unit.port.receiver = silentReceiver;
        unit.clock.afterEachSleep = [](auto) { throw Unwound(); };
    }
    ~Port() override { unit.clock.afterEachSleep = nullptr; }

    template <typename Operation>
    void isClosedAfter(Operation operation) {
        unit.forget();
        EXPECT_THROW(operation(), Unwound);
        EXPECT_FALSE(unit.port.isOpen());
        EXPECT_EQ(member(HandlerSerialPort()), nullptr);
        EXPECT_EQ(unit.journal.count(kClosePort), 1u);
    }
};

TEST_F(Port, IsClosedWhereverTheThreadEnds) {
    isClosedAfter([this] { handler->reloadConfig(); });
    isClosedAfter([this] { handler->dumpNavigationDatabase(); });
    isClosedAfter([this] { handler->addInitialPosition(1, 2, 3, 4); });
    isClosedAfter([this] { handler->addInitialTime(); });
}

TEST_F(Port, IsClosedWhenTheThreadEndsInTheConstructor) {
    unit.clock.afterEachSleep = nullptr;
    shutDown();
    unit.forget();
    unit.clock.afterEachSleep = [this](auto) {
        if (unit.port.isOpen())
            throw Unwound();
    };
    EXPECT_THROW(UbxConfigHandler(), Unwound);
    EXPECT_FALSE(unit.port.isOpen());
    EXPECT_EQ(unit.journal.count(kClosePort), 1u);
}

TEST_F(Port, ThatIsOpenStillIsClosedBeforeItIsOpenedAgain) {
    unit.clock.afterEachSleep = nullptr;
    openPort();
    unit.forget();
    handler->addInitialTime();
    EXPECT_EQ(unit.journal.only({kOpenPort, kClosePort}), (Lines{kClosePort, kOpenPort + " rb", kClosePort}));
}

} // namespace
