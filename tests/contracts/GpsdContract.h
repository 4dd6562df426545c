#ifndef GPSDCONTRACT_H
#define GPSDCONTRACT_H

#include <gps.h>
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>

/// A gpsd that does what it is told, to be connected to with libgps's functions.
class ScriptedGpsd {
public:
    virtual ~ScriptedGpsd() = default;

    /// Where it listens.
    virtual const char* host() const = 0;
    virtual std::string port() const = 0;

    /// Nobody listens any more; for the time before the opening.
    virtual void refuses() = 0;
    /// `gps_open` has returned.
    virtual void accepts() {}

    // What it says, each as one message.
    virtual void sendsAFix(double latitude) = 0;  ///< TPV: status, mode and position
    virtual void sendsTheSky(int satellites) = 0; ///< SKY, every satellite used, numbered from 1 on
    virtual void sendsDilutionsAlone(int used, double pdop) = 0; ///< SKY without satellites
    virtual void sendsItsDevices() = 0;                          ///< a message with nothing to copy in it
    virtual void sendsHalfAFix() = 0;
    virtual void sendsTheRestOfTheFix(double latitude) = 0;
    virtual void dies() = 0;
};

/// One of those that the suite runs against.
struct MakeScriptedGpsd {
    const char* name;
    std::unique_ptr<ScriptedGpsd> (*make)();
};
inline void PrintTo(const MakeScriptedGpsd& maker, std::ostream* out) { *out << maker.name; }

/// A session with such a gpsd, through libgps's functions as the program has them.
class GpsdContract : public ::testing::TestWithParam<MakeScriptedGpsd> {
protected:
    static constexpr int kSoon = 1000000;  // microseconds: what is there is there at once
    static constexpr int kAMoment = 20000; // for what never comes

    ~GpsdContract() override {
        if (open_)
            gps_close(record.get());
    }

    int connect();
    bool waits(int timeoutMicros = kSoon) const { return gps_waiting(record.get(), timeoutMicros); }
    int reads();
    /// One message, waited for and read.
    int takes() { return waits() ? reads() : 0; }

    std::unique_ptr<ScriptedGpsd> gpsd = GetParam().make();
    std::unique_ptr<gps_data_t> record = std::make_unique<gps_data_t>();

private:
    bool open_ = false;
};

#endif
