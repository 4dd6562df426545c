// make_recording KIND: writes a recording to the standard output, for programs that read one.

#include <cmath>
#include <cstring>
#include <iostream>

#include "Json.h"
#include "TestDrive.h"

namespace {

using namespace telemetry;

/// 500 fixes with a gap and a stop of a minute in three segments, and an event of each kind.
void drive(TestDrive& drive) {
    drive.watches({"Depot", {52100000, 13000000}, 4000, 2000, 1500});
    drive.tells(AvailabilityChanged{true, std::nullopt}); // nobody knows where
    drive.drivesOn(200);
    drive.enters("Depot", Position{52100000, 13000000});
    drive.tickS += 60;
    drive.drivesOn(200);
    drive.tells(AntennaChanged{2, Position{52120000, 13000000}});
    drive.tells(Tracked{Fix()});
    drive.tells(PositionUpdated{});
    drive.tells(Start{1, "ruxogps-monitor 0.1.0"});
    drive.drivesOn(38);
    drive.standsStill(60);
    drive.drivesOn(2);
}

/// Over the date line and close to the poles, with geofences there, some of them with impossible numbers.
void edges(TestDrive& drive) {
    drive.watches({"Fiji", {-17000000, 179900000}, 400000, 400000, 1500});
    drive.watches({"Chatham", {-44000000, -179990000}, 400000, 400000, 1500});
    drive.watches({"North Pole", {90000000, 0}, 360000000, 400000, 1500});
    drive.watches({"A line", {0, 0}, 1, 1, 0});
    drive.watches({"Nothing", {1000, 1000}, 4294967295u, 4294967295u, 4294967295u});
    for (int i = -10; i <= 10; ++i)
        drive.isAt(-17000000 + i, i < 0 ? 180000000 + i * 1000 : -180000000 + i * 1000);
    for (int i = -10; i <= 10; ++i)
        drive.isAt(90000000 - std::abs(i) * 1000, i < 0 ? 10000000 : -170000000);
    drive.isAt(2147483647, 2147483647, 4294967295u);
    drive.tickS -= 40;
    drive.isAt(-90000000, 180000000);
}

void names(TestDrive& drive) {
    drive.isAt(52000000, 13000000);
    for (const char* const name :
         {"<Depot>", "A & B", "\"quoted\" 'twice'", "tab\tline\nreturn\r", "bell\x07 escape\x1b",
          "not UTF-8 \xff\xc0", "no character \xef\xbf\xbf", "]]>",
          "Hafenstra\xc3\x9f"
          "e",
          "\xf0\x9f\x9a\x9a", "", "-->"}) {
        drive.watches({name, {52000000, 13000000}, 4000, 2000, 1500});
        drive.enters(name, Position{52000000, 13000000});
    }
}

void nothing(TestDrive& /*unused*/) {}

/// 44 hours and more at 1 Hz, without a stop, around a circle: more than an export holds.
void days(TestDrive& drive) {
    for (int i = 0; i < 160000; ++i)
        drive.isAt(52000000 + static_cast<int>(1e5 * std::sin(i / 1e3)),
                   13000000 + static_cast<int>(1e5 * std::cos(i / 1e3)));
}

struct Kind {
    const char* name;
    void (*make)(TestDrive& drive);
};

const Kind kKinds[] = {
    {"drive", drive}, {"edges", edges}, {"names", names}, {"nothing", nothing}, {"days", days}};

} // namespace

int main(int count, char** arguments) {
    for (const Kind& kind : kKinds) {
        if (count != 2 || std::strcmp(arguments[1], kind.name) != 0)
            continue;
        TestDrive made;
        kind.make(made);
        for (const Line& line : made.lines)
            std::cout << toJson(line) << '\n';
        return 0;
    }
    std::cerr << "make_recording: the kind of recording is missing\n";
    return 2;
}
