#ifndef UBXCONFIGHANDLER_H
#define UBXCONFIGHANDLER_H

#include <cstdint>
#include <cstdio>
#include <iosfwd>
#include <string>
#include <vector>

#include "GPSExport.h"

/// Configures the u-blox receiver on the serial port and carries its navigation database across restarts.
///
/// The port must not belong to gpsd meanwhile. Frames are held as text and written by the shell's `echo -e`;
/// the line is set up by `stty`; replies are read from a stream that is open only while a sequence runs.
/// Outcomes live in the records' `acknowledged` flags and in the counters, and stand in the log: nothing is
/// returned. No operation locks, and no two may run at once on one object.
class RUXOGPS_API UbxConfigHandler {
public:
    /// One frame that the receiver gets, and what its acknowledgement must name.
    struct UbxCommands {
        std::string description; ///< logged before the frame is written and when it was acknowledged
        std::string frame;       ///< escaped form with checksum: every byte as backslash, x, hex digits
        unsigned char msgClass;  ///< UBX class that an ACK-ACK names
        unsigned char msgId;     ///< UBX id that an ACK-ACK or MGA-ACK names
        bool acknowledged;       ///< set by waitForAck, cleared by reloadConfig alone
    };

    /// Kills gpsd, resets the receiver (GPIO 93), sets the line up, configures the receiver (CFG-PRT,
    /// CFG-NMEA, CFG-GNSS, CFG-NAVX5, CFG-ANT) and restores its navigation database. Blocks for a second and
    /// more: up to about 6 s for each wait that the receiver leaves unanswered. Ends the process with status
    /// 255 when the line can't be set up.
    UbxConfigHandler();

    /// Saves the receiver's navigation database and sets the local line back to 9600 baud.
    virtual ~UbxConfigHandler();

    UbxConfigHandler(const UbxConfigHandler&) = delete;
    UbxConfigHandler& operator=(const UbxConfigHandler&) = delete;

    /// Resets the receiver and sends every record of the list again, waiting for each by itself (up to about
    /// 6 s a record). gpsd must be down. The navigation database is not restored, but for the frames that an
    /// earlier restore left in the list.
    void reloadConfig();

    /// Empties the object: no records, no buffer, no open port, 9600 baud. Nothing is sent.
    void resetConfig();

    /// Sends commands and waits for their acknowledgement (see waitForAck).
    ///   portSetup          record 0, then the local line follows to `baudRate` (3 tries); `index` is ignored
    ///   index -1           all records but the first, back to back; the wait is for all, the first included
    ///   0 <= index < size  that record
    ///   any other index    nothing happens, and nothing is waited for
    /// `dump` is handed to waitForAck; with `log` each description is logged before its frame is written.
    void sendConfig(signed char index, bool portSetup, bool dump, bool log);

    /// Reads the receiver's replies until the record `index` (-1: every record) is acknowledged by
    /// UBX-ACK-ACK or UBX-MGA-ACK-DATA0, or until the budget of `maxReads` reads, about 6 s, is spent.
    /// Records that replies name meanwhile are marked all the same. Returns at once when no port is open or
    /// no buffer is there (after resetConfig).
    ///
    /// With `dump` the frames of the record's class and id that arrive are stored in the dump file, each as
    /// it lies in the read buffer, with their count in six digits behind them.
    void waitForAck(signed char index, bool dump);

    /// Polls the receiver's navigation database (UBX-MGA-DBD) into the dump file, in place of what it held.
    void dumpNavigationDatabase();

    /// Sends the frames of the dump file back, one by one, each appended to the list. The port must be open.
    void restoreNavigationDatabase();

    /// Sends UBX-MGA-INI-POS_LLH: latitude and longitude in degrees x 1,000,000 (negative ones in two's
    /// complement), altitude in millimetres (negative ones don't come out right), accuracy in centimetres.
    void addInitialPosition(unsigned int latitude, unsigned int longitude, unsigned int altitude,
                            unsigned int accuracy);

    /// Sends UBX-MGA-INI-TIME_UTC with the system's time, unless that lies before 2017.
    void addInitialTime();

    /// Sets `out` to the four bytes of `value`, lowest first, as hex digits. Only to be used with width 8: a
    /// smaller one loses leading zeros.
    void littleEndianInt2BigEndianHex(unsigned int value, std::string& out, unsigned int width);

    /// Appends the frame `hexIn` (hex digits, without checksum) to `out` in escaped form. With `ckA` and
    /// `ckB` both 0 the checksum is appended too and the result is true; otherwise the result tells whether
    /// they are the frame's checksum.
    bool prepareUbxCommandString(const std::string& hexIn, std::string& out, unsigned char ckA,
                                 unsigned char ckB);

    /// The first position from `start` on at which `needle` stands in `haystack`, or -1. The last position at
    /// which it would fit is never tested.
    int findInBinary(unsigned char* haystack, unsigned int haystackLen, unsigned char* needle,
                     unsigned int needleLen, unsigned int start);

private:
    enum class Wait { GoesOn, IsOver, AllAcknowledged };

    void appendRecord(const std::string& description, const std::string& frame, unsigned char msgClass,
                      unsigned char msgId);
    signed char lastIndex() const;
    bool setUpPort(int tries, unsigned int pauseAfterFailure);
    void setUpReceiverLine();
    void openPort();
    void closePort();
    void allocateReadBuffer();
    void freeReadBuffer();
    void clearReadBuffer();
    void writeFrame(const UbxCommands& record, bool log);

    void readReplies();
    template <typename Pattern>
    int findReply(Pattern pattern, int start);
    uint32_t collectDatabaseFrames(std::string& frames, signed char index);
    Wait judgeReplies(signed char index);
    Wait judgeRecords(signed char index) const;
    void recordAcknowledgements(int ackAck, int mgaAck);
    void takeAckAck(UbxCommands& record, int position);
    void takeMgaAck(UbxCommands& record, int position);

    void restoreFrame(std::istream& file, const std::string& number, const std::string& total);
    void sendAssistance(const char* description, const std::string& hexFrame);
    std::string hexField(unsigned int value);

    std::vector<UbxCommands> commandList; ///< in sending order; record 0 is the port command
    std::string devicePath;
    std::string baudRate;                ///< of the local line, decimal
    uint32_t acknowledgedCount;          ///< rebuilt by waitForAck
    FILE* serialPort;                    ///< open only while a sequence runs
    uint32_t readBufferSize;             ///< bytes that are read and searched; the buffer is a little longer
    unsigned char* readBuffer;           ///< owned; null before the first and after the last sequence
    uint32_t readDelayUs;                ///< pause between reads
    uint32_t maxReads;                   ///< reads of one waitForAck
    unsigned char mgaAckPayloadStart[4]; ///< of the last MGA-ACK that named a record
    uint32_t mgaUsedCount;               ///< MGA-ACKs of type 1 with info code 0
    uint32_t mgaNotUsedCount;            ///< all others that named a record
};

#endif
