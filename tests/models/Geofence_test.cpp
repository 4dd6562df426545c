// Random drives through random areas, with settings that change on the way, against a model of the areas.

#include "AdapterFixture.h"
#include "GeofenceModel.h"
#include "Histories.h"

namespace {

/// What happens between two checks.
struct Step {
    enum Kind { Drives, Loses, ConfiguresAnArea, RenamesAnArea, KeepsItsSettings, ForgetsAll, Answers };
    int kind = Drives;
    int area = 0; ///< of which is spoken, or in whose neighbourhood
    int east = 0; ///< which of the area's borders, and how far from it
    int north = 0;
    uint32_t answer = 0;
    Area wanted;
};

std::ostream& operator<<(std::ostream& out, const Step& step) {
    const Area& a = step.wanted;
    return out << "{" << step.kind << ", " << step.area << ", " << step.east << ", " << step.north << ", "
               << step.answer << "u, {\"" << a.name << "\", " << a.longitude << ", " << a.latitude << ", "
               << a.width << "u, " << a.height << "u, " << a.margin << "u}}";
}

rc::Gen<int32_t> centres() {
    return rc::gen::oneOf(
        from(-200, 200), from(9999000, 10001000),
        rc::gen::element<int32_t>(179999000, -180000000, 90000000, -90000000, INT32_MAX, INT32_MIN));
}

rc::Gen<uint32_t> extents() {
    return rc::gen::oneOf(from(0u, 6u), from(0u, 4000u),
                          rc::gen::element<uint32_t>(2000, 360000000, INT32_MAX, 1u << 31, UINT32_MAX));
}

rc::Gen<Area> areas() {
    return rc::gen::build<Area>(rc::gen::set(&Area::name, rc::gen::element<std::string>("", "yard", "depot")),
                                rc::gen::set(&Area::longitude, centres()),
                                rc::gen::set(&Area::latitude, centres()),
                                rc::gen::set(&Area::width, extents()), rc::gen::set(&Area::height, extents()),
                                rc::gen::set(&Area::margin, extents()));
}

rc::Gen<Step> steps() {
    using S = Step;
    return rc::gen::build<S>(
        rc::gen::set(&S::kind, rc::gen::weightedElement<int>({{12, S::Drives},
                                                              {1, S::Loses},
                                                              {5, S::ConfiguresAnArea},
                                                              {1, S::RenamesAnArea},
                                                              {1, S::KeepsItsSettings},
                                                              {1, S::ForgetsAll},
                                                              {1, S::Answers}})),
        rc::gen::set(&S::area, rc::gen::weightedElement<int>({{4, 0}, {2, 1}, {1, 6}, {3, 11}})),
        rc::gen::set(&S::east, from(-8, 8)), rc::gen::set(&S::north, from(-8, 8)),
        rc::gen::set(&S::answer, rc::gen::element<uint32_t>(0u, 0x17000001u)),
        rc::gen::set(&S::wanted, areas()));
}

/// A coordinate at an area's centre (0), or up to a microdegree beside one of its four borders: with the
/// margin and without, on both sides.
int32_t besideTheBorder(int32_t centre, uint32_t extent, uint32_t margin, int which) {
    if (which == 0)
        return centre;
    const int border = std::abs(which) - 1; // 0 to 7
    int64_t reach = int64_t{extent / 2} + (border >= 4 ? int64_t{margin} : 0) + border % 4 - 1;
    return wrapped(centre + (which < 0 ? -reach : reach));
}

class Drive : public AdapterFixture {
public:
    explicit Drive(bool withCallback) : AdapterFixture(withCallback), isTold_(withCallback) {}
    void TestBody() override {}

    void take(const Step& step) {
        const auto index = static_cast<std::size_t>(step.area);
        GeofenceModel::Areas wanted = model_.areas;
        if (step.kind == Step::Drives)
            drive(model_.areas[index], step);
        if (step.kind == Step::Loses)
            hal->fix.valid = false;
        if (step.kind == Step::ConfiguresAnArea)
            wanted[index] = step.wanted;
        if (step.kind == Step::RenamesAnArea)
            wanted[index].name = step.wanted.name;
        if (step.kind == Step::Answers)
            callback.result = step.answer;
        if (step.kind == Step::ForgetsAll)
            model_.reset(), adapter->ResetParams();
        else
            change(wanted);
    }

    void check() {
        adapter->UpdateCurrentPosition();
        if (hal->fix.valid)
            model_.moveTo(hal->fix.latitude, hal->fix.longitude);
        unit.forget();
        const uint32_t result = adapter->UpdateGeofence();
        const auto outcome = model_.check(isTold_ ? callback.result : 0x17000003u, isTold_);
        RC_ASSERT(result == outcome.result);
        Lines events;
        for (const std::string& event : outcome.events)
            events.push_back("callback " + event);
        RC_ASSERT(told() == events);
        const GPSReadings r = readings();
        for (std::size_t i = 0; i < GeofenceModel::kAreas; ++i)
            RC_ASSERT(static_cast<uint32_t>(r.geofenceStates[i]) == model_.states[i]);
        RC_ASSERT(logged() == (result == 0 ? Lines() : Lines{logLine(result)}));
    }

private:
    static std::string logLine(uint32_t result) {
        char text[64];
        snprintf(text, sizeof text, "3 GPSAdapter: check geofence returns rc=0x%08X", result);
        return text;
    }
    void drive(const Area& area, const Step& step) {
        hal->fix = fixAt(besideTheBorder(area.latitude, area.height, area.margin, step.north),
                         besideTheBorder(area.longitude, area.width, area.margin, step.east));
    }
    void change(const GeofenceModel::Areas& wanted) {
        model_.change(wanted);
        set([&](GPSParams& p) {
            for (std::size_t i = 0; i < wanted.size(); ++i) {
                GPSGeofence& fence = p.geofences[i];
                fence.name.setStr(wanted[i].name.c_str());
                fence.longitude = wanted[i].longitude;
                fence.latitude = wanted[i].latitude;
                fence.width = wanted[i].width;
                fence.height = wanted[i].height;
                fence.margin = wanted[i].margin;
            }
        });
    }

    GeofenceModel model_;
    const bool isTold_;
};

void follows(bool withCallback, const std::vector<Step>& history) {
    Drive drive(withCallback);
    for (const Step& step : history) {
        drive.take(step);
        drive.check();
    }
}

TEST(GeofenceModel, HoldsForEveryDriveAndItsEvents) {
    forRandomHistories([] { follows(true, *historyOf(steps(), 60)); });
}

TEST(GeofenceModel, HoldsForEveryDriveWithoutACallback) {
    forRandomHistories([] { follows(false, *historyOf(steps(), 30)); });
}

} // namespace
