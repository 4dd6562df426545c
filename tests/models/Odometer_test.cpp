// Random drives against a model of the odometer, to the metre.

#include "AdapterFixture.h"
#include "Histories.h"
#include "OdometerModel.h"

namespace {

/// A stretch of the same speed, and what changes at its begin.
struct Stretch {
    enum Change { Nothing, Imposes, ImposesNothing, TakesAnInterval, ForgetsAll, Loses, IsUnsure };
    int change = Nothing;
    int cycles = 1;
    int32_t north = 0; ///< microdegrees a cycle
    int32_t east = 0;
    int32_t jumpNorth = 0; ///< at the begin
    uint32_t horizontalError = 0;
    uint32_t value = 0;
};

std::ostream& operator<<(std::ostream& out, const Stretch& s) {
    return out << "{" << s.change << ", " << s.cycles << ", " << s.north << ", " << s.east << ", "
               << s.jumpNorth << ", " << s.horizontalError << "u, " << s.value << "u}";
}

struct Start {
    int32_t latitude = 0;
    int32_t longitude = 0;
    int cycles = 0; ///< spent there first
};

std::ostream& operator<<(std::ostream& out, const Start& s) {
    return out << "{" << s.latitude << ", " << s.longitude << ", " << s.cycles << "}";
}

rc::Gen<int32_t> speeds() {
    return rc::gen::oneOf(rc::gen::just(int32_t{0}), from(-40, 40), from(-1500, 1500));
}

rc::Gen<Stretch> stretches() {
    using S = Stretch;
    return rc::gen::build<S>(
        rc::gen::set(&S::change, rc::gen::weightedElement<int>({{20, S::Nothing},
                                                                {1, S::Imposes},
                                                                {1, S::ImposesNothing},
                                                                {2, S::TakesAnInterval},
                                                                {1, S::ForgetsAll},
                                                                {2, S::Loses},
                                                                {1, S::IsUnsure}})),
        rc::gen::set(&S::cycles, from(1, 12)), rc::gen::set(&S::north, speeds()),
        rc::gen::set(&S::east, speeds()),
        rc::gen::set(&S::jumpNorth, rc::gen::weightedOneOf<int32_t>({{20, rc::gen::just(int32_t{0})},
                                                                     {1, from(89000, 91000)},
                                                                     {1, from(-5000000, 5000000)}})),
        rc::gen::set(&S::horizontalError,
                     rc::gen::weightedOneOf<uint32_t>({{4, from(0u, 12u)}, {1, from(0u, 600u)}})),
        rc::gen::set(&S::value, rc::gen::oneOf(from(0u, 400u), rc::gen::element<uint32_t>(UINT32_MAX - 40))));
}

rc::Gen<Start> starts() {
    return rc::gen::build<Start>(
        rc::gen::set(&Start::latitude,
                     rc::gen::element<int32_t>(48137154, 0, 1, -33900000, 89999000, -90000000)),
        rc::gen::set(&Start::longitude, rc::gen::element<int32_t>(11576124, 0, -1, 179999900, -180000000)),
        rc::gen::set(&Start::cycles, rc::gen::element(181, 180, 182, 179, 0)));
}

class Drive : public AdapterFixture {
public:
    explicit Drive(const Start& start) : latitude_(start.latitude), longitude_(start.longitude) {
        for (int i = 0; i < start.cycles; ++i)
            cycle();
    }
    void TestBody() override {}

    void take(const Stretch& stretch) {
        change(stretch);
        hal->horizontalError = model_.horizontalError = stretch.horizontalError;
        adapter->UpdateErrorEstimates();
        latitude_ += stretch.jumpNorth;
        for (int i = 0; i < stretch.cycles; ++i) {
            latitude_ += stretch.north;
            longitude_ += stretch.east;
            cycle();
        }
    }

private:
    void change(const Stretch& s) {
        isLost_ = s.change == Stretch::Loses;
        dilution_ = s.change == Stretch::IsUnsure ? 10.0f : 1.5f;
        if (s.change == Stretch::ForgetsAll)
            model_.reset(), adapter->ResetParams();
        if (s.change == Stretch::TakesAnInterval)
            model_.positionInterval = s.value;
        if (s.change == Stretch::Imposes)
            model_.metres = s.value;
        set([&](GPSParams& p) {
            p.positionInterval = model_.positionInterval;
            p.odometerValue = s.value;
            p.setOdometer = s.change == Stretch::Imposes;
        });
    }
    void cycle() {
        hal->fix = fixAt(latitude_, longitude_, dilution_);
        hal->fix.valid = !isLost_;
        if (!isLost_ && dilution_ < 10)
            model_.moveTo(latitude_, longitude_);
        model_.cycle();
        adapter->UpdateCurrentPosition();
        adapter->UpdateOdometer();
        unit.forget();
        RC_ASSERT(readings().odometer == model_.metres);
    }

    OdometerModel model_;
    int32_t latitude_;
    int32_t longitude_;
    float dilution_ = 1.5f;
    bool isLost_ = false;
};

TEST(OdometerModel, HoldsForEveryDriveToTheMetre) {
    forRandomHistories([] {
        Drive drive(*starts());
        for (const Stretch& stretch : *historyOf(stretches(), 40))
            drive.take(stretch);
    });
}

} // namespace
