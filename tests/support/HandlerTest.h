#ifndef HANDLERTEST_H
#define HANDLERTEST_H

#include <memory>
#include <string>
#include <vector>

#include "HandlerMembers.h"
#include "VirtualUnit.h"

/// The shell command that sets the line up, in full.
inline std::string portSetUp(const std::string& baud) {
    return "system timeout -t 1 stty -F /dev/ttymxc1 " + baud +
           " intr ^- quit ^- erase ^- kill ^- eof ^- eol ^- eol2 ^- swtch ^- start ^- stop ^- susp ^- "
           "rprnt ^- werase ^- lnext ^- flush ^- min 0 time 0 -brkint -icrnl -imaxbel -opost -onlcr -isig "
           "-icanon -iexten -echo -echoe -echok -echoctl -echoke";
}

/// The journal's line of a log line of the handler.
inline std::string logged(int level, const std::string& text) {
    return "log " + std::to_string(level) + " src/GPSHAL_RUXO_3.cpp " + text;
}

/// The journal's line of a frame in escaped form that is written to the port.
inline std::string written(const std::string& frame) {
    return "system echo -e \"" + frame + "\" > /dev/ttymxc1";
}

/// The configuration's commands in sending order, as they are logged and written.
struct ConfigurationText {
    const char* description;
    const char* frame;
};
inline constexpr ConfigurationText kConfigurationTexts[] = {
    {"UBXConfig: Setting baud rate to 115200",
     R"(\xb5\x62\x06\x00\x14\x00\x01\x00\x00\x00\xC0\x08\x00\x00\x00\xC2\x01\x00\x07\x00)"
     R"(\x03\x00\x00\x00\x00\x00\xb0\x7e)"},
    {"UBXConfig: Setting NMEA version to 4.10 extended",
     R"(\xb5\x62\x06\x17\x14\x00\x00\x41\x00\x02\x00\x00\x00\x00\x01\x00\x00\x01\x00\x00)"
     R"(\x00\x00\x00\x00\x00\x00\x76\x63)"},
    {"UBXConfig: Setting GNSS (GPS, Galileo and Glonass)",
     R"(\xb5\x62\x06\x3E\x3c\x00\x00\x20\x20\x07\x00\x08\x10\x00\x01\x00\x01\x01\x01\x03)"
     R"(\x03\x00\x01\x00\x01\x01\x02\x08\x08\x00\x01\x00\x01\x01\x03\x00\x10\x00\x00\x00)"
     R"(\x01\x01\x04\x00\x08\x00\x00\x00\x01\x03\x05\x03\x03\x00\x01\x00\x01\x05\x06\x08)"
     R"(\x0e\x00\x01\x00\x01\x01\x57\x82)"},
    {"UBXConfig: Activating Assisted GPS (NAVX5)",
     R"(\xb5\x62\x06\x23\x28\x00\x00\x00\x00\x04\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00)"
     R"(\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x01\x00\x00\xD2\x00\x00\x00)"
     R"(\x00\x00\x00\x00\x00\x00\x29\x65)"},
    {"UBXConfig: Enable GNSS antenna diagnosis", R"(\xb5\x62\x06\x13\x04\x00\x01\x00\x00\x00\x1e\xd1)"},
};

/// Concatenated journals.
inline Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// A receiver that answers nothing.
inline Bytes silentReceiver(const Bytes&) { return ""; }

/// A handler behind its start-up: five records, all acknowledged, port closed. The receiver acknowledges
/// everything. What the start-up did is forgotten.
class HandlerTest : public UnitTest {
protected:
    using Record = UbxConfigHandler::UbxCommands;

    HandlerTest() { startUp(); }

    /// Puts a new handler in place of one that was shut down.
    void startUp() {
        handler = std::make_unique<UbxConfigHandler>();
        unit.forget();
    }
    void shutDown() { handler.reset(); }

    template <typename Tag>
    auto& member(Tag tag) {
        return (*handler).*memberOf(tag);
    }
    std::vector<Record>& records() { return member(HandlerRecords()); }
    uint32_t used() { return member(HandlerMgaUsedCount()); }
    uint32_t notUsed() { return member(HandlerMgaNotUsedCount()); }

    /// Numbers of the records that are acknowledged.
    std::vector<int> acknowledged() {
        std::vector<int> numbers;
        for (std::size_t i = 0; i < records().size(); ++i)
            if (records()[i].acknowledged)
                numbers.push_back(static_cast<int>(i));
        return numbers;
    }
    void nothingIsAcknowledged() {
        for (Record& record : records())
            record.acknowledged = false;
    }
    void addRecord(unsigned char msgClass, unsigned char msgId) {
        records().push_back({"Extra " + std::to_string(records().size()), R"(\x)" + std::string("ee"),
                             msgClass, msgId, false});
    }
    /// Adds records that no receiver knows until the list holds `count`.
    void fillListTo(std::size_t count) {
        while (records().size() < count)
            addRecord(0xEE, 0xEE);
    }
    /// Opens the port as a sequence does.
    void openPort() { member(HandlerSerialPort()) = fopen("/dev/ttymxc1", "rb"); }

    /// The whole budget of one wait was spent.
    void expectTimeOut() {
        EXPECT_EQ(unit.port.reads, 276);
        EXPECT_EQ(unit.journal.count("usleep 21701"), 275u);
    }

    std::unique_ptr<UbxConfigHandler> handler;
};

#endif
