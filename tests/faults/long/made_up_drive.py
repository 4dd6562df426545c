#!/usr/bin/env python3
"""A drive that was never driven, for the tests of what judges one.

    made_up_drive.py JUDGE SECONDS KILL_EVERY       prints what long_drive prints
"""

import importlib.machinery
import importlib.util
import sys

GONE = 1795356000.0
GAP = range(5, 17)  # seconds behind a kill
HELD = "heap=1000 anonymous_kib=500 descriptors=8 threads=3 processes=7"


def load(path):
    """The judge is a command without an ending; what Python would keep of it has no place beside the sources."""
    sys.dont_write_bytecode = True
    loader = importlib.machinery.SourceFileLoader("judge", path)
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("judge", loader))
    loader.exec_module(module)
    return module


def lines(judge, seconds, kill_every):
    """What long_drive prints when all is as it should be."""
    way = judge.Way()
    inside = {}
    yield f"started t={GONE - judge.WARM_UP_S:.3f}"
    yield f"gone kill_every={kill_every} t={GONE:.3f}"
    odometer = 0
    for second in range(1, seconds + 1):
        time = GONE + second
        if second == 60:
            yield f"sample minute {HELD} t={time:.3f}"
        if second % kill_every == 0:
            yield f"killed gpsd t={time:.3f}"
        if time % judge.PERIOD_S == 0:
            yield f"event tracking valid=1 t={time - 0.5:.3f}"
        if second > kill_every and second % kill_every in GAP:
            continue
        position = way.position(way.driven_m(second))
        odometer = round(way.driven_m(second - judge.SMOOTHING_S))
        yield "fix time={:.0f} lat={:.0f} lon={:.0f} odometer={} error=6 t={:.3f}".format(
            time, position[0] * 1e6, position[1] * 1e6, odometer, time + 0.5
        )
        for name, centre in judge.geofences().items():
            now = judge.is_inside(position, centre)
            if inside.get(name, now) != now:
                yield f"event {'entered' if now else 'left'} name={name} t={time + 0.6:.3f}"
            inside[name] = now
        if second % 11 == 0:
            yield f"event position t={time + 0.6:.3f}"
    yield f"sample end {HELD} t={GONE + seconds:.3f}"
    yield f"ended status=0 t={GONE + seconds:.3f}"


if __name__ == "__main__":
    for line in lines(load(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3])):
        print(line, flush=True)
