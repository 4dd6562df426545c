#include "UbxFaults.h"

#include <optional>

#include "simulator/Numbers.h"

namespace simulator {

namespace {

using Words = std::vector<std::string>;

constexpr uint32_t kMostMs = 60000;
constexpr uint32_t kMostCount = 1000000;
constexpr uint32_t kMostPosition = 2048;

using Number = std::optional<uint32_t>;

// Reads words[index], or takes `fallback` where it is left out.
Number numberAt(const Words& words, std::size_t index, uint32_t least, uint32_t most, Number fallback) {
    return words.size() <= index ? fallback : parseWhole(words[index], least, most);
}

std::string wrongArguments(const Words& words, const char* form) { return words[0] + " takes " + form + "."; }

std::string applyNormal(UbxFaults& faults, const Words& words) {
    faults = UbxFaults{};
    return words.size() == 1 ? "" : wrongArguments(words, "no arguments");
}

std::string applyCount(uint32_t& target, const Words& words) {
    const Number count = numberAt(words, 1, 0, kMostCount, UbxFaults::kForEver);
    if (words.size() > 2 || !count)
        return wrongArguments(words, "a count from 0 to 1000000, or nothing for all from now on");
    target = *count;
    return "";
}

std::string applyRefuse(UbxFaults& faults, const Words& words) { return applyCount(faults.refusals, words); }

std::string applyRefuseId(UbxFaults& faults, const Words& words) {
    const Number id = numberAt(words, 1, 0, 255, std::nullopt);
    if (words.size() != 2 || !id)
        return wrongArguments(words, "a message's id from 0 to 255");
    faults.refusedId = static_cast<uint8_t>(*id);
    return "";
}

std::string applySilence(UbxFaults& faults, const Words& words) { return applyCount(faults.silences, words); }

std::string applyLate(UbxFaults& faults, const Words& words) {
    const Number ms = numberAt(words, 1, 0, kMostMs, std::nullopt);
    if (words.size() != 2 || !ms)
        return wrongArguments(words, "milliseconds from 0 to 60000");
    faults.lateness = std::chrono::milliseconds(*ms);
    return "";
}

std::string applyFlag(bool& flag, const Words& words) {
    flag = true;
    return words.size() == 1 ? "" : wrongArguments(words, "no arguments");
}

std::string applyOldSpeed(UbxFaults& faults, const Words& words) { return applyFlag(faults.oldSpeed, words); }

std::string applyMixed(UbxFaults& faults, const Words& words) { return applyFlag(faults.mixedBurst, words); }

std::string applyEarlyAck(UbxFaults& faults, const Words& words) { return applyFlag(faults.earlyAck, words); }

std::string applyNoTime(UbxFaults& faults, const Words& words) { return applyFlag(faults.needsTime, words); }

std::string applyNotReady(UbxFaults& faults, const Words& words) {
    return applyCount(faults.notReady, words);
}

std::string applyNoClosingAck(UbxFaults& faults, const Words& words) {
    return applyFlag(faults.noClosingAck, words);
}

std::string applyBetween(UbxFaults& faults, const Words& words) { return applyFlag(faults.between, words); }

std::string applySplit(UbxFaults& faults, const Words& words) {
    constexpr uint32_t kUsualGapMs = 100;
    const Number at = numberAt(words, 1, 1, kMostPosition, std::nullopt);
    const Number gapMs = numberAt(words, 2, 0, kMostMs, kUsualGapMs);
    if (words.size() > 3 || !at || !gapMs)
        return wrongArguments(words, "a number of bytes from 1 to 2048 and perhaps a gap in milliseconds");
    faults.splitAt = *at;
    faults.splitGap = std::chrono::milliseconds(*gapMs);
    return "";
}

std::string applyByteError(std::size_t& position, std::size_t& every, const Words& words) {
    const Number at = numberAt(words, 1, 1, kMostPosition, std::nullopt);
    const Number nth = numberAt(words, 2, 1, kMostCount, 1);
    if (words.size() > 3 || !at || !nth)
        return wrongArguments(words, "a byte's number from 1 to 2048 and perhaps in which n-th answers");
    position = *at;
    every = *nth;
    return "";
}

std::string applyDrop(UbxFaults& faults, const Words& words) {
    return applyByteError(faults.dropAt, faults.faultEvery, words);
}

std::string applyFlip(UbxFaults& faults, const Words& words) {
    return applyByteError(faults.flipAt, faults.faultEvery, words);
}

std::string countText(uint32_t count) { return count == UbxFaults::kForEver ? "all" : std::to_string(count); }

std::string millisecondsText(Duration duration) {
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(duration).count()) + " ms";
}

} // namespace

const std::vector<UbxFaultRow>& ubxFaultRows() {
    static const std::vector<UbxFaultRow> rows = {
        {"ubx-normal", "", "end all faults of the receiver's answers", applyNormal},
        {"ubx-refuse", "[COUNT]", "answer the next COUNT configuration messages (or all) with ACK-NAK",
         applyRefuse},
        {"ubx-refuse-id", "ID", "answer configuration messages of this id with ACK-NAK", applyRefuseId},
        {"ubx-silence", "[COUNT]", "leave the next COUNT frames (or all) without an answer", applySilence},
        {"ubx-late", "MS", "answer MS milliseconds late", applyLate},
        {"ubx-old-speed", "", "acknowledge a change of speed at the speed before it", applyOldSpeed},
        {"ubx-split", "BYTES [GAP_MS]", "pause within each answer after BYTES bytes", applySplit},
        {"ubx-drop", "BYTE [EVERY]", "lose this byte of each answer, or of every EVERY-th", applyDrop},
        {"ubx-flip", "BYTE [EVERY]", "turn a bit over in this byte of each answer, or of every EVERY-th",
         applyFlip},
        {"ubx-mixed", "", "put sentences and acknowledgements between the frames of a database dump",
         applyMixed},
        {"ubx-early-ack", "", "send the acknowledgement of a database dump ahead of its frames",
         applyEarlyAck},
        {"ubx-no-closing-ack", "", "end a database dump without its acknowledgement", applyNoClosingAck},
        {"ubx-no-time", "", "use no record of a database while the time is unknown (info 1)", applyNoTime},
        {"ubx-not-ready", "[COUNT]", "use none of the next COUNT assistance messages, or of all (info 5)",
         applyNotReady},
        {"ubx-between", "", "send answers between the sentences of an epoch, not behind them", applyBetween},
    };
    return rows;
}

std::string describeFaults(const UbxFaults& faults) {
    std::string text;
    const auto add = [&text](bool present, const std::string& fault) {
        text += present ? (text.empty() ? "" : ", ") + fault : "";
    };
    add(faults.refusals != 0, "refuse " + countText(faults.refusals));
    add(faults.refusedId.has_value(), "refuse id " + std::to_string(faults.refusedId.value_or(0)));
    add(faults.silences != 0, "silence " + countText(faults.silences));
    add(faults.lateness.count() != 0, "late " + millisecondsText(faults.lateness));
    add(faults.oldSpeed, "old speed");
    add(faults.splitAt != 0,
        "split after " + std::to_string(faults.splitAt) + " for " + millisecondsText(faults.splitGap));
    add(faults.dropAt != 0, "drop byte " + std::to_string(faults.dropAt));
    add(faults.flipAt != 0, "flip byte " + std::to_string(faults.flipAt));
    add(faults.mixedBurst, "mixed burst");
    add(faults.earlyAck, "early acknowledgement");
    add(faults.noClosingAck, "no closing acknowledgement");
    add(faults.needsTime, "records need time");
    add(faults.notReady != 0, "not ready " + countText(faults.notReady));
    add(faults.between, "answers between sentences");
    return text.empty() ? "none" : text;
}

Bytes damaged(const UbxFaults& faults, Bytes answer, std::size_t count) {
    if (count % faults.faultEvery != 0)
        return answer;
    if (faults.flipAt != 0 && faults.flipAt <= answer.size())
        answer[faults.flipAt - 1] ^= 0x10;
    if (faults.dropAt != 0 && faults.dropAt <= answer.size())
        answer.erase(answer.begin() + static_cast<std::ptrdiff_t>(faults.dropAt - 1));
    return answer;
}

} // namespace simulator
