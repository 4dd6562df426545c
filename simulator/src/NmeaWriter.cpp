#include "simulator/NmeaWriter.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "simulator/Constants.h"
#include "simulator/Nmea.h"
#include "simulator/ReceiverClock.h"

namespace simulator {

// --- Systems, numbers and talkers -----------------------------------------------------------------------

namespace {

constexpr double kSlowestCourseMps = 0.2; // below it the receiver leaves the course empty
constexpr int32_t kMostUsedInGga = 12;    // it counts no further in any of these versions
constexpr int32_t kMostUsedInGns = 99;
constexpr std::size_t kGsaPlaces = 12;
constexpr std::size_t kGsvPerSentence = 4;

// A system that has sentences of its own; SBAS and QZSS share those of GPS.
struct System {
    Constellation constellation;
    const char* talker;
    int systemId; // GSA from version 4.1 on
    int signalId; // GSV from version 4.1 on
};
constexpr std::array<System, 4> kSystems{{
    {Constellation::Gps, "GP", 1, 1},
    {Constellation::Glonass, "GL", 2, 1},
    {Constellation::Galileo, "GA", 3, 7},
    {Constellation::BeiDou, "GB", 4, 1},
}};

bool atLeast41(NmeaVersion version) { return version >= NmeaVersion::V41; }

std::optional<int> numberIf(bool shown, int number) {
    return shown ? std::optional<int>(number) : std::nullopt;
}

std::optional<int> sbasNumber(int number, bool extended) {
    const bool wide = number >= 152;
    return numberIf(extended || !wide, wide ? number : number - 87);
}

// Whether this numbering can show the system at all.
bool isShown(const System& system, const OutputConfiguration& output) {
    Satellite probe;
    probe.constellation = system.constellation;
    probe.number = 1;
    return output.enabled.count(system.constellation) != 0 &&
           sentenceNumber(probe, output.nmeaVersion, output.extendedNumbering).has_value();
}

std::size_t shownSystems(const OutputConfiguration& output) {
    return static_cast<std::size_t>(
        std::count_if(kSystems.begin(), kSystems.end(),
                      [&](const System& system) { return output.enabled.count(system.constellation) != 0; }));
}

} // namespace

std::optional<int> sentenceNumber(const Satellite& satellite, NmeaVersion version, bool extended) {
    const int number = satellite.number;
    switch (satellite.constellation) {
    case Constellation::Gps:
        return number;
    case Constellation::Sbas:
        return sbasNumber(number, extended);
    case Constellation::Galileo:
        return numberIf(extended || atLeast41(version), atLeast41(version) ? number : 300 + number);
    case Constellation::BeiDou:
        return numberIf(extended || atLeast41(version), atLeast41(version) ? number : 400 + number);
    case Constellation::Imes:
        return numberIf(extended, 172 + number);
    case Constellation::Qzss:
        return numberIf(extended, 192 + number);
    case Constellation::Glonass:
        return 64 + number;
    }
    return std::nullopt;
}

std::string mainTalker(const OutputConfiguration& output) {
    switch (output.mainTalker) {
    case MainTalker::Automatic:
        break;
    case MainTalker::Gp:
        return "GP";
    case MainTalker::Gl:
        return "GL";
    case MainTalker::Gn:
        return "GN";
    case MainTalker::Ga:
        return "GA";
    case MainTalker::Gb:
        return "GB";
    }
    if (shownSystems(output) > 1)
        return "GN";
    const auto only = std::find_if(kSystems.begin(), kSystems.end(), [&](const System& system) {
        return output.enabled.count(system.constellation) != 0;
    });
    return only == kSystems.end() ? "GP" : only->talker;
}

// --- Fields ---------------------------------------------------------------------------------------------

namespace {

// What each sentence writer gets.
struct Context {
    const Epoch& epoch;
    const OutputConfiguration& output;

    bool hasFix() const { return epoch.fix != FixType::None; }
    NmeaSentence sentence(const char* kind) const { return NmeaSentence(mainTalker(output) + kind); }
    // N, A or D: no fix, autonomous, differential.
    const char* mode() const { return !hasFix() ? "N" : epoch.quality == 2 ? "D" : "A"; }
    bool hasMode() const { return output.nmeaVersion >= NmeaVersion::V23; }
};

void addTime(NmeaSentence& sentence, const Epoch& epoch) {
    epoch.timeKnown ? sentence.timeOfDay(reportedUtc(epoch)) : sentence.empty();
}

void addDate(NmeaSentence& sentence, const Epoch& epoch) {
    isDateKnown(epoch) ? sentence.date(reportedUtc(epoch)) : sentence.empty();
}

void addPosition(NmeaSentence& sentence, const Context& context) {
    if (!context.hasFix()) {
        sentence.empty(4);
        return;
    }
    sentence.latitude(context.epoch.position.latitudeDeg).longitude(context.epoch.position.longitudeDeg);
}

void addCourse(NmeaSentence& sentence, const Epoch& epoch) {
    if (epoch.speedMps < kSlowestCourseMps)
        sentence.empty();
    else
        sentence.field(std::fmod(std::round(epoch.courseDeg * 100) / 100, 360.0), 2);
}

int32_t usedUpTo(int32_t most, const Epoch& epoch) {
    return std::min(static_cast<int32_t>(usedSatellites(epoch)), most);
}

// --- Sentences ------------------------------------------------------------------------------------------

SentenceGroup writeRmc(const Context& context) {
    NmeaSentence rmc = context.sentence("RMC");
    addTime(rmc, context.epoch);
    rmc.field(context.hasFix() ? "A" : "V");
    addPosition(rmc, context);
    if (context.hasFix()) {
        rmc.field(context.epoch.speedMps * kKnotsPerMps, 3);
        addCourse(rmc, context.epoch);
    } else {
        rmc.empty(2);
    }
    addDate(rmc, context.epoch);
    rmc.empty(2);
    if (context.hasMode())
        rmc.field(context.mode());
    if (atLeast41(context.output.nmeaVersion))
        rmc.field("V");
    return {rmc.text()};
}

SentenceGroup writeVtg(const Context& context) {
    NmeaSentence vtg = context.sentence("VTG");
    if (context.hasFix()) {
        addCourse(vtg, context.epoch);
        vtg.field("T").empty().field("M").field(context.epoch.speedMps * kKnotsPerMps, 3).field("N");
        vtg.field(context.epoch.speedMps * kKmhPerMps, 3).field("K");
    } else {
        vtg.empty(8);
    }
    if (context.hasMode())
        vtg.field(context.mode());
    return {vtg.text()};
}

SentenceGroup writeGga(const Context& context) {
    NmeaSentence gga = context.sentence("GGA");
    const Epoch& epoch = context.epoch;
    addTime(gga, epoch);
    addPosition(gga, context);
    gga.field(context.hasFix() ? epoch.quality : 0);
    gga.padded(usedUpTo(kMostUsedInGga, epoch), 2).field(epoch.dops.horizontal, 2);
    if (context.hasFix()) {
        gga.field(epoch.position.altitudeMslM, 1)
            .field("M")
            .field(epoch.position.geoidSeparationM, 1)
            .field("M");
        gga.empty();
        epoch.quality == 2 ? gga.field("0000") : gga.empty();
    } else {
        gga.empty(6);
    }
    return {gga.text()};
}

SentenceGroup writeGll(const Context& context) {
    NmeaSentence gll = context.sentence("GLL");
    addPosition(gll, context);
    addTime(gll, context.epoch);
    gll.field(context.hasFix() ? "A" : "V");
    if (context.hasMode())
        gll.field(context.mode());
    return {gll.text()};
}

int gsaFix(FixType fix) { return fix == FixType::ThreeD ? 3 : fix == FixType::TwoD ? 2 : 1; }

std::vector<int> usedNumbers(const Context& context, const System& system) {
    std::vector<int> numbers;
    for (const Satellite& satellite : context.epoch.satellites) {
        const auto number =
            sentenceNumber(satellite, context.output.nmeaVersion, context.output.extendedNumbering);
        if (satellite.used && number && leadingSystem(satellite.constellation) == system.constellation)
            numbers.push_back(*number);
    }
    numbers.resize(std::min(numbers.size(), kGsaPlaces));
    return numbers;
}

std::string gsaOf(const Context& context, const System& system) {
    NmeaSentence gsa = context.sentence("GSA");
    gsa.field("A").field(gsaFix(context.epoch.fix));
    const std::vector<int> numbers = usedNumbers(context, system);
    for (const int number : numbers)
        gsa.padded(number, 2);
    gsa.empty(static_cast<int>(kGsaPlaces - numbers.size()));
    const Dops& dops = context.epoch.dops;
    gsa.field(dops.position, 2).field(dops.horizontal, 2).field(dops.vertical, 2);
    if (atLeast41(context.output.nmeaVersion))
        gsa.field(system.systemId);
    return gsa.text();
}

SentenceGroup writeGsa(const Context& context) {
    SentenceGroup group;
    for (const System& system : kSystems)
        if (isShown(system, context.output))
            group.push_back(gsaOf(context, system));
    return group;
}

void addSatellite(NmeaSentence& gsv, const Satellite& satellite, int number) {
    gsv.padded(number, 2);
    if (satellite.orbitKnown)
        gsv.padded(static_cast<int>(std::lround(satellite.elevationDeg)), 2)
            .padded(static_cast<int>(std::lround(satellite.azimuthDeg)) % 360, 3);
    else
        gsv.empty(2);
    if (satellite.carrierToNoiseDbHz > 0)
        gsv.padded(static_cast<int>(std::lround(satellite.carrierToNoiseDbHz)), 2);
    else
        gsv.empty();
}

struct Numbered {
    int number;
    Satellite satellite;
};

// A receiver knows of no satellite before it has heard the first or been told the time.
std::vector<Numbered> inView(const Context& context, const System& system) {
    std::vector<Numbered> view;
    if (!context.epoch.timeKnown)
        return view;
    for (const Satellite& satellite : context.epoch.satellites) {
        const auto number =
            sentenceNumber(satellite, context.output.nmeaVersion, context.output.extendedNumbering);
        if (number && leadingSystem(satellite.constellation) == system.constellation)
            view.push_back({*number, satellite});
    }
    return view;
}

SentenceGroup gsvOf(const Context& context, const System& system) {
    const std::vector<Numbered> view = inView(context, system);
    const std::size_t sentences =
        std::max<std::size_t>(1, (view.size() + kGsvPerSentence - 1) / kGsvPerSentence);
    const std::string talker = context.output.gsvUsesMainTalker ? mainTalker(context.output) : system.talker;
    SentenceGroup group;
    for (std::size_t i = 0; i < sentences; ++i) {
        NmeaSentence gsv(talker + "GSV");
        gsv.field(static_cast<int>(sentences))
            .field(static_cast<int>(i + 1))
            .padded(static_cast<int>(view.size()), 2);
        const std::size_t end = std::min(view.size(), (i + 1) * kGsvPerSentence);
        for (std::size_t j = i * kGsvPerSentence; j < end; ++j)
            addSatellite(gsv, view[j].satellite, view[j].number);
        if (atLeast41(context.output.nmeaVersion))
            gsv.field(system.signalId);
        group.push_back(gsv.text());
    }
    return group;
}

SentenceGroup writeGst(const Context& context) {
    NmeaSentence gst = context.sentence("GST");
    addTime(gst, context.epoch);
    if (!context.hasFix())
        return {gst.empty(7).text()};
    const double perAxis = context.epoch.horizontalAccuracyM / std::sqrt(2.0);
    gst.field(context.epoch.quality == 2 ? 1.2 : 2.5, 1).empty(3);
    gst.field(perAxis, 1).field(perAxis, 1).field(context.epoch.verticalAccuracyM, 1);
    return {gst.text()};
}

SentenceGroup writeZda(const Context& context) {
    NmeaSentence zda = context.sentence("ZDA");
    addTime(zda, context.epoch);
    if (!isDateKnown(context.epoch))
        return {zda.empty(3).field("00").field("00").text()};
    const CalendarTime calendar = calendarOf(reportedUtc(context.epoch));
    zda.padded(calendar.day, 2).padded(calendar.month, 2).padded(calendar.year, 4).field("00").field("00");
    return {zda.text()};
}

SentenceGroup writeGbs(const Context& context) {
    NmeaSentence gbs = context.sentence("GBS");
    addTime(gbs, context.epoch);
    if (!context.hasFix())
        return {gbs.empty(7).text()};
    const double perAxis = context.epoch.horizontalAccuracyM / std::sqrt(2.0);
    gbs.field(perAxis, 1).field(perAxis, 1).field(context.epoch.verticalAccuracyM, 1).empty(4);
    return {gbs.text()};
}

SentenceGroup writeDtm(const Context& context) {
    return {context.sentence("DTM")
                .field("W84")
                .empty()
                .field("0.0")
                .field("N")
                .field("0.0")
                .field("E")
                .field("0.0")
                .field("W84")
                .text()};
}

// One mode letter per system: GPS, GLONASS, and from version 4.1 on Galileo and BeiDou.
std::string gnsModes(const Context& context) {
    const std::size_t places = atLeast41(context.output.nmeaVersion) ? 4 : 2;
    std::string modes;
    for (std::size_t i = 0; i < places; ++i)
        modes += usedNumbers(context, kSystems.at(i)).empty() ? "N" : context.mode();
    return modes;
}

SentenceGroup writeGns(const Context& context) {
    NmeaSentence gns = context.sentence("GNS");
    const Epoch& epoch = context.epoch;
    addTime(gns, epoch);
    addPosition(gns, context);
    gns.field(gnsModes(context)).padded(usedUpTo(kMostUsedInGns, epoch), 2).field(epoch.dops.horizontal, 2);
    if (context.hasFix())
        gns.field(epoch.position.altitudeMslM, 1).field(epoch.position.geoidSeparationM, 1).empty(2);
    else
        gns.empty(4);
    if (atLeast41(context.output.nmeaVersion))
        gns.field("V");
    return {gns.text()};
}

// --- Epoch ----------------------------------------------------------------------------------------------

void addGsv(std::vector<SentenceGroup>& groups, const Context& context) {
    for (const System& system : kSystems)
        if (isShown(system, context.output))
            groups.push_back(gsvOf(context, system));
}

template <SentenceGroup (*write)(const Context&)>
void addOne(std::vector<SentenceGroup>& groups, const Context& context) {
    groups.push_back(write(context));
}

struct Row {
    Sentence sentence;
    void (*add)(std::vector<SentenceGroup>& groups, const Context& context);
};
// In the order in which the receiver sends them.
constexpr std::array<Row, 11> kRows{{
    {Sentence::Dtm, addOne<writeDtm>},
    {Sentence::Rmc, addOne<writeRmc>},
    {Sentence::Vtg, addOne<writeVtg>},
    {Sentence::Gns, addOne<writeGns>},
    {Sentence::Gga, addOne<writeGga>},
    {Sentence::Gsa, addOne<writeGsa>},
    {Sentence::Gsv, addGsv},
    {Sentence::Gll, addOne<writeGll>},
    {Sentence::Gst, addOne<writeGst>},
    {Sentence::Zda, addOne<writeZda>},
    {Sentence::Gbs, addOne<writeGbs>},
}};

} // namespace

std::vector<SentenceGroup> writeSentences(const Epoch& epoch, const OutputConfiguration& output,
                                          uint64_t counter) {
    std::vector<SentenceGroup> groups;
    if (!output.nmeaOut)
        return groups;
    const Context context{epoch, output};
    for (const Row& row : kRows) {
        const uint32_t rate = output.rateOf(row.sentence);
        if (rate != 0 && counter % rate == 0)
            row.add(groups, context);
    }
    return groups;
}

std::vector<std::string> powerUpBanner(const OutputConfiguration& output) {
    const std::array<std::string, 11> lines{"u-blox AG - www.u-blox.com",
                                            std::string("HW UBX-M8030 ") + kHardwareVersion,
                                            kSoftwareVersion,
                                            kFirmwareVersion,
                                            kProtocolVersion,
                                            kMajorSystems,
                                            kAugmentingSystems,
                                            "GNSS OTP=GPS;GLO",
                                            "ANTSUPERV=AC SD PDoS SR",
                                            "ANTSTATUS=OK",
                                            "PF=3FF"};
    std::vector<std::string> banner;
    if (!output.nmeaOut)
        return banner;
    for (const std::string& line : lines)
        banner.push_back(
            NmeaSentence(mainTalker(output) + "TXT").field("01").field("01").field("02").field(line).text());
    return banner;
}

} // namespace simulator
