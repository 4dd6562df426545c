#ifndef RESTOREMODEL_H
#define RESTOREMODEL_H

#include <functional>

#include "AckModel.h"

/// The navigation database goes back to the receiver: from the file's bytes to what is written and logged.
class RestoreModel {
public:
    /// `written` gets each frame's text as it goes out.
    RestoreModel(AckModel& wait, std::function<void(const std::string&)> written)
        : wait_(wait), written_(std::move(written)) {}

    void restore(const std::string& file) {
        if (file.size() < 6) {
            wait_.log.push_back("6 Navigation database dump file is empty");
            return;
        }
        file_ = file;
        total_ = totalOf(file.substr(file.size() - 6));
        for (std::size_t pass = 1; pass == 1 || pass <= file.size() - 2; ++pass)
            takeAPair(pass);
        wait_.log.push_back("6 UBXConfig: Restoring navigation database completed, " +
                            std::to_string(wait_.used) + " MGA messages used, " +
                            std::to_string(wait_.notUsed) + " MGA messages not used, " +
                            std::to_string(wait_.used + wait_.notUsed) + " MGA messages received in total");
    }

private:
    static std::string totalOf(const std::string& trailer) {
        const std::string text = trailer.substr(0, trailer.find('\0'));
        const std::size_t begin = text.find_first_not_of('0');
        return begin == std::string::npos ? "" : text.substr(begin);
    }
    static std::string hexOf(unsigned int byte, bool padded) {
        char text[3];
        snprintf(text, sizeof text, padded ? "%02x" : "%x", byte & 0xFFu);
        return text;
    }

    bool isAtEnd() const { return at_ >= file_.size(); }
    /// Behind the file's end come zeros.
    unsigned int next() { return isAtEnd() ? 0 : static_cast<unsigned char>(file_[at_++]); }

    void takeAPair(std::size_t pass) {
        if (!isAtEnd())
            first_ = next();
        if (!isAtEnd())
            second_ = next();
        if (first_ == 0xB5 && second_ == 0x62)
            takeAFrame(pass);
    }
    void takeAFrame(std::size_t pass) {
        AckModel::Record record;
        record.msgClass = static_cast<uint8_t>(next());
        record.msgId = static_cast<uint8_t>(next());
        const unsigned int low = next();
        const unsigned int high = next();
        std::string text = "b562" + hexOf(record.msgClass, false) + hexOf(record.msgId, false) +
                           hexOf(low, true) + hexOf(high, true);
        for (unsigned int i = 0; i < low + 256 * high; ++i)
            text += hexOf(next(), true);
        const unsigned int a = next();
        const unsigned int b = next();
        finish(text, a, b, record.frame);
        record.description =
            "UBXConfig: Restoring navigation database (" + std::to_string(pass) + " of " + total_ + ")";
        wait_.records.push_back(record);
        send(std::to_string(pass) == total_);
    }
    /// The text as it is written, with the checksum that it should have; a wrong one is told.
    void finish(const std::string& text, unsigned int a, unsigned int b, std::string& frame) {
        unsigned int sum = 0, sumOfSums = 0;
        for (std::size_t i = 0; i < text.size(); i += 2) {
            const std::string pair = text.substr(i, 2);
            frame += "\\x" + pair;
            if (i < 4)
                continue;
            sum = (sum + static_cast<unsigned int>(std::stoul(pair, nullptr, 16))) % 256;
            sumOfSums = (sumOfSums + sum) % 256;
        }
        frame += "\\x" + hexOf(sum, false) + "\\x" + hexOf(sumOfSums, false);
        if ((a != 0 || b != 0) && (a != sum || b != sumOfSums))
            wait_.log.push_back("3 Checksum error: Failed to restore one part of the navigation database");
    }

    /// The number of the last record has eight bits and a sign.
    void send(bool logs) {
        const auto last = static_cast<unsigned int>(wait_.records.size() - 1) % 256;
        const int index = last < 128 ? static_cast<int>(last) : static_cast<int>(last) - 256;
        if (index < -1)
            return;
        if (index >= 0)
            write(static_cast<std::size_t>(index), logs);
        else
            for (std::size_t i = 1; i < wait_.records.size(); ++i)
                write(i, logs);
        wait_.wait(index);
    }
    void write(std::size_t index, bool logs) {
        if (logs)
            wait_.log.push_back("6 " + wait_.records[index].description);
        written_(wait_.records[index].frame);
    }

    AckModel& wait_;
    std::function<void(const std::string&)> written_;
    std::string file_;
    std::string total_;
    std::size_t at_ = 0;
    unsigned int first_ = 0;
    unsigned int second_ = 0;
};

#endif
