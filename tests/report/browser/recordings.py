"""Recordings for the tests of the report's page, made of numbers alone: the same ones each time."""

import json
import math
from datetime import datetime, timedelta, timezone

BEGIN = datetime(2026, 5, 4, 6, 0, tzinfo=timezone.utc)
FIRST_TICK = 1000
METRES_PER_DEGREE = 111132.86
LATITUDE, LONGITUDE = 52.5145, 13.3501
LAP_S = 600  # once around the track
LAP_RADIUS_M = 1500
AWKWARD_NAME = """<script>alert("&'1'")</script>"""


def geofence(slot, name, latitude, longitude):
    return {"slot": slot, "name": name, "latitude_deg": latitude, "longitude_deg": longitude, "width_deg": 0.006,
            "height_deg": 0.004, "margin_deg": 0.0005}


def settings(geofences):
    return {"enabled": True, "position_interval_s": 1, "status_interval_s": 2, "log_interval_s": 900,
            "tracking": {"enabled": True, "period_s": 30, "base_s": 0, "offset_s": 0},
            "geofences_enabled": True, "geofences": list(geofences)}


class Recording:
    """Lines with their moments, and what a vehicle on a round track makes of them."""

    def __init__(self, path, latitude=LATITUDE, longitude=LONGITUDE):
        self.file = open(path, "w", encoding="utf-8")
        self.begin_s = 0  # of this start of the monitor
        self.centre = latitude, longitude
        self.north_radius_m = LAP_RADIUS_M
        self.metres_per_degree = METRES_PER_DEGREE, METRES_PER_DEGREE * math.cos(math.radians(latitude))
        self.geofences = (geofence(0, "Depot", latitude, self.place(0)[1]),
                          geofence(4, AWKWARD_NAME, latitude, self.place(math.pi)[1]))
        self.states = ["unknown"] * 12
        self.odometer_m = 0
        self.position = None

    def place(self, angle):
        """On the track, which is round unless it is made flat."""
        east = self.centre[1] + LAP_RADIUS_M * math.cos(angle) / self.metres_per_degree[1]
        return (round(self.centre[0] + self.north_radius_m * math.sin(angle) / self.metres_per_degree[0], 6),
                round((east + 180) % 360 - 180, 6))

    def line(self, second, kind, **content):
        time = (BEGIN + timedelta(seconds=second)).strftime("%Y-%m-%dT%H:%M:%S.") + f"{second % 1 * 1000:03.0f}Z"
        moment = {"type": kind, "time_utc": time, "uptime_s": round(second - self.begin_s, 3),
                  "tick_s": FIRST_TICK + int(second)}
        self.file.write(json.dumps({**moment, **content}) + "\n")

    def start(self, second):
        self.begin_s = second
        self.states = ["unknown"] * 12
        self.line(second, "start", format="ruxogps telemetry", version=1, program="ruxogps-monitor 0.1.0")
        self.line(second, "settings", **settings(self.geofences))
        self.line(second, "service", step="running", elapsed_s=0, longest_s=None, result=0)

    def where(self):
        latitude, longitude = self.position or (None, None)
        return {"latitude_deg": latitude, "longitude_deg": longitude}

    def drive(self, second):
        """Moves the vehicle; tells where it has crossed a border."""
        self.position = self.place(2 * math.pi * second / LAP_S)
        self.odometer_m += 16 if second >= 180 else 0
        for fence in self.geofences:
            self.look_at(second, fence)

    def look_at(self, second, fence):
        """As the service does: the margin counts while the vehicle may be inside, the first look tells of no entry."""
        slot, before = fence["slot"], self.states[fence["slot"]]
        margin = 0 if before in ("outside", "left") else fence["margin_deg"]
        inside = all(abs(at - fence[f"{angle}_deg"]) <= fence[f"{extent}_deg"] / 2 + margin + 1e-9 for at, angle, extent in
                     zip(self.position, ("latitude", "longitude"), ("height", "width")))
        news = before in ("outside", "left") if inside else before not in ("outside", "left")
        self.states[slot] = ("entered" if inside else "left") if news else ("inside" if inside else "outside")
        if news:
            self.line(second, "geofence_" + self.states[slot], geofence={"slot": slot, "name": fence["name"]},
                      **self.where())

    def fix(self, second):
        speed = 15.7 + 6 * math.sin(second / 37)
        return {"time_utc": (BEGIN + timedelta(seconds=int(second))).strftime("%Y-%m-%dT%H:%M:%SZ"), **self.where(),
                "altitude_m": 34.0, "speed_m_per_s": round(speed, 3), "course_deg": round(second * 0.6 % 360, 3),
                "hdop": 0.9, "tdop": 1.1, "pdop": round(1.7 + 0.5 * math.sin(second / 90), 3), "gdop": 2.0}

    def readings(self, second, fix_second=None, antenna=1):
        fix_second = int(second) if fix_second is None else fix_second
        self.line(second, "readings", available=antenna == 1, antenna="in order" if antenna == 1 else "disconnected",
                  antenna_state=antenna, satellites=9 + int(second / 50) % 4, snr_dbhz=38 + int(second / 20) % 5,
                  fix_tick_s=FIRST_TICK + fix_second, fix_age_s=int(second) - fix_second, fix=self.fix(fix_second),
                  odometer_m=self.odometer_m, geofence_states=self.states, time_deviation_s=0, horizontal_error_m=4,
                  time_error_ms=5)

    def antenna(self, second, state):
        self.line(second, "antenna", antenna="in order" if state == 1 else "disconnected", antenna_state=state,
                  **self.where())

    def stretch(self, begin, end):
        """A fix each second, and what comes with it."""
        for second in range(begin, end):
            self.drive(second)
            if second % 11 == 10:
                self.line(second, "position_update", **self.where())
            if second % 30 == 0:
                self.line(second, "tracking", fix=self.fix(second))
            self.readings(second + 0.25)

    def end(self, second):
        self.line(second, "end", status=0)
        self.file.close()


def eventful(path, *where):
    """Twenty minutes in which all comes that a page marks: crossings, an antenna lost, a gap, a restart, lost events."""
    recording = Recording(path, *where)
    recording.start(0)
    recording.line(0, "availability", available=True, **recording.where())
    recording.antenna(0, 1)
    recording.line(0, "tracking", fix=None)
    recording.stretch(1, 400)
    recording.antenna(400, 2)
    for second in range(400, 425):
        recording.readings(second + 0.25, fix_second=399, antenna=2)
    recording.antenna(425, 1)
    recording.stretch(426, 700)
    recording.line(700, "lost", events=3)
    recording.start(760)
    recording.stretch(761, 1200)
    recording.end(1200)


def flat(path):
    """Half a lap that leads hardly to the north."""
    recording = Recording(path)
    recording.north_radius_m = 40
    recording.start(0)
    recording.stretch(1, LAP_S // 2)
    recording.end(LAP_S // 2)


def without_fix(path):
    """Two minutes in a garage."""
    recording = Recording(path)
    recording.start(0)
    for second in range(120):
        recording.line(second, "readings", available=False, antenna="in order", antenna_state=1, satellites=0, snr_dbhz=0,
                       fix_tick_s=0, fix_age_s=None, fix=None, odometer_m=0, geofence_states=recording.states,
                       time_deviation_s=None, horizontal_error_m=0, time_error_ms=0)
    recording.end(120)


def cut(path, whole):
    """As a loss of power leaves it: the last line is not whole."""
    path.write_bytes(whole.read_bytes()[:-10])


def whole_day(path):
    recording = Recording(path)
    recording.start(0)
    recording.stretch(1, 86401)
    recording.end(86401)


def counts(path):
    """What the page has to state, counted from the recording's lines alone."""
    kinds, fixes, lost, tick, lines = {}, 0, 0, 0, 0
    with open(path, encoding="utf-8") as file:
        for text in file:
            line = json.loads(text)
            lines += 1
            kind = "without_fix" if line["type"] == "tracking" and line["fix"] is None else line["type"]
            kinds[kind] = kinds.get(kind, 0) + 1
            if line["type"] == "readings":
                fixes += line["fix_tick_s"] not in (0, tick)
                tick = line["fix_tick_s"]
            lost += line["events"] if line["type"] == "lost" else 0
    return {"lines": lines, "samples": kinds.get("readings", 0), "fixes": fixes, "lost": lost,
            "entered": kinds.get("geofence_entered", 0), "left": kinds.get("geofence_left", 0),
            "antenna": kinds.get("antenna", 0), "availability": kinds.get("availability", 0),
            "position-updates": kinds.get("position_update", 0), "tracking": kinds.get("tracking", 0),
            "tracking-without-fix": kinds.get("without_fix", 0)}
