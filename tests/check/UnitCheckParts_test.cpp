// The parts of ruxogps-check that judge texts and numbers, with no unit around them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <regex>
#include <sstream>

#include <nlohmann/json.hpp>

#include "Addresses.h"
#include "Checks.h"
#include "LoadedLibrary.h"
#include "Options.h"
#include "Processes.h"
#include "Release.h"
#include "Report.h"
#include "SocketTable.h"
#include "TerminalSettings.h"

using namespace check;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

/// What kill answers to this program's questions; 0: the process may be ended.
int killError = 0;

} // namespace

/// Every process of a test is an invented one.
extern "C" int kill(pid_t, int) noexcept {
    errno = killError;
    return killError == 0 ? 0 : -1;
}

namespace {

// --- The library's command ------------------------------------------------------------------------------

TEST(PortSetUp, IsTheLibrarysCommand) {
    EXPECT_EQ(
        portSetUp("9600"),
        "timeout -t 1 stty -F /dev/ttymxc1 9600 intr ^- quit ^- erase ^- kill ^- eof ^- eol ^- eol2 ^- "
        "swtch ^- start ^- stop ^- susp ^- rprnt ^- werase ^- lnext ^- flush ^- min 0 time 0 -brkint -icrnl "
        "-imaxbel -opost -onlcr -isig -icanon -iexten -echo -echoe -echok -echoctl -echoke");
}

// --- Settings of the port -------------------------------------------------------------------------------

constexpr char kCoreutilsSettings[] = R"(speed 9600 baud; rows 24; columns 80; line = 0;
intr = ^C; quit = ^\; erase = ^?; kill = ^U; eof = ^D; eol = <undef>;
eol2 = <undef>; swtch = <undef>; start = ^Q; stop = ^S; susp = ^Z; rprnt = ^R;
werase = ^W; lnext = ^V; discard = ^O; min = 1; time = 0;
-parenb -parodd -cmspar cs8 -hupcl -cstopb cread clocal -crtscts
-ignbrk brkint -ignpar -parmrk -inpck -istrip -inlcr -igncr icrnl ixon -ixoff
)";
constexpr char kBusyboxSettings[] = R"(speed 115200 baud;
intr = <undef>; quit = <undef>; flush = <undef>; min = 0; time = 0;
-parenb -parodd cs7 hupcl -cstopb cread -clocal crtscts
)";

TEST(TerminalSettings, AreReadAsCoreutilsPrintThem) {
    const TerminalSettings settings = parseTerminalSettings(kCoreutilsSettings);
    EXPECT_EQ(settings.speed, "9600");
    EXPECT_EQ(settings.values.at("intr"), "^C");
    EXPECT_EQ(settings.values.at("min"), "1");
    EXPECT_EQ(settings.values.at("line"), "0");
    EXPECT_TRUE(settings.has("cs8") && settings.has("-crtscts") && settings.has("-ixoff"));
    EXPECT_FALSE(settings.has("rows") || settings.has("24") || settings.has("baud"));
}

TEST(TerminalSettings, AreReadAsBusyboxPrintsThem) {
    const TerminalSettings settings = parseTerminalSettings(kBusyboxSettings);
    EXPECT_EQ(settings.speed, "115200");
    EXPECT_EQ(settings.values.at("flush"), "<undef>");
    EXPECT_EQ(settings.values.at("min"), "0");
    EXPECT_TRUE(settings.has("cs7") && settings.has("-clocal") && settings.has("crtscts"));
}

TEST(TerminalSettings, HaveTheReceivingSpeedWhereThereAreTwo) {
    EXPECT_EQ(parseTerminalSettings("ispeed 9600 baud; ospeed 115200 baud; line = 0;\n").speed, "9600");
}

TEST(TerminalSettings, OfSomethingElseHaveNoSpeed) {
    EXPECT_EQ(parseTerminalSettings("").speed, "");
    EXPECT_EQ(parseTerminalSettings("stty: not a tty").speed, "");
}

// --- Sockets --------------------------------------------------------------------------------------------

constexpr char kTable[] =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n"
    "   0: 0100007F:0B83 00000000:0000 0A 00000000:00000000 00:00000000 00000000  1000        0 4013738 1 0 "
    "100\n"
    "   1: 0100007F:0B83 0100007F:D431 01 00000000:00000000 00:00000000 00000000  1000        0 4013740 1 0 "
    "100\n"
    "   2: 00000000:0016 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 4013741 1 0 "
    "100\n";
constexpr char kTableOfSix[] =
    "  sl  local_address                         remote_address                        st tx_queue rx_queue "
    "tr\n"
    "   0: 00000000000000000000000001000000:0B83 00000000000000000000000000000000:0000 0A 00000000:00000000 "
    "00:00000000 00000000  1000        0 4013739 1 0 100\n";

TEST(SocketTable, TellsWhoListens) {
    EXPECT_THAT(listenersOn(2947, kTable), ElementsAre(4013738));
    EXPECT_THAT(listenersOn(22, kTable), ElementsAre(4013741));
}

TEST(SocketTable, OfTheOtherFamilyIsReadAlike) {
    EXPECT_THAT(listenersOn(2947, kTableOfSix), ElementsAre(4013739));
}

TEST(SocketTable, MayBeEmptyOrGarbage) {
    EXPECT_THAT(listenersOn(2947, ""), IsEmpty());
    EXPECT_THAT(listenersOn(2947, "0: 0B83 0A\n::::\n"), IsEmpty());
}

// --- Releases -------------------------------------------------------------------------------------------

TEST(Release, IsReadFromWhatGpsdPrints) {
    EXPECT_EQ(parseRelease("gpsd: 3.22 (revision 3.22)\n"), "3.22");
    EXPECT_EQ(parseRelease("gpsd: 3.16 (revision 3.16-4)\n"), "3.16");
    EXPECT_EQ(parseRelease("gpsd: 3.27.5 (revision 3.27.5)\n"), "3.27.5");
    EXPECT_EQ(parseRelease("gpsd: 3.25.1~dev (revision release-3.25-1-g0)\n"), "3.25.1");
    EXPECT_EQ(parseRelease("Usage: gpsd\n"), "");
}

TEST(Releases, OfOneKindGoTogether) {
    EXPECT_EQ(compareReleases("3.22", "3.22").level, Level::Ok);
    EXPECT_EQ(compareReleases("3.27.5", "3.27").level, Level::Ok);
}

TEST(Releases, OnEitherSideOfTheNewReportsNeverGoTogether) {
    EXPECT_EQ(compareReleases("3.22", "3.16").level, Level::Fault);
    EXPECT_EQ(compareReleases("3.19", "3.20").level, Level::Fault);
}

TEST(Releases, OfNeighboursAreWorthAWarning) {
    EXPECT_EQ(compareReleases("3.22", "3.25").level, Level::Warning);
    EXPECT_EQ(compareReleases("4.0", "3.25").level, Level::Warning);
    EXPECT_EQ(compareReleases("3.16", "3.17").level, Level::Warning);
}

TEST(Releases, ThatTheBuildDidNotKnowAreSaidSo) {
    EXPECT_EQ(compareReleases("3.22", "").level, Level::Warning);
}

// --- Widths of time -------------------------------------------------------------------------------------

TEST(TimeBits, AreToldByTheNamesOfTheTimeFunctions) {
    EXPECT_EQ(timeBits({"gps_open", "__clock_gettime64", "time"}, 32), 64);
    EXPECT_EQ(timeBits({"gps_open", "__gmtime64_r"}, 32), 64);
    EXPECT_EQ(timeBits({"gps_open", "gmtime_r"}, 32), 32);
    EXPECT_EQ(timeBits({"gps_open", "timegm"}, 32), 32);
}

TEST(TimeBits, CantBeToldWithoutSuchANameOn32Bits) {
    EXPECT_EQ(timeBits({"gps_open", "times", "ctime64"}, 32), 0);
    EXPECT_EQ(timeBits({}, 64), 64);
}

TEST(TimeWidths, MustBeAlike) {
    EXPECT_EQ(compareTimeWidths(32, 32).level, Level::Ok);
    EXPECT_EQ(compareTimeWidths(64, 32).level, Level::Fault);
    EXPECT_THAT(compareTimeWidths(64, 32).mend, HasSubstr("without -D_TIME_BITS=64"));
    EXPECT_THAT(compareTimeWidths(32, 64).mend, HasSubstr("with -D_TIME_BITS=64"));
    EXPECT_EQ(compareTimeWidths(32, 0).level, Level::Warning);
}

TEST(LoadedLibrary, TellsTheLoadersWordsWhereThereIsNone) {
    const LoadedLibrary library("libnowhere.so.7");
    EXPECT_FALSE(library.isLoaded());
    EXPECT_THAT(library.error(), HasSubstr("libnowhere.so.7"));
}

TEST(LoadedLibrary, KnowsItsFileAndItsNames) {
    const LoadedLibrary library("libm.so.6");
    ASSERT_TRUE(library.isLoaded()) << library.error();
    EXPECT_THAT(library.path(), HasSubstr("/libm.so.6"));
    EXPECT_THAT(library.names(), testing::Contains("cos"));
    EXPECT_EQ(sonameOf(library.needed(), "libc.so."), "libc.so.6");
}

// --- localhost ------------------------------------------------------------------------------------------

TEST(Localhost, IsOneOfThisMachinesOwn) {
    EXPECT_EQ(judgeLocalhost({"127.0.0.1"}).level, Level::Ok);
    EXPECT_EQ(judgeLocalhost({"::1", "127.0.1.1"}).text, "localhost is ::1, 127.0.1.1");
}

TEST(Localhost, IsLookedAtAddressByAddress) {
    EXPECT_EQ(judgeLocalhost({"::1", "10.0.0.1"}).level, Level::Fault);
    EXPECT_THAT(judgeLocalhost({"::1", "10.0.0.1"}).text, HasSubstr("look for gpsd at 10.0.0.1"));
    EXPECT_EQ(judgeLocalhost({}).level, Level::Fault);
}

TEST(Addresses, AreWrittenAsPeopleDo) {
    sockaddr_in four = {};
    four.sin_family = AF_INET;
    four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(addressText(reinterpret_cast<sockaddr&>(four)), "127.0.0.1");
    sockaddr_in6 six = {};
    six.sin6_family = AF_INET6;
    six.sin6_addr = in6addr_loopback;
    EXPECT_EQ(addressText(reinterpret_cast<sockaddr&>(six)), "::1");
}

// --- Processes ------------------------------------------------------------------------------------------

constexpr dev_t kTerminal = 1234;

Process process(pid_t id, const std::string& name) {
    Process made;
    made.id = id;
    made.name = name;
    made.filesVisible = true;
    return made;
}

TEST(Processes, AreFoundByNameFileAndSocket) {
    Process gpsd = process(12, "gpsd");
    gpsd.terminals = {kTerminal};
    gpsd.sockets = {77};
    const Processes processes({gpsd, process(13, "other")});
    EXPECT_EQ(namesOf(processes.named("gpsd")), "gpsd (process 12)");
    EXPECT_EQ(namesOf(processes.holding(kTerminal)), "gpsd (process 12)");
    EXPECT_THAT(processes.holding(kTerminal + 1), IsEmpty());
    EXPECT_EQ(namesOf(processes.havingSocket(77)), "gpsd (process 12)");
}

TEST(Processes, ThatKeepTheirFilesToThemselvesAreSaidToBeThere) {
    EXPECT_TRUE(Processes({process(12, "gpsd")}).allFilesVisible());
    Process hidden = process(12, "gpsd");
    hidden.filesVisible = false;
    EXPECT_FALSE(Processes({process(11, "other"), hidden}).allFilesVisible());
    EXPECT_FALSE(Processes({process(12, "gpsd")}, false).allFilesVisible())
        << "where others aren't listed at all";
}

TEST(GpsdProcess, OfAnotherUserIsAFault) {
    Unit unit;
    unit.processes = Processes({process(12, "gpsd")});
    killError = EPERM;
    const Findings findings = checkGpsdProcess(unit);
    killError = 0;
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].level, Level::Fault);
    EXPECT_EQ(findings[0].text, "gpsd (process 12) belongs to another user: the service can't end it");
}

// --- Options --------------------------------------------------------------------------------------------

Options parsed(const std::vector<const char*>& arguments) {
    std::vector<const char*> words{"ruxogps-check"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return parseOptions(static_cast<int>(words.size()), words.data());
}

std::string complaint(const std::vector<const char*>& arguments) {
    try {
        parsed(arguments);
    } catch (const OptionError& error) {
        return error.what();
    }
    return "";
}

TEST(Options, ChangeNothingByThemselves) {
    EXPECT_FALSE(parsed({}).tryPort);
    EXPECT_FALSE(parsed({}).json);
    EXPECT_EQ(parsed({}).database, "");
}

TEST(Options, TakeTheirValuesEitherWay) {
    EXPECT_EQ(parsed({"--database", "file"}).database, "file");
    EXPECT_EQ(parsed({"--json", "--database=file"}).database, "file");
    EXPECT_TRUE(parsed({"--try-port"}).tryPort);
    EXPECT_TRUE(parsed({"-h"}).help);
    EXPECT_TRUE(parsed({"--version"}).version);
}

TEST(Options, AreRefusedWithWhatIsWrong) {
    EXPECT_EQ(complaint({"--nonsense"}), "unknown option '--nonsense'");
    EXPECT_EQ(complaint({"--database"}), "--database needs a value");
    EXPECT_EQ(complaint({"--database="}), "--database needs the name of a file");
    EXPECT_EQ(complaint({"--json=yes"}), "--json takes no value");
    EXPECT_EQ(complaint({"now"}), "unexpected argument 'now'");
    EXPECT_EQ(complaint({"--try-port", "--database", "file"}),
              "--try-port and --database exclude each other");
}

TEST(Usage, NamesEveryOption) {
    for (const char* const option : {"--try-port", "--database FILE", "--json", "-h, --help", "--version"})
        EXPECT_THAT(usage(), HasSubstr(std::string("\n  ") + option));
}

// --- Manual page ----------------------------------------------------------------------------------------

/// "-h, --help", "--database FILE": the options with their values, as the help lists them.
std::vector<std::string> optionsOfTheHelp() {
    std::vector<std::string> options;
    std::istringstream text(usage());
    for (std::string line; std::getline(text, line);)
        if (line.rfind("  -", 0) == 0)
            options.push_back(line.substr(2, line.find("  ", 2) - 2));
    return options;
}

/// The same of the manual page: each stands alone behind a line ".TP", with fonts and escaped dashes.
std::vector<std::string> optionsOfTheManual() {
    std::vector<std::string> options;
    std::ifstream text(MANUAL_PAGE);
    for (std::string line; std::getline(text, line);)
        if (line.rfind("\\fB\\-", 0) == 0)
            options.push_back(std::regex_replace(std::regex_replace(line, std::regex(R"(\\f[BIR])"), ""),
                                                 std::regex(R"(\\-)"), "-"));
    return options;
}

TEST(Manual, HasTheOptionsOfTheHelp) {
    ASSERT_FALSE(optionsOfTheHelp().empty());
    EXPECT_EQ(optionsOfTheManual(), optionsOfTheHelp());
}

// --- Reports --------------------------------------------------------------------------------------------

Findings someFindings() {
    return {{Level::Ok, "all is well", "", "a.check"},
            {Level::Fault, "it is \xff broken", "mend it", "b.check"}};
}

TEST(Report, HasALineForEachFindingAndOneForAll) {
    std::ostringstream text;
    printText(
        {{Level::Ok, "all is well", "", "a.check"}, {Level::Warning, "it is bent", "mend it", "b.check"}},
        text);
    EXPECT_EQ(text.str(), "ok      a.check         all is well\n"
                          "warning b.check         it is bent. Mend: mend it\n"
                          "The service can run: 0 faults, 1 warning\n");
}

TEST(Report, KeepsAFindingOnOneLineWhateverAProgramIsCalled) {
    std::ostringstream text;
    printText({{Level::Warning, "a\nb\x1b[2J", "end it", "a.check"}}, text);
    EXPECT_THAT(text.str(), HasSubstr("warning a.check         a?b?[2J. Mend: end it\n"));
}

TEST(Report, SaysThatTheServiceCannotRunWithAFault) {
    std::ostringstream text;
    printText(someFindings(), text);
    EXPECT_THAT(text.str(), HasSubstr("The service cannot run: 1 fault, 0 warnings\n"));
    EXPECT_FALSE(canRun(someFindings()));
    EXPECT_TRUE(canRun({warning("", "")}));
}

TEST(Report, InJsonHoldsTheSame) {
    std::ostringstream text;
    printJson(someFindings(), "1.2.3", text);
    const nlohmann::json object = nlohmann::json::parse(text.str());
    EXPECT_EQ(object["program"], "ruxogps-check");
    EXPECT_EQ(object["version"], "1.2.3");
    EXPECT_EQ(object["can_run"], false);
    EXPECT_EQ(object["faults"], 1);
    EXPECT_EQ(object["warnings"], 0);
    EXPECT_EQ(object["findings"][1]["check"], "b.check");
    EXPECT_EQ(object["findings"][1]["level"], "fault");
    EXPECT_EQ(object["findings"][1]["mend"], "mend it");
    EXPECT_THAT(object["findings"][1]["text"].get<std::string>(), Not(HasSubstr("\xff")));
}

TEST(DatabaseReportInJson, HoldsItsCountsAndRecords) {
    std::istringstream file(std::string("\xb5\x62\x13\x80\x00\x00\x93\xcc\xb5\x62\x13\x80\x00\x00\x93\xcd"
                                        "000002",
                                        22));
    const DatabaseReport report = readDatabase(file);
    std::ostringstream text;
    printDatabaseJson(report, "1.2.3", text);
    const nlohmann::json object = nlohmann::json::parse(text.str());
    EXPECT_EQ(object["state"], "records");
    EXPECT_EQ(object["whole"], 1);
    EXPECT_EQ(object["damaged"], 1);
    EXPECT_EQ(object["trailer_agrees"], true);
    EXPECT_EQ(object["records"][1]["offset"], 8);
    EXPECT_EQ(object["records"][1]["checksum"], "wrong");
    EXPECT_FALSE(isWhole(report));
}

} // namespace
