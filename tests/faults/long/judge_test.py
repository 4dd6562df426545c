#!/usr/bin/env python3
"""That the long drive's judge passes a drive as it should be, and finds each thing that isn't.

    judge_test.py JUDGE
"""

import pathlib
import sys
import tempfile
import unittest

import made_up_drive
from made_up_drive import GONE

judge = made_up_drive.load(sys.argv.pop(1))

SECONDS = 3000
KILL = 1600


def made_up_lines():
    """A drive of 50 minutes as it should be."""
    return made_up_drive.lines(judge, SECONDS, KILL)


class Judge(unittest.TestCase):
    def judged(self, lines):
        with tempfile.TemporaryDirectory() as folder:
            leg = pathlib.Path(folder) / "leg-1"
            leg.mkdir()
            (leg / "output").write_text("\n".join(lines) + "\n")
            (found,) = judge.legs_of(folder)
            return judge.Judgement(found).judge()

    def without(self, holds):
        """Drops the first line behind the first 400 s that `holds`."""
        lines = list(made_up_lines())
        begin = lines.index(next(line for line in lines if line.startswith(f"fix time={GONE + 400:.0f}")))
        lines.remove(next(line for line in lines[begin:] if holds(line)))
        return self.judged(lines)

    def changed(self, old, new):
        return self.judged([line.replace(old, new) for line in made_up_lines()])

    def test_passes_a_drive_as_it_should_be(self):
        judgement = self.judged(made_up_lines())
        self.assertEqual(judgement.amiss, [])
        self.assertEqual(judgement.figures["events_lost"], 0)
        self.assertEqual(judgement.figures["kills"], 1)
        self.assertGreater(judgement.figures["geofence_events"], 10)
        self.assertGreater(judgement.figures["tracking_reports"], 40)

    def test_finds_each_lost_event(self):
        for event in ("event entered", "event left", "event tracking", "event position"):
            with self.subTest(event=event):
                self.assertEqual(self.without(lambda line, e=event: line.startswith(e)).figures["events_lost"], 1)

    def test_finds_events_that_never_came_or_came_no_more(self):
        for begin in (0, 2000):
            with self.subTest(begin=begin):
                lines = [line for line in made_up_lines()
                         if not (line.startswith("event position") and float(line.split("t=")[1]) > GONE + begin)]
                self.assertAlmostEqual(self.judged(lines).figures["events_lost"], (SECONDS - begin) / 11, delta=4)

    def test_finds_an_event_too_many(self):
        lines = list(made_up_lines())
        left = next(line for line in lines if line.startswith("event left"))
        self.assertIn("nothing explains", str(self.judged(lines + [left]).amiss))

    def test_finds_a_loss_that_nobody_made(self):
        lines = [line for line in made_up_lines() if not any(f"time={GONE + s:.0f}" in line for s in range(800, 806))]
        self.assertIn("nobody had killed", str(self.judged(lines).amiss))

    def test_finds_a_kill_that_is_no_loss(self):
        self.assertIn("1 losses of 2 kills", str(self.judged([*made_up_lines(), f"killed gpsd t={GONE + 99}"]).amiss))

    def test_finds_a_kill_that_was_left_out(self):
        calm = [line.replace(f"kill_every={KILL}", "kill_every=300") for line in made_up_lines()]
        self.assertIn("1 kills, 9 were due", str(self.judged(calm).amiss))

    def test_finds_that_nobody_looked_at_what_is_held(self):
        lines = [line for line in made_up_lines() if not line.startswith("sample end")]
        self.assertIn("less than twice", str(self.judged(lines).amiss))

    def test_finds_a_fix_off_the_way(self):
        lines = [line.replace(" lat=4", " lat=3") if f"time={GONE + 700:.0f}" in line else line for line in made_up_lines()]
        self.assertIn("off the way", str(self.judged(lines).amiss))

    def test_finds_a_wrong_distance(self):
        lines = [line.replace("odometer=", "odometer=1") if f"time={GONE + SECONDS:.0f}" in line else line
                 for line in made_up_lines()]
        self.assertIn("odometer", str(self.judged(lines).amiss))

    def test_finds_whatever_has_grown(self):
        for old in ("heap=1000", "anonymous_kib=500", "descriptors=8", "threads=3", "processes=7"):
            with self.subTest(old=old):
                lines = [line.replace(old, old + "9") if line.startswith("sample end") else line for line in made_up_lines()]
                self.assertNotEqual(self.judged(lines).amiss, [])

    def test_finds_a_heap_that_was_not_measured(self):
        lines = [line.replace("heap=1000", "heap=0") for line in made_up_lines()]
        self.assertIn("wasn't measured", str(self.judged(lines).amiss))


if __name__ == "__main__":
    unittest.main()
