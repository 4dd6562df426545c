#!/usr/bin/python3
"""The drawings of docs/semantics.md, from the numbers in a folder's text files. Called by tools/pictures/semantics.

  semantics_drawings.py DATA_FOLDER PICTURE_FOLDER
"""

import sys

sys.dont_write_bytecode = True

from picture import Picture, Scale, grid_across, grid_up, table  # noqa: E402

WIDTH = 820
COLOUR_OF_STATE = {"Unknown": "grey", "Inside": "blue", "Entered": "green", "Outside": "orange", "Left": "red"}


# --- Geofences ------------------------------------------------------------------------------------------------

PLACE_OF_STATE = {"Unknown": (110, 170), "Inside": (370, 85), "Left": (370, 255), "Entered": (680, 85),
                  "Outside": (680, 255)}
HALF = (84, 27)


def edge_path(begin, end):
    """From border to border, and beside the one that leads back."""
    if begin == end:
        x, y = PLACE_OF_STATE[begin]
        up = -1 if y < 170 else 1
        border = y + up * HALF[1]
        return f"M{x - 26} {border}C{x - 44} {border + up * 46} {x + 44} {border + up * 46} {x + 26} {border + up * 2}"
    (x1, y1), (x2, y2) = PLACE_OF_STATE[begin], PLACE_OF_STATE[end]
    part = min(HALF[0] / abs(x2 - x1) if x2 != x1 else 9, HALF[1] / abs(y2 - y1) if y2 != y1 else 9)
    side = (0, 0) if {begin, end} != {"Left", "Entered"} else (-12, 0) if begin == "Left" else (32, 0)
    points = [(x1 + (x2 - x1) * part + side[0], y1 + (y2 - y1) * part),
              (x2 + (x1 - x2) * part + side[0], y2 + (y1 - y2) * part)]
    return "M" + "L".join(f"{x:.1f} {y:.1f}" for x, y in points)


def geofence_states(data):
    picture = Picture(WIDTH, 350, "The states of a geofence and what a check makes of them")
    rows = table(f"{data}/geofence-states.txt")
    for row in rows:
        inside = row["position"] == "inside"
        colour, dash = ("blue", "") if inside else ("orange", "6 4")
        picture.path(edge_path(row["state"], row["next"]), colour, 2, dash, True)
    told = {row["next"]: row["told"] for row in rows if row["told"] != "-"}
    for state, (x, y) in PLACE_OF_STATE.items():
        picture.box(x - HALF[0], y - HALF[1], 2 * HALF[0], 2 * HALF[1], "ground", 8)
        picture.box(x - HALF[0], y - HALF[1], 2 * HALF[0], 2 * HALF[1], COLOUR_OF_STATE[state] + "-area", 8)
        picture.text(x, y - 2 if state in told else y + 5, state, "text", "middle", 15, "bold")
        if state in told:
            picture.text(x, y + 16, "tells " + told[state], "text", "middle", 11)
    picture.line(30, 325, 70, 325, "blue", 2)
    picture.text(78, 329, "a check finds the position inside")
    picture.line(310, 325, 350, 325, "orange", 2, "6 4")
    picture.text(358, 329, "a check finds it outside")
    picture.text(110, 133, "after a reset", "muted", "middle")
    picture.text(26, 30, "The margin counts in Unknown,", "muted")
    picture.text(26, 47, "Inside and Entered.", "muted")
    return picture


def state_strip(picture, rows, state, x, y):
    """What a state leads to, along an axis."""
    for row in rows:
        if row["state"] != state:
            continue
        begin, end = x(int(row["from"]) - 0.5), x(int(row["to"]) + 0.5)
        picture.box(begin, y, end - begin, 26, COLOUR_OF_STATE[row["next"]] + "-area")
        picture.text((begin + end) / 2, y + 17, row["next"], "text", "middle")


def geofence_borders(data):
    picture = Picture(WIDTH, 300, "Which state each state leads to, by the distance from the geofence's centre")
    rows = table(f"{data}/geofence-borders.txt")
    x = Scale(-4000, 4000, 150, 790)
    picture.text(14, 32, "state now", "muted")
    picture.text(470, 32, "state after the check, by the position", "muted", "middle")
    grid_across(picture, x, (-4000, -2500, -1000, 0, 1000, 2500, 4000), 42, 250)
    for line, state in enumerate(("Unknown", "Inside", "Entered", "Outside", "Left")):
        picture.text(14, 68 + 40 * line, state, weight="bold")
        state_strip(picture, rows, state, x, 51 + 40 * line)
    picture.text(470, 288, "microdegrees east of the centre: border at 1,000, margin of 1,500 beyond it", "muted",
                 "middle")
    return picture


def geofence_margin(data):
    picture = Picture(WIDTH, 400, "A position that wavers as it drives through a geofence, with a margin and without")
    rows = table(f"{data}/geofence-margin.txt")
    x, y = Scale(0, 120, 110, 800), Scale(-5000, 5000, 270, 20)
    for edge, words in ((2500, "margin"), (1000, "geofence")):
        picture.box(x(0), y(edge), x(120) - x(0), y(-edge) - y(edge), "blue-shade")
        picture.text(x(1), y(edge) + 14, words, "muted", size=11)
    grid_up(picture, y, (-4000, -2500, -1000, 0, 1000, 2500, 4000), x(0), x(120))
    picture.lines([(x(int(row["second"])), y(int(row["east"]))) for row in rows], "text", 1.5)
    for line, (column, words) in enumerate((("with-margin", "margin 1,500"), ("without-margin", "margin 0"))):
        margin_strip(picture, rows, column, words, x, 286 + 30 * line)
    grid_across(picture, x, range(0, 121, 20), 346, 350, " s")
    picture.text(455, 390, "microdegrees east of the centre, by the second; below: when the geofence counts as entered",
                 "muted", "middle")
    return picture


def margin_strip(picture, rows, column, words, x, y):
    picture.text(14, y + 16, words, size=12, weight="bold")
    inside, begin, count = False, 0, 0
    for row in rows:
        if row[column] == "-":
            continue
        count += 1
        if row[column] == "OnGeofenceEntered":
            begin = int(row["second"])
        else:
            picture.box(x(begin), y, x(int(row["second"])) - x(begin), 22, "blue-area")
        inside = not inside
    picture.text(x(119), y + 15, f"{count} calls", "text", "end")


def geofence_date_line(data):
    picture = Picture(WIDTH, 190, "A geofence across the date line ends there")
    rows = table(f"{data}/geofence-date-line.txt")
    x = Scale(-9000, 9000, 150, 790)
    picture.text(x(0), 22, "the date line", "text", "middle", weight="bold")
    picture.text(x(-4600), 22, "179.99… E", "muted", "middle")
    picture.text(x(4600), 22, "179.99… W", "muted", "middle")
    for line, state in enumerate(("Inside", "Outside")):
        picture.text(14, 58 + 40 * line, "from " + state, weight="bold")
        state_strip(picture, rows, state, x, 41 + 40 * line)
    picture.line(x(0), 28, x(0), 132, "text", 2)
    grid_across(picture, x, (-9000, -5500, -4000, -1000, 0, 2000, 9000), 120, 132)
    picture.text(x(0), 175, "microdegrees east of the date line; centre at -1,000, half the width 3,000, margin 1,500",
                 "muted", "middle")
    return picture


# --- Odometer -------------------------------------------------------------------------------------------------

def odometer_drive(data):
    picture = Picture(WIDTH, 330, "The odometer of a drive: warm-up, lag and what is counted")
    rows = table(f"{data}/odometer-drive.txt")
    x, y = Scale(0, 480, 70, 790), Scale(0, 4200, 280, 20)
    picture.box(x(0), y(4200), x(180) - x(0), y(0) - y(4200), "grey-shade")
    picture.text(x(90), 40, "warm-up of 180 cycles: nothing is counted", "text", "middle")
    grid_up(picture, y, range(0, 4001, 1000), x(0), x(480), " m")
    grid_across(picture, x, range(0, 481, 60), 276, 280, " s")
    for column, colour in (("driven", "grey"), ("counted", "blue")):
        picture.lines([(x(int(row["second"])), y(int(row[column]))) for row in rows], colour, 2.5)
    last = rows[-1]
    for column, colour in (("driven", "text"), ("counted", "blue")):
        metres = int(last[column])
        picture.text(x(478), y(metres) - 8, f"{column}: {metres:,} m", colour, "end", weight="bold")
    picture.text(430, 320, "10 m/s from the service's start to second 400, error estimate 5 m", "muted", "middle")
    return picture


COLOUR_OF_STEP = {"builds-up": "grey", "counted": "blue", "dropped": "red"}


def odometer_steps(data):
    picture = Picture(WIDTH, 330, "Each second's distance from the reference, and what becomes of a step")
    rows = table(f"{data}/odometer-steps.txt")
    x, y = Scale(0, 60, 70, 790), Scale(0, 27000, 270, 34)
    grid_up(picture, Scale(0, 27, 270, 34), (0, 5, 10, 20, 25), x(0), x(60), " m")
    grid_across(picture, x, range(0, 61, 10), 266, 270, " s")
    for row in rows:
        second, top = int(row["second"]), y(int(row["distance"]))
        picture.box(x(second) + 1.5, top, x(1) - x(0) - 3, y(0) - top, COLOUR_OF_STEP[row["done"]] + "-area")
    picture.line(x(0), y(15000), x(60), y(15000), "text", 1.5, "6 4")
    picture.text(790, 314, "6 m/s; dashed: 15 m, which a step must exceed", "muted", "end")
    for begin, end in ((0, 30), (30, 60)):
        gate = int(rows[begin]["gate"])
        picture.line(x(begin), y(gate), x(end), y(gate), "orange", 2.5)
        words = f"error estimate {gate // 2000} m: a step must exceed {gate // 1000} m"
        picture.text(x(begin), 22, words, "orange", weight="bold")
    for place, (done, words) in enumerate((("builds-up", "builds up"), ("counted", "counted"), ("dropped", "dropped"))):
        picture.box(70 + 140 * place, 302, 14, 14, COLOUR_OF_STEP[done] + "-area")
        picture.text(90 + 140 * place, 314, words)
    return picture


def odometer_gate(data):
    picture = Picture(WIDTH, 330, "The share of a drive that is counted, by speed and error estimate")
    rows = table(f"{data}/odometer-gate.txt")
    x = Scale(0.5, 45.5, 130, 790)
    columns = [column for column in rows[0] if column != "speed"]
    for line, column in enumerate(columns):
        bottom = 66 + 48 * line
        picture.text(14, bottom - 12, f"estimate {column[6:]} m", weight="bold")
        picture.line(x(0.5), bottom, x(45.5), bottom)
        for row in rows:
            height = 36 * min(100, int(row[column])) / 100
            if height > 0:
                picture.box(x(int(row["speed"]) - 0.4), bottom - height, x(0.8) - x(0), height, "blue-area")
    grid_across(picture, x, range(5, 46, 5), 262, 268, "")
    picture.text(460, 308, "speed in m/s; a full bar: all of the way is counted, none: nothing", "muted", "middle")
    return picture


def odometer_jump(data):
    picture = Picture(WIDTH, 340, "What the odometer makes of a position that jumps")
    rows = table(f"{data}/odometer-jump.txt")
    x, y = Scale(0, 60, 70, 560), Scale(0, 10500, 280, 20)
    grid_up(picture, y, range(0, 10001, 2000), x(0), x(60), " m")
    grid_across(picture, x, range(0, 51, 10), 276, 280, " s")
    series = (("jump-9990", "purple", "jump of 9,990 m", 0), ("jump-5000", "blue", "jump of 5,000 m", 0),
              ("jump-1001", "green", "jump of 1,001 m", -12), ("spike-500", "orange", "500 m for one fix", -8),
              ("jump-10020", "red", "jump of 10,020 m", 18))
    for column, colour, words, shift in series:
        picture.lines([(x(int(row["second"])), y(int(row[column]))) for row in rows], colour)
        last = int(rows[-1][column])
        picture.text(x(60) + 10, y(last) + 4 + shift, f"{words}: {last:,} m counted", colour)
    picture.text(330, 325, "a position that stands, jumps at second 5 and stands again; error estimate 5 m", "muted",
                 "middle")
    return picture


def odometer_standing(data):
    picture = Picture(WIDTH, 330, "What the odometer counts of a vehicle that stands for a day")
    rows = table(f"{data}/odometer-standing.txt")
    x, y = Scale(0, 24, 70, 560), Scale(0, 800, 270, 20)
    grid_up(picture, y, range(0, 801, 200), x(0), x(24), " m")
    grid_across(picture, x, range(0, 24, 4), 266, 270, " h")
    series = (("sigma-5", "red", "5 m", 0), ("sigma-4", "orange", "4 m", 0), ("sigma-3", "purple", "3 m", -4),
              ("sigma-2", "blue", "2 m", 2), ("sigma-5-uncorrected", "grey", "5 m, without corrections", 18))
    for column, colour, words, shift in series:
        picture.lines([(x(int(row["hour"])), y(int(row[column]))) for row in rows], colour, 2.5)
        metres = int(rows[-1][column])
        picture.text(x(24) + 10, y(metres) + 4 + shift, f"{words}: {metres:,} m counted", colour)
    picture.text(330, 318, "standard deviation of the drift to the north and to the east; correlation time 300 s",
                 "muted", "middle")
    return picture


# --- Schedule -------------------------------------------------------------------------------------------------

def tracking(data):
    picture = Picture(WIDTH, 330, "The seconds on which tracking reports go out")
    rows = table(f"{data}/tracking.txt")
    x = Scale(0, 130, 220, 790)
    schedules = list(dict.fromkeys(row["schedule"] for row in rows)) + ["period 0"]
    grid_across(picture, x, (0, 15, 30, 45, 60, 75, 90, 105, 120), 20, 270, " s")
    for minute in (0, 60, 120):
        picture.line(x(minute), 20, x(minute), 270, "text", 1.5)
    for line, schedule in enumerate(schedules):
        y = 40 + 35 * line
        picture.text(14, y + 4, schedule, weight="bold")
        picture.line(x(0), y, x(130), y)
        seconds = [int(row["second"]) for row in rows if row["schedule"] == schedule]
        for second in seconds:
            picture.dot(x(second), y, 5, "blue")
        if not seconds:
            picture.text(x(4), y - 4, "none", "muted", size=11)
    picture.text(500, 316, "seconds of UTC from a full minute on; the worker starts with it", "muted", "middle")
    return picture


FRESH_ROWS = (("driver: valid", "valid"), ("driver: a position", "position"), ("driver: a PDOP", "pdop"),
              ("readings: available", "available"))


def fresh_panel(picture, rows, top, title):
    x = Scale(0.5, 14.5, 180, 790)
    picture.text(14, top, title, weight="bold", size=13)
    picture.box(x(0.5), top + 10, x(10.5) - x(0.5), 146, "green-shade")
    for line, (words, column) in enumerate(FRESH_ROWS):
        y = top + 14 + 24 * line
        picture.text(14, y + 14, words)
        for row in rows:
            if row[column] == "1":
                picture.box(x(int(row["age"]) - 0.42), y, x(0.84) - x(0), 19, "green-area")
    picture.text(14, top + 124, "readings: age by fixTick")
    picture.text(14, top + 148, "callback")
    for row in rows:
        middle = x(int(row["age"]))
        picture.text(middle, top + 124, row["fix-age"] + " s", "text", "middle", 11)
        if row["told"] == "OnAvailabilityChanged 0":
            picture.dot(middle, top + 144, 5, "red")
        picture.text(middle, top + 172, row["age"] + " s", "muted", "middle", 11)


def freshness(data):
    picture = Picture(WIDTH, 432, "What becomes of a fix that is not renewed")
    fresh_panel(picture, table(f"{data}/freshness-silence.txt"), 26, "gpsd says nothing more")
    fresh_panel(picture, table(f"{data}/freshness-loss.txt"), 226, "gpsd goes on, with reports that have no position")
    picture.dot(190, 418, 5, "red")
    picture.text(202, 422, "OnAvailabilityChanged(false)", "text", size=11)
    picture.text(790, 422, "seconds since the last report with a position", "muted", "end", 11)
    return picture


# --- Life -----------------------------------------------------------------------------------------------------

LANES = (("application", "application", "blue"), ("worker", "worker thread", "purple"),
         ("reader", "reader thread", "purple"), ("empty cycles", "cycles without data", "red"),
         ("waits", "waits for", "grey"), ("gpsd", "gpsd", "green"),
         ("port", "port open", "orange"), ("line", "line's speed", "orange"), ("commands", "commands", "orange"),
         ("receiver", "receiver", "orange"), ("database", "database file", "orange"))


def lane_panel(picture, rows, top, title, first, last):
    """One panel; returns the place below it."""
    x = Scale(first, last, 150, 790)
    used = [lane for lane in LANES if any(row["lane"] == lane[0] for row in rows)]
    bottom = top + 12 + 26 * len(used)
    picture.text(14, top, title, weight="bold", size=13)
    step = next(step for step in (500, 1000, 2000, 5000) if (last - first) / step <= 16)
    for value in range(first, last + 1, step):
        picture.line(x(value), top + 10, x(value), bottom)
        picture.text(x(value), bottom + 15, f"{value / 1000:g} s", "muted", "middle", 11)
    for line, (lane, words, colour) in enumerate(used):
        picture.text(14, top + 29 + 26 * line, words)
        in_lane = sorted((row for row in rows if row["lane"] == lane), key=lambda row: int(row["from"]))
        draw_lane(picture, in_lane, x, top + 14 + 26 * line, colour)
    return bottom + 44


def draw_lane(picture, rows, x, y, colour):
    ends = [x(int(row["from"])) for row in rows[1:]] + [800]
    for row, room_ends in zip(rows, ends):
        begin, end = x(int(row["from"])), x(int(row["to"]))
        counted = row["lane"] == "empty cycles"
        if end - begin >= 3:
            picture.box(begin, y, end - begin, 21, colour + "-area", 3)
            room_ends = end
        else:
            picture.box(begin - 0.5, y, 1.5 if counted else 3, 21, colour)
        if len(row["what"]) * 5.8 + 5 <= room_ends - begin:
            picture.text(begin + 4, y + 15, row["what"], size=11)


def within(rows, first, last):
    """What is to be seen of the rows between two milliseconds."""
    seen = [dict(row) for row in rows if int(row["to"]) >= first and int(row["from"]) <= last]
    for row in seen:
        row["from"], row["to"] = max(first, int(row["from"])), min(last, int(row["to"]))
    return seen


def life(data, title, panels):
    """Panels one below the other, each (file, title, first and last millisecond)."""
    cut = [(within(table(f"{data}/{name}.txt"), first, last), words, first, last)
           for name, words, first, last in panels]
    height = sum(56 + 26 * len({row["lane"] for row in rows}) for rows, _, _, _ in cut)
    picture = Picture(WIDTH, height + 4, title)
    top = 26
    for rows, words, first, last in cut:
        top = lane_panel(picture, rows, top, words, first, last)
    return picture


def start(data):
    return life(data, "The start of the service", (
        ("start", "A receiver that answers at once", 0, 6000),
        ("start-silent", "A silent receiver, and a database of two frames", 0, 30000)))


def stop(data):
    return life(data, "The end of the service", (
        ("stop", "A report each second, a receiver that answers at once", 0, 2500),
        ("stop-silent", "gpsd and receiver are silent", 0, 12500)))


def watchdog(data):
    return life(data, "The watchdog restarts gpsd", (
        ("watchdog-silence", "gpsd falls silent: it is noticed", 0, 55900),
        ("watchdog-silence", "the restart, closer", 56000, 69000),
        ("watchdog-death", "gpsd dies", 0, 13000)))


COLOUR_OF_FIELD = {"sync": "grey", "class and id": "purple", "length": "blue", "payload": "green", "checksum": "orange",
                   "trailer": "red"}


def database(data):
    picture = Picture(WIDTH, 290, "What the navigation database's file holds")
    rows = table(f"{data}/database.txt")
    lines = (("receiver", "sent by the receiver"), ("file", "in the file"), ("start", "sent at the next start"))
    for line, (where, words) in enumerate(lines):
        y = 30 + 72 * line
        picture.text(14, y, words, weight="bold")
        x = 14
        for row in (row for row in rows if row["where"] == where):
            x = draw_field(picture, row, x, y + 10)
    x = 14
    for field, colour in COLOUR_OF_FIELD.items():
        picture.box(x, 250, 14, 14, colour + "-area")
        picture.text(x + 20, 262, field)
        x += 50 + 7 * len(field)
    return picture


def draw_field(picture, row, x, y):
    for byte in row["bytes"].split():
        picture.box(x, y, 23, 28, COLOUR_OF_FIELD[row["field"]] + "-area")
        text = chr(int(byte, 16)) if row["field"] == "trailer" else byte
        picture.text(x + 11.5, y + 19, text, "text", "middle", 12)
        x += 24
    return x + (10 if row["field"] == "checksum" else 0)


# --------------------------------------------------------------------------------------------------------------

DRAWINGS = {
    "geofence-states": geofence_states, "geofence-borders": geofence_borders, "geofence-margin": geofence_margin,
    "geofence-date-line": geofence_date_line, "odometer-drive": odometer_drive, "odometer-steps": odometer_steps,
    "odometer-gate": odometer_gate, "odometer-jump": odometer_jump, "odometer-standing": odometer_standing,
    "tracking": tracking, "freshness": freshness, "start": start, "watchdog": watchdog, "stop": stop, "database": database,
}


def main():
    data, pictures = sys.argv[1:]
    for name, draw in DRAWINGS.items():
        with open(f"{pictures}/{name}.svg", "w", encoding="utf-8") as file:
            file.write(draw(data).svg())


if __name__ == "__main__":
    main()
