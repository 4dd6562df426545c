#include "UbxAssistance.h"

#include <algorithm>

#include "UbxIds.h"
#include "UbxPayload.h"
#include "simulator/Constants.h"
#include "simulator/Numbers.h"

namespace simulator {

namespace {

UbxFrame acknowledgement(bool used, uint8_t infoCode, uint8_t id, const Bytes& payloadStart) {
    Bytes payload = PayloadWriter().u1(used ? 1 : 0).u1(0).u1(infoCode).u1(id).bytes();
    payload.insert(payload.end(), payloadStart.begin(), payloadStart.end());
    return {ubx::kMga, ubx::kMgaAckData0, payload};
}

bool soundDate(const PayloadReader& fields) {
    const auto within = [](uint32_t value, uint32_t least, uint32_t most) {
        return least <= value && value <= most;
    };
    return within(fields.u2(4), 1980, 2099) && within(fields.u1(6), 1, 12) && within(fields.u1(7), 1, 31) &&
           fields.u1(8) <= 23 && fields.u1(9) <= 59 && fields.u1(10) <= 60;
}

} // namespace

UbxAssistance::UbxAssistance(uint64_t seed, DatabaseStyle style, EmptyDatabaseReply emptyDatabase)
    : database_(seed, style), emptyDatabase_(emptyDatabase) {}

MgaOutcome UbxAssistance::handle(const UbxFrame& frame, MgaHindrance hindrance) {
    if (frame.id == ubx::kMgaDbd && frame.payload.empty())
        return dump();
    MgaOutcome outcome;
    Info info = Info::UnknownType;
    if (hindrance == MgaHindrance::NotReady)
        info = Info::NotReady;
    else if (frame.id == ubx::kMgaDbd && hindrance == MgaHindrance::NoTime)
        info = Info::NoTime;
    else if (frame.id == ubx::kMgaDbd)
        info = takeRecord(frame.payload);
    else if (frame.id == ubx::kMgaIni)
        info = takeInitial(frame.payload);
    outcome.acknowledgement = acknowledge(frame, info);
    return outcome;
}

MgaOutcome UbxAssistance::dump() const {
    constexpr uint8_t kNothingToSend = 0xFF;
    MgaOutcome outcome;
    for (Bytes& payload : database_.dump())
        outcome.database.push_back({ubx::kMga, ubx::kMgaDbd, std::move(payload)});
    const auto count = static_cast<uint32_t>(outcome.database.size());
    const bool refused = count == 0 && emptyDatabase_ == EmptyDatabaseReply::Refused;
    outcome.acknowledgement = acknowledgement(!refused, refused ? kNothingToSend : 0, ubx::kMgaDbd,
                                              PayloadWriter().u4(count).bytes());
    return outcome;
}

void UbxAssistance::reset() {
    database_.clear();
    position_.clear();
    forgetTime();
    taken_ = 0;
    refused_ = 0;
}

void UbxAssistance::forgetPosition() {
    position_.clear();
    database_.forget({RecordKind::Position});
}

void UbxAssistance::forgetTime() {
    time_.clear();
    leapSecondsKnown_ = false;
}

bool UbxAssistance::positionKnown() const {
    return !position_.empty() || database_.holds(RecordKind::Position);
}

UbxFrame UbxAssistance::acknowledge(const UbxFrame& frame, Info info) {
    const bool used = info == Info::Accepted;
    ++(used ? taken_ : refused_);
    Bytes start = frame.payload;
    start.resize(4, 0);
    return acknowledgement(used, static_cast<uint8_t>(info), frame.id, start);
}

UbxAssistance::Info UbxAssistance::takeRecord(const Bytes& payload) {
    switch (database_.restore(payload)) {
    case StoreResult::Taken:
        return Info::Accepted;
    case StoreResult::WrongSize:
        return Info::BadSize;
    case StoreResult::Damaged:
        return Info::NotStored;
    }
    return Info::NotStored;
}

const std::vector<UbxAssistance::InitialRow>& UbxAssistance::initialRows() {
    static const std::vector<InitialRow> rows = {
        {0x00, 20, &UbxAssistance::takeEcefPosition},  {0x01, 20, &UbxAssistance::takePosition},
        {0x10, 24, &UbxAssistance::takeTime},          {0x11, 24, &UbxAssistance::takeGnssTime},
        {0x20, 12, &UbxAssistance::takeWithoutEffect}, // clock drift
        {0x21, 12, &UbxAssistance::takeWithoutEffect}, // frequency
        {0x30, 72, &UbxAssistance::takeWithoutEffect}, // earth orientation
    };
    return rows;
}

UbxAssistance::Info UbxAssistance::takeInitial(const Bytes& payload) {
    const PayloadReader fields(payload);
    const auto& rows = initialRows();
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const InitialRow& candidate) {
        return candidate.type == fields.u1(0);
    });
    if (payload.size() < 2 || row == rows.end())
        return Info::UnknownType;
    if (fields.u1(1) != 0)
        return Info::BadVersion;
    return payload.size() == row->size ? (this->*row->take)(fields) : Info::BadSize;
}

UbxAssistance::Info UbxAssistance::takePosition(const PayloadReader& fields) {
    constexpr int32_t kRightAngleE7 = 900000000;
    constexpr int32_t kHalfTurnE7 = 1800000000;
    const auto beyond = [](int32_t value, int32_t most) { return value > most || value < -most; };
    if (beyond(fields.i4(4), kRightAngleE7) || beyond(fields.i4(8), kHalfTurnE7))
        return Info::NotStored;
    position_ = formatted("%.7f %.7f %.2f m accuracy %.2f m", fields.i4(4) * 1e-7, fields.i4(8) * 1e-7,
                          fields.i4(12) * 0.01, fields.u4(16) * 0.01);
    return Info::Accepted;
}

UbxAssistance::Info UbxAssistance::takeEcefPosition(const PayloadReader& fields) {
    position_ = formatted("ECEF %.2f %.2f %.2f m accuracy %.2f m", fields.i4(4) * 0.01, fields.i4(8) * 0.01,
                          fields.i4(12) * 0.01, fields.u4(16) * 0.01);
    return Info::Accepted;
}

UbxAssistance::Info UbxAssistance::takeTime(const PayloadReader& fields) {
    constexpr int32_t kLeapSecondsUnknown = -128;
    if (!soundDate(fields))
        return Info::NotStored;
    leapSecondsKnown_ = fields.i1(3) != kLeapSecondsUnknown;
    time_ = formatted("%04u-%02u-%02uT%02u:%02u:%02uZ accuracy %u s leap %d", fields.u2(4), fields.u1(6),
                      fields.u1(7), fields.u1(8), fields.u1(9), fields.u1(10), fields.u2(16), fields.i1(3));
    return Info::Accepted;
}

UbxAssistance::Info UbxAssistance::takeGnssTime(const PayloadReader& fields) {
    if (fields.u4(8) >= kSecondsPerWeek)
        return Info::NotStored;
    time_ = formatted("system %u week %u second %u accuracy %u s", fields.u1(3), fields.u2(6), fields.u4(8),
                      fields.u2(16));
    return Info::Accepted;
}

} // namespace simulator
