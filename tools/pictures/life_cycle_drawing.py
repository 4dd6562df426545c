#!/usr/bin/python3
"""Draws the life of a GPSAdapter for docs/application.md: life_cycle_drawing.py FILE"""

import sys

from picture import Picture

WIDTH = 880
STATE, APPLICATION, READER, WORKER, PORT = 20, 128, 434, 570, 706  # left sides of the columns
THREAD_WIDTH = 120
TOP = 64
ROW = 58

# What the application calls, what happens, how long it usually takes; the state that it leads to.
CALLS = [
    ("GPSAdapter gps(&callback)", "gpsd is killed, the receiver reset and configured", "1 to 2 s", "constructed"),
    ("SetParams", "settings are taken; any time, from any thread", "at once", None),
    ("Initialize", "gpsd is started on the receiver's port", "a second", "active"),
    ("Start", "from 3 s after Initialize on: both threads begin", "2 to 3 s", "running"),
    ("GetReadings, SetParams, ...", "any time, from any thread", "at once", None),
    ("Stop", "worker and reader end; Start begins again", "up to 5 s", "active"),
    ("Finalize", "Stop, and gpsd is killed; Initialize begins again", "a second", "constructed"),
    ("~GPSAdapter", "Finalize, and the receiver's database is saved", "half a second", "none"),
]
START, STOP = 3, 5  # rows


def y_of(row):
    return TOP + row * ROW


def draw_headings(picture):
    for x, words in ((STATE, "state"), (APPLICATION, "your thread"), (READER, "reader"), (WORKER, "worker"),
                     (PORT, "who has /dev/ttymxc1")):
        picture.text(x, 40, words, "muted", size=12, weight="bold")


def draw_states(picture):
    begin, colours = None, {"constructed": "grey", "active": "blue", "running": "green"}
    for row, (_, _, _, state) in enumerate(CALLS):
        if state is None:
            continue
        if begin is not None:
            first, name = begin
            picture.box(STATE, y_of(first) + 30, 88, (row - first) * ROW - 26, f"{colours[name]}-area", 6)
            picture.text(STATE + 44, y_of(first) + (row - first) * ROW / 2 + 21, name, anchor="middle", size=13)
        begin = (row, state)


def draw_calls(picture):
    for row, (call, effect, duration, _) in enumerate(CALLS):
        y = y_of(row)
        picture.text(APPLICATION, y + 14, call, size=14, weight="bold")
        picture.text(APPLICATION, y + 31, effect, "muted", size=11)
        picture.text(READER - 16, y + 14, duration, "orange", "end", 11)


def draw_thread(picture, x, words):
    top, bottom = y_of(START) + 22, y_of(STOP) + 8
    picture.box(x, top, THREAD_WIDTH, bottom - top, "purple-area", 6)
    for line, part in enumerate(words):
        y = (top + bottom) / 2 + 4 + 16 * (line - (len(words) - 1) / 2)
        picture.text(x + THREAD_WIDTH / 2, y, part, anchor="middle", size=11)


def draw_threads(picture):
    draw_thread(picture, READER, ("copies", "gpsd's reports", "into the snapshot"))
    draw_thread(picture, WORKER, ("runs the updates,", "calls your", "IGPSCallback"))


def draw_port(picture):
    spans = ((y_of(0), y_of(0) + 36, "the library", "orange"), (y_of(2) + 18, y_of(6) + 18, "gpsd", "blue"),
             (y_of(7), y_of(7) + 36, "the library", "orange"))
    for top, bottom, words, colour in spans:
        picture.box(PORT, top, 150, bottom - top, f"{colour}-area", 6)
        picture.text(PORT + 75, (top + bottom) / 2 + 4, words, anchor="middle", size=12)


def main():
    picture = Picture(WIDTH, TOP + len(CALLS) * ROW, "The life of a GPSAdapter, its threads, and whose the port is")
    draw_headings(picture)
    draw_states(picture)
    draw_calls(picture)
    draw_threads(picture)
    draw_port(picture)
    with open(sys.argv[1], "w", encoding="utf-8") as file:
        file.write(picture.svg())


if __name__ == "__main__":
    main()
