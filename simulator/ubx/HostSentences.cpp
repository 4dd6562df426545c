#include "HostSentences.h"

#include <utility>

#include "simulator/Nmea.h"

namespace simulator {

std::optional<std::string> HostSentences::feed(char byte) {
    constexpr std::size_t kLongest = 256;
    if (byte == '$')
        line_.clear();
    else if (line_.empty() || line_.size() == kLongest)
        return std::nullopt;
    if (byte != '\n' && byte != '\r') {
        line_ += byte;
        return std::nullopt;
    }
    return std::exchange(line_, "");
}

// What it has and the simulator makes nothing of: the u-blox sentences, and polls ("EIGNQ").
std::optional<std::string> complaintAbout(const std::string& sentence) {
    constexpr std::size_t kMakerLength = 4;
    const ParsedSentence parsed = parseSentence(sentence + "\r\n");
    const std::string address = parsed.fieldAt(0);
    const bool isPoll = address.size() == 5 && address.back() == 'Q';
    if (!parsed.valid || address.empty() || address == "PUBX" || isPoll)
        return std::nullopt;
    const bool ofAMaker = address.front() == 'P';
    return ofAMaker ? address.substr(0, kMakerLength) + " inv format" : "NMEA unknown msg";
}

} // namespace simulator
