// The fake that the unit tests have in libgps's place, reached through the interposed functions as the
// library reaches it.

#include "GpsdContract.h"
#include "VirtualUnit.h"

namespace {

class FakeGpsd : public ScriptedGpsd {
public:
    const char* host() const override { return "localhost"; }
    std::string port() const override { return "2947"; }

    void refuses() override { unit_.gpsd.openGives(-1, -6); }

    void sendsAFix(double latitude) override { unit_.gpsd.sendsAFix(latitude, 11.5); }
    void sendsTheSky(int satellites) override { unit_.gpsd.sendsTheSky(satellites); }
    void sendsDilutionsAlone(int used, double pdop) override { unit_.gpsd.sendsDilutionsAlone(used, pdop); }
    void sendsItsDevices() override { unit_.gpsd.reports(nullptr); }
    void sendsHalfAFix() override { unit_.gpsd.stopsInALine(); }
    void sendsTheRestOfTheFix(double latitude) override { unit_.gpsd.sendsAFix(latitude, 11.5); }
    void dies() override { unit_.gpsd.dies(); }

private:
    VirtualUnit unit_;
};

std::unique_ptr<ScriptedGpsd> fakeGpsd() { return std::make_unique<FakeGpsd>(); }

} // namespace

INSTANTIATE_TEST_SUITE_P(VirtualGpsd, GpsdContract, ::testing::Values(MakeScriptedGpsd{"fake", fakeGpsd}),
                         [](const auto& made) { return std::string(made.param.name); });
