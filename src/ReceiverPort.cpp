#include "ReceiverPort.h"

#include "Log.h"
#include "Pause.h"
#include "Shell.h"

namespace {

constexpr char kLogSource[] = "src/GPSHAL_RUXO_3.cpp"; // the handler's: log readers filter by it

constexpr useconds_t kResetPulseUs = 100;

// Shell commands.
// KEEP: two blanks behind ">". Pinned by StartUp.RunsItsStepsInThisOrder
constexpr char kResetLineLow[] = "echo 0 >  /sys/class/gpio/gpio93/value";
constexpr char kResetLineHigh[] = "echo 1 >  /sys/class/gpio/gpio93/value";
constexpr char kSetUpPort[] = "timeout -t 1 stty -F ";
constexpr char kPortSettings[] =
    " intr ^- quit ^- erase ^- kill ^- eof ^-"
    " eol ^- eol2 ^- swtch ^- start ^- stop ^- susp ^- rprnt ^- werase ^- lnext ^- flush ^- min 0 time 0 "
    "-brkint -icrnl -imaxbel -opost -onlcr -isig -icanon -iexten -echo -echoe -echok -echoctl -echoke";
constexpr char kWriteFrame[] = "echo -e \"";
constexpr char kIntoDevice[] = "\" > ";

// Log texts.
constexpr char kPortNotOpen[] = "UBXConfig: Serial port cannot be opened for reading";

} // namespace

OpenPort::OpenPort(FILE*& port, const std::string& devicePath) : port_(port) {
    closePort(port_);
    port_ = fopen(devicePath.c_str(), "rb");
    if (port_ == nullptr)
        LOG(kLogCritical, kPortNotOpen);
}

OpenPort::~OpenPort() { closePort(port_); }

void closePort(FILE*& port) {
    if (port != nullptr)
        fclose(port);
    port = nullptr;
}

std::string portSetUpCommand(const std::string& devicePath, const std::string& baudRate) {
    return kSetUpPort + devicePath + " " + baudRate + kPortSettings;
}

bool setUpPort(const std::string& command, int tries, unsigned int pauseAfterFailure) {
    for (int i = 0; i < tries; ++i) {
        if (runShell(command.c_str()))
            return true;
        if (pauseAfterFailure > 0)
            pauseSeconds(pauseAfterFailure);
    }
    return false;
}

std::string frameCommand(const std::string& frame, const std::string& devicePath) {
    return kWriteFrame + frame + kIntoDevice + devicePath;
}

void pulseResetLine() {
    runShell(kResetLineLow);
    pauseMicroseconds(kResetPulseUs);
    runShell(kResetLineHigh);
}
