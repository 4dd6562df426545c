#ifndef FUZZGROUND_H
#define FUZZGROUND_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "AllowedCommands.h"
#include "FuzzInput.h"
#include "HandlerMembers.h"
#include "VirtualUnit.h"

/// Nothing went to the shell but what may.
inline void demandAllowedCommands(const Lines& journal) {
    for (const std::string& line : journal)
        demand(!isCommand(line) || isAllowedCommand(line), line.c_str());
}

/// What the ground and its fakes expect is demanded as well, also outside of a test of GoogleTest.
inline void demandExpectations() {
    class Demand : public ::testing::EmptyTestEventListener {
        void OnTestPartResult(const ::testing::TestPartResult& result) override {
            demand(!result.failed(), result.summary());
        }
    };
    static const bool isSet = [] {
        ::testing::UnitTest::GetInstance()->listeners().Append(new Demand);
        return true;
    }();
    static_cast<void>(isSet);
}

/// A started handler on a virtual unit: nothing reaches the host, and no time passes. Made anew now and then,
/// because the unit counts its sleeps.
class FuzzGround {
public:
    static FuzzGround& fresh() {
        static std::unique_ptr<FuzzGround> ground;
        static unsigned int uses = 0;
        constexpr unsigned int kUsesOfOne = 1000;
        if (uses++ % kUsesOfOne == 0) {
            ground.reset();
            demandExpectations();
            ground = std::make_unique<FuzzGround>();
        }
        ground->begin();
        return *ground;
    }

    /// No hook of the last run lives on while the handler is destroyed, which pauses too.
    ~FuzzGround() { begin(); }

    template <typename Tag>
    auto& member(Tag tag) {
        return handler.*memberOf(tag);
    }
    auto& records() { return member(HandlerRecords()); }

    void openPort() { member(HandlerSerialPort()) = fopen("/dev/ttymxc1", "rb"); }
    void closePort() {
        if (member(HandlerSerialPort()) != nullptr)
            fclose(member(HandlerSerialPort()));
        member(HandlerSerialPort()) = nullptr;
    }

    /// Answers each frame by its first bytes. The port's own receiver would decode all of it, which is most
    /// of the work for a frame of 64 kB.
    void answer(std::function<Bytes(const Bytes& head)> receiver) {
        unit.shell.listeners = {[this, receiver = std::move(receiver)](const std::string& command) {
            constexpr std::size_t kHeadTexts = 40;
            const std::size_t begin = sizeof "echo -e \"" - 1;
            unit.port.arrives(receiver(unescaped(command.substr(begin, kHeadTexts))));
        }};
    }

    /// A buffer of another size, with the same room behind it and not a byte more.
    void useBufferOf(uint32_t size) {
        delete[] member(HandlerReadBuffer());
        member(HandlerReadBuffer()) = new unsigned char[size + kRoomBehind]();
        member(HandlerReadBufferSize()) = size;
    }
    bool roomBehindBufferIsZero() {
        const unsigned char* behind = member(HandlerReadBuffer()) + member(HandlerReadBufferSize());
        return std::all_of(behind, behind + kRoomBehind, [](unsigned char byte) { return byte == 0; });
    }

    VirtualUnit unit;
    UbxConfigHandler handler;

private:
    static constexpr uint32_t kRoomBehind = 8;
    static constexpr std::size_t kConfigurationRecords = 5;

    /// The state behind a start-up, with a short budget.
    void begin() {
        closePort();
        records().resize(kConfigurationRecords);
        for (auto& record : records())
            record.acknowledged = true;
        member(HandlerMgaUsedCount()) = 0;
        member(HandlerMgaNotUsedCount()) = 0;
        member(HandlerMaxReads()) = 3;
        unit.clock.afterEachSleep = nullptr;
        unit.shell.listeners.clear();
        unit.forget();
    }
};

#endif
