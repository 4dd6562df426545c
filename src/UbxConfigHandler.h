#ifndef UBXCONFIGHANDLER_H
#define UBXCONFIGHANDLER_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "GPSExport.h"

class DatabaseReader;
class UbxReplies;
struct CollectedFrames;

/// Configures the u-blox receiver on the serial port and carries its navigation database across restarts.
///
/// The port must not belong to gpsd meanwhile. Frames are held as text and written by the shell's `echo -e`;
/// the line is set up by `stty`; replies are read from a stream that is open only while a sequence runs and
/// closed however that ends. The sequences return nothing: outcomes live in the records' `acknowledged` flags
/// and in the counters, and stand in the log. No operation locks, and no two may run at once on one object.
/// The driver calls the constructor, the destructor and `addInitialPosition` on an application's thread and
/// `reloadConfig` on the worker's, too.
///
/// Memory: only the constructor throws (std::bad_alloc). Any other sequence that finds none ends where it
/// stands, silently and without its completion line; the port is closed, and every record of the list is
/// whole. What an operation has sent or logged by then stays so.
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
    /// 255 when the line can't be set up. Throws without memory, with nothing left open; but what the
    /// database lacks ends its restore alone.
    UbxConfigHandler();

    /// Saves the receiver's navigation database and sets the local line back to 9600 baud. Blocks for about
    /// 6 s when the receiver is silent. Without memory either step may be left out.
    virtual ~UbxConfigHandler();

    UbxConfigHandler(const UbxConfigHandler&) = delete;
    UbxConfigHandler& operator=(const UbxConfigHandler&) = delete;

    /// Resets the receiver and sends the records of the list again, waiting for each by itself (up to about
    /// 6 s a record); from number 128 on they are not sent by themselves, as `sendConfig`'s index has 8 bits.
    /// gpsd must be down. The navigation database is not restored, but for the frames that an earlier restore
    /// left in the list. A record that finds no memory is left out, and the next one is sent.
    void reloadConfig();

    /// Empties the object: no records, no buffer, no open port, 9600 baud. Nothing is sent. Needs no memory.
    void resetConfig();

    /// Sends commands and waits for their acknowledgement (see waitForAck).
    ///   portSetup          record 0, then the local line follows to `baudRate` (3 tries, a second's pause
    ///                      after each that fails); `index` is ignored. Nothing happens with an empty list
    ///   index -1           all records but the first, back to back; the wait is for all, the first included
    ///   0 <= index < size  that record
    ///   any other index    nothing happens, and nothing is waited for
    /// `dump` is handed to waitForAck; with `log` each description is logged before its frame is written.
    /// Without memory a record is neither logged nor written, nor are those behind it, and nothing is waited
    /// for. The port must be open for a wait; it is neither opened nor closed.
    void sendConfig(signed char index, bool portSetup, bool dump, bool log);

    /// Reads the receiver's replies until the record `index` (-1: every record) is acknowledged by
    /// UBX-ACK-ACK or UBX-MGA-ACK-DATA0, or until the budget of `maxReads` reads, about 6 s, is spent. At
    /// least one reply must come, also for a record that is acknowledged already. Records that replies name
    /// meanwhile are marked all the same. Returns at once when no port is open or no buffer is there (after
    /// resetConfig). Needs no memory without `dump`.
    ///
    /// With `dump` the frames of the record's class and id that arrive ahead of a read's first MGA-ACK are
    /// stored in the dump file, each as it lies in the read buffer, with their count in six digits behind
    /// them. The file is emptied first and written at the end. It is left empty when they find no memory or
    /// no room; see DatabaseFile.h.
    void waitForAck(signed char index, bool dump);

    /// Polls the receiver's navigation database (UBX-MGA-DBD) into the dump file, in place of what it held.
    /// The old file stays when the port can't be opened, when the list holds 128 to 254 records already
    /// (384 to 510, and so on by 256), when there is no memory for the poll, or without a buffer (after
    /// `resetConfig`; the poll is written then all the same).
    void dumpNavigationDatabase();

    /// Sends the frames of the dump file back, one by one, each appended to the list; those that find 128
    /// records or more there are not sent by themselves. The port is neither opened nor closed; without it
    /// nothing is waited for. A frame that finds no memory is the end.
    void restoreNavigationDatabase();

    /// Sends UBX-MGA-INI-POS_LLH: latitude and longitude in degrees x 1,000,000 (negative ones in two's
    /// complement), altitude in millimetres (negative ones don't come out right), accuracy in centimetres.
    void addInitialPosition(unsigned int latitude, unsigned int longitude, unsigned int altitude,
                            unsigned int accuracy);

    /// Sends UBX-MGA-INI-TIME_UTC with the system's time, unless that lies before 2017. After resetConfig the
    /// answer is not waited for.
    void addInitialTime();

    /// Sets `out` to the four bytes of `value`, lowest first, as hex digits. Only to be used with width 8: a
    /// smaller one loses leading zeros. Without memory `out` stays.
    void littleEndianInt2BigEndianHex(unsigned int value, std::string& out, unsigned int width);

    /// Appends the frame `hexIn` (hex digits, without checksum) to `out` in escaped form. With `ckA` and
    /// `ckB` both 0 the checksum is appended too and the result is true; otherwise the result tells whether
    /// they are the frame's checksum. Without memory `out` stays and the result is false.
    bool prepareUbxCommandString(const std::string& hexIn, std::string& out, unsigned char ckA,
                                 unsigned char ckB);

    /// The first position from `start` on at which `needle` stands in `haystack`, or -1, also for a haystack
    /// that is shorter. The last position at which it would fit is never tested. Lengths in bytes.
    int findInBinary(unsigned char* haystack, unsigned int haystackLen, unsigned char* needle,
                     unsigned int needleLen, unsigned int start);

private:
    enum class Wait { GoesOn, IsOver, AllAcknowledged };

    // What these find no memory for ends as std::bad_alloc; the operations above end it.
    void send(signed char index, bool portSetup, bool dump, bool log);
    void writeFrame(const UbxCommands& record, bool log);
    void wait(signed char index, bool dump);
    void readUntilAcknowledged(signed char index, CollectedFrames* frames);
    void restoreFrames(DatabaseReader& file);
    void restoreFrame(DatabaseReader& file, const std::string& number, const std::string& total);
    void sendAssistance(const char* description, const std::string& hexFrame);

    Wait takeAcknowledgements(const UbxReplies& replies, signed char index);
    Wait stateOfWait(signed char index) const;
    void markRecords(const unsigned char* ackAck, const unsigned char* mgaAck);
    void countMgaAck(const unsigned char* payload);
    void freeReadBuffer();

    std::vector<UbxCommands> commandList; ///< in sending order; record 0 is the port command
    std::string devicePath;               ///< of the receiver's serial port
    std::string baudRate;                 ///< of the local line, decimal
    uint32_t acknowledgedCount;           ///< rebuilt by waitForAck with each reply
    FILE* serialPort;                     ///< open only while a sequence runs
    uint32_t readBufferSize;              ///< bytes that are read and searched; the buffer is a little longer
    unsigned char* readBuffer;            ///< owned; null after resetConfig, until a position is sent
    uint32_t readDelayUs;                 ///< pause between reads
    uint32_t maxReads;                    ///< reads of one waitForAck
    unsigned char mgaAckPayloadStart[4];  ///< of the last MGA-ACK that marked a record
    uint32_t mgaUsedCount;                ///< records that an MGA-ACK of type 1 with info code 0 has marked
    uint32_t mgaNotUsedCount;             ///< records that any other MGA-ACK has marked
};

#endif
