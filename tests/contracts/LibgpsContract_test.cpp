// libgps itself, connected to a gpsd that this program plays on a loopback port of its own.

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "GpsReport.h"
#include "GpsdContract.h"

namespace {

class LoopbackGpsd : public ScriptedGpsd {
public:
    LoopbackGpsd() {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        const bool works = bind(listener_, generic, size) == 0 && listen(listener_, 1) == 0 &&
                           getsockname(listener_, generic, &size) == 0;
        EXPECT_TRUE(works) << "no loopback port";
        port_ = ntohs(address.sin_port);
    }
    ~LoopbackGpsd() override {
        dies();
        refuses();
    }

    const char* host() const override { return "127.0.0.1"; }
    std::string port() const override { return std::to_string(port_); }

    void refuses() override { shut(listener_); }
    void accepts() override { client_ = accept(listener_, nullptr, nullptr); }

    void sendsAFix(double latitude) override { sends(kFixBegin + fixEnd(latitude)); }
    void sendsTheSky(int satellites) override {
        std::string list;
        for (int i = 1; i <= satellites; ++i)
            list += (i > 1 ? "," : "") + (R"({"PRN":)" + std::to_string(i)) +
                    R"(,"el":30.0,"az":10.0,"ss":38.5,"used":true})";
        const std::string count = std::to_string(satellites);
        sends(R"({"class":"SKY","device":"/dev/x","nSat":)" + count + R"(,"uSat":)" + count +
              R"(,"satellites":[)" + list + "]}\r\n");
    }
    void sendsDilutionsAlone(int used, double pdop) override {
        sends(R"({"class":"SKY","device":"/dev/x","pdop":)" + std::to_string(pdop) + R"(,"uSat":)" +
              std::to_string(used) + "}\r\n");
    }
    void sendsItsDevices() override {
        sends(R"({"class":"DEVICES","devices":[]})"
              "\r\n");
    }
    void sendsALine(const std::string& text) { sends(text + "\r\n"); }
    void sendsHalfAFix() override { sends(kFixBegin); }
    void sendsTheRestOfTheFix(double latitude) override { sends(fixEnd(latitude)); }
    void dies() override { shut(client_); }

private:
    static std::string fixEnd(double latitude) {
        return R"("mode":3,"lat":)" + std::to_string(latitude) + R"(,"lon":11.5})" + "\r\n";
    }
    void sends(const std::string& text) {
        EXPECT_EQ(send(client_, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    }
    static void shut(int& descriptor) {
        if (descriptor >= 0)
            close(descriptor);
        descriptor = -1;
    }

    const std::string kFixBegin = R"({"class":"TPV","device":"/dev/x",)";
    int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int client_ = -1;
    int port_ = 0;
};

std::unique_ptr<ScriptedGpsd> loopbackGpsd() { return std::make_unique<LoopbackGpsd>(); }

constexpr char kObjectAndMore[] = R"({"class":"TPV","mode":3}x{"class":"SKY"})";

/// Ends the process: with 0 when libgps has read the line, by a signal after half a second of its own time.
[[noreturn]] void readObjectAndMore() {
    LoopbackGpsd gpsd;
    auto record = std::make_unique<gps_data_t>();
    gps_open(gpsd.host(), gpsd.port().c_str(), record.get());
    gpsd.accepts();
    gpsd.sendsALine(kObjectAndMore);
    const itimerval halfASecond = {{0, 0}, {0, 500000}};
    setitimer(ITIMER_VIRTUAL, &halfASecond, nullptr);
    gps_waiting(record.get(), 5000000);
    gpsreport::read(gps_read, record.get());
    _exit(0);
}

} // namespace

// No gpsd sends such a line, but whoever else holds its port can: the reader thread, and who waits for its
// end, are then held.
TEST(Libgps, IsHeldForeverByWhatFollowsAnObjectInItsLine) {
    const pid_t child = fork();
    if (child == 0)
        readObjectAndMore();
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        GTEST_SKIP() << "this libgps reads on";
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGVTALRM);
}

INSTANTIATE_TEST_SUITE_P(Libgps, GpsdContract, ::testing::Values(MakeScriptedGpsd{"libgps", loopbackGpsd}),
                         [](const auto& made) { return std::string(made.param.name); });
