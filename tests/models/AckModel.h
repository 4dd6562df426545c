#ifndef ACKMODEL_H
#define ACKMODEL_H

#include <array>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// A wait for acknowledgements: what it makes of the bytes that arrive.
class AckModel {
public:
    struct Record {
        uint8_t msgClass = 0;
        uint8_t msgId = 0;
        bool acknowledged = false;
        std::string description;
        std::string frame; ///< as it is written
    };

    std::vector<Record> records;
    std::size_t bufferSize = 5000;
    unsigned int mostReads = 276;
    uint32_t acknowledgedCount = 0;
    uint32_t used = 0;
    uint32_t notUsed = 0;
    std::array<uint8_t, 4> payloadStart{};

    std::string line;              ///< what has arrived and was not read
    std::function<void()> atPause; ///< more may arrive meanwhile
    std::vector<std::string> log;  ///< "6 text"
    unsigned int reads = 0;

    /// Waits for one record, or with -1 for all; a `dump` gets the frames that lie in front of a reply.
    void wait(int index, std::string* dump = nullptr) {
        unsigned int frames = 0;
        for (unsigned int pass = 1;; ++pass) {
            read();
            if (dump != nullptr && index >= 0 && static_cast<std::size_t>(index) < records.size())
                frames += collect(records[static_cast<std::size_t>(index)], *dump);
            if (isOver(index) || pass >= mostReads)
                break;
            if (atPause)
                atPause();
        }
        if (dump != nullptr)
            *dump += trailer(frames);
    }

private:
    static std::string trailer(unsigned int frames) {
        const std::string digits = std::to_string(frames);
        return digits.size() >= 6 ? digits : std::string(6 - digits.size(), '0') + digits;
    }

    void read() {
        ++reads;
        buffer_ = line.substr(0, bufferSize);
        line.erase(0, buffer_.size());
        buffer_.resize(bufferSize, '\0');
    }
    /// Behind the buffer there are zeros.
    uint8_t byteAt(int position) const {
        const auto at = static_cast<std::size_t>(position);
        return at < buffer_.size() ? static_cast<uint8_t>(buffer_[at]) : uint8_t{0};
    }
    /// The last place where it could stand is never looked at.
    int find(const std::string& pattern, int start) const {
        const std::size_t at = buffer_.find(pattern, static_cast<std::size_t>(start));
        const bool isThere = at != std::string::npos && at + pattern.size() < buffer_.size();
        return isThere ? static_cast<int>(at) : -1;
    }
    int findAck(int start) const { return find(std::string("\xb5\x62\x05\x01\x02\x00", 6), start); }
    int findMgaAck(int start) const { return find(std::string("\xb5\x62\x13\x60\x08\x00", 6), start); }

    unsigned int collect(const Record& polled, std::string& dump) const {
        const std::string pattern = {'\xb5', '\x62', static_cast<char>(polled.msgClass),
                                     static_cast<char>(polled.msgId)};
        const int reply = findMgaAck(0);
        unsigned int frames = 0;
        for (int at = find(pattern, 0); at != -1 && (reply == -1 || at < reply); ++frames) {
            const int length = byteAt(at + 4) + 256 * byteAt(at + 5);
            dump += buffer_.substr(static_cast<std::size_t>(at), static_cast<std::size_t>(length) + 8);
            at = find(pattern, at + 7 + length);
        }
        return frames;
    }

    /// Looks at the replies in this buffer, one pair of positions after the other, until it comes back to
    /// one.
    bool isOver(int index) {
        std::set<std::pair<int, int>> visited;
        int ack = findAck(0);
        int mgaAck = findMgaAck(0);
        while ((ack != -1 || mgaAck != -1) && visited.insert({ack, mgaAck}).second) {
            acknowledge(ack, mgaAck);
            if (isSatisfied(index))
                return true;
            ack = findAck(ack + 5);
            mgaAck = findMgaAck(mgaAck + 5);
        }
        return false;
    }
    void acknowledge(int ack, int mgaAck) {
        acknowledgedCount = 0;
        for (Record& record : records) {
            if (!record.acknowledged)
                compare(record, ack, mgaAck);
            acknowledgedCount += record.acknowledged ? 1 : 0;
        }
    }
    void compare(Record& record, int ack, int mgaAck) {
        if (byteAt(ack + 6) == record.msgClass && byteAt(ack + 7) == record.msgId) {
            log.push_back("6 UBXConfig: Acknowledgment has been received for the command: \"" +
                          record.description + "\"");
            record.acknowledged = true;
        } else if (byteAt(mgaAck + 7) == 0 && byteAt(mgaAck + 9) == record.msgId) {
            record.acknowledged = true;
            ++(byteAt(mgaAck + 6) == 1 && byteAt(mgaAck + 8) == 0 ? used : notUsed);
            for (int i = 0; i < 4; ++i)
                payloadStart[static_cast<std::size_t>(i)] = byteAt(mgaAck + 10 + i);
        }
    }
    bool isSatisfied(int index) {
        if (index != -1)
            return index >= 0 && static_cast<std::size_t>(index) < records.size() &&
                   records[static_cast<std::size_t>(index)].acknowledged;
        if (acknowledgedCount != records.size())
            return false;
        log.push_back("6 UBXConfig: All commands have been acknowledged by positioning chip");
        return true;
    }

    std::string buffer_;
};

#endif
