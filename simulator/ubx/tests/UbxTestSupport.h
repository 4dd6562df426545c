#ifndef UBXTESTSUPPORT_H
#define UBXTESTSUPPORT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "UbxFrame.h"
#include "UbxIds.h"
#include "UbxPayload.h"
#include "UbxReceiver.h"

/// The vocabulary of the UBX tests: a receiver on virtual time, what it is told and what it said.

namespace simulator {

using namespace std::chrono_literals;

inline std::string text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

/// "\\xb5\\x62" as a shell's echo -e reads it, one-digit escapes included.
inline std::string fromEscapes(const std::string& escaped) {
    std::string bytes;
    for (std::size_t at = escaped.find("\\x"); at != std::string::npos;) {
        const std::size_t next = escaped.find("\\x", at + 2);
        bytes += static_cast<char>(std::stoi(escaped.substr(at + 2, next - at - 2), nullptr, 16));
        at = next;
    }
    return bytes;
}

/// 12 satellites in the sky over Berlin, a corrected 3D fix under way.
inline Epoch goodEpoch() {
    Epoch epoch;
    epoch.utc = UtcTime(std::chrono::seconds(1767225600) + 250ms); // 2026-01-01T00:00:00.250Z
    epoch.timeKnown = true;
    epoch.fix = FixType::ThreeD;
    epoch.quality = 2;
    epoch.position = {52.5, 13.4, 34.0, 44.5};
    epoch.speedMps = 10;
    epoch.courseDeg = 90;
    epoch.horizontalAccuracyM = 2.5;
    epoch.verticalAccuracyM = 4;
    epoch.speedAccuracyMps = 0.3;
    epoch.courseAccuracyDeg = 1;
    epoch.timeAccuracyS = 30e-9;
    epoch.dops = {1.9, 1.7, 1.0, 1.4, 0.9, 0.7, 0.71};
    for (int number = 1; number <= 8; ++number)
        epoch.satellites.push_back({Constellation::Gps, number, 10.0 * number, 40.0 * number, 40, true});
    epoch.satellites.push_back({Constellation::Galileo, 12, 45, 100, 38, true});
    epoch.satellites.push_back({Constellation::Glonass, 9, 30, 200, 35, true});
    epoch.satellites.push_back({Constellation::Sbas, 123, 30, 180, 36, false});
    epoch.satellites.push_back({Constellation::Gps, 30, 5, 359.6, 0, false});
    return epoch;
}

inline Epoch blindEpoch() {
    Epoch epoch;
    epoch.utc = goodEpoch().utc;
    return epoch;
}

class UbxTest : public ::testing::Test {
protected:
    explicit UbxTest(const EngineOptions& options = {}) : receiver(options) {
        receiver.reset(ResetCause::PowerUp, now);
    }

    /// Frames the receiver answered; what stood between them is in `last.outgoing`. Time passes until it has
    /// taken everything.
    std::vector<UbxFrame> tell(const std::string& bytes) {
        last = receiver.receive(bytes, now);
        while (receiver.nextWork() != TimePoint::max())
            wait(receiver.nextWork() - now);
        return answersOf(last);
    }
    /// Time passes; what the receiver says meanwhile joins `last`.
    void wait(Duration duration) {
        now += duration;
        const Reaction more = receiver.work(now);
        last.log.insert(last.log.end(), more.log.begin(), more.log.end());
        last.outgoing.insert(last.outgoing.end(), more.outgoing.begin(), more.outgoing.end());
        last.navigationRestarted |= more.navigationRestarted;
    }
    std::vector<UbxFrame> tell(uint8_t messageClass, uint8_t id, const Bytes& payload = {}) {
        return tell(text(encodeUbx({messageClass, id, payload})));
    }
    std::vector<UbxFrame> configure(uint8_t id, const Bytes& payload) { return tell(ubx::kCfg, id, payload); }
    Bytes poll(uint8_t id, const Bytes& selector = {}) {
        const auto answers = configure(id, selector);
        EXPECT_EQ(answers.size(), 2u) << "a poll brings the block and an acknowledgement";
        return answers.empty() ? Bytes{} : answers.front().payload;
    }
    std::vector<UbxFrame> pass(const Epoch& epoch) {
        now += 1s;
        last = receiver.epoch(epoch, now);
        return answersOf(last);
    }
    void command(const std::vector<std::string>& words) {
        const auto reply = receiver.command(words, now);
        EXPECT_EQ(reply.result, ProtocolEngine::CommandResult::Done) << reply.error;
    }
    void acknowledgeAiding() {
        Bytes payload(40, 0);
        payload[3] = 0x04;
        payload[17] = 1;
        configure(ubx::kCfgNavx5, payload);
    }
    void switchOn(uint8_t navId) { configure(ubx::kCfgMsg, {ubx::kNav, navId, 1}); }

    std::string state(const std::string& key) const {
        for (const KeyValue& line : receiver.state())
            if (line.key == key)
                return line.value;
        return "(no such key)";
    }

    static std::vector<UbxFrame> answersOf(const Reaction& reaction) {
        std::string bytes;
        for (const Outgoing& outgoing : reaction.outgoing)
            bytes += outgoing.bytes;
        return framesIn(bytes);
    }
    static UbxFrame ack(uint8_t id) { return {ubx::kAck, ubx::kAckAck, {ubx::kCfg, id}}; }
    static UbxFrame nak(uint8_t id) { return {ubx::kAck, ubx::kAckNak, {ubx::kCfg, id}}; }
    static std::vector<UbxFrame> only(const UbxFrame& frame) { return {frame}; }

    TimePoint now{};
    UbxReceiver receiver;
    Reaction last;
};

inline void PrintTo(const UbxFrame& frame, std::ostream* out) {
    *out << ubx::name(frame.messageClass, frame.id) << " " << ::testing::PrintToString(frame.payload);
}

} // namespace simulator

#endif
