#!/usr/bin/python3
"""How far the demo game's flash and its beep are apart in a clip; scripts/bench --sound records it and
starts this. A beep or a flash that is not there is said, and no other takes its place."""

import argparse
import json
import math
import os
import statistics
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tests", "e2e"))
from load import processor_name  # noqa: E402
from table import Table  # noqa: E402
from flash_and_beep import beeps, flashes, match  # noqa: E402

GAME_SIZE = (1280, 720)
MEDIAN_MS = 40
WORST_MS = 80
# A clock that is wrong by 0.002 % gains more in ten minutes. What may be noise alone counts for none.
DRIFT_MS = 10


def drift(pairs):
    """By how much more, in ms, flashes come after their beeps at the end than at the beginning, by the
    straight line that fits best, and the standard error of that."""
    moments = [moment for moment, _ in pairs]
    offsets = [offset * 1000 for _, offset in pairs]
    slope, start = statistics.linear_regression(moments, offsets)
    rest = sum((offset - start - slope * moment) ** 2 for moment, offset in zip(moments, offsets))
    spread = sum((moment - statistics.mean(moments)) ** 2 for moment in moments)
    length = moments[-1] - moments[0]
    return slope * length, math.sqrt(rest / (len(pairs) - 2) / spread) * length


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("clip")
    parser.add_argument("--quick", action="store_true", help="does nothing: the clip is shorter")
    parser.add_argument("--json")
    options = parser.parse_args()
    load = os.getloadavg()

    # What is cut off by the clip's beginning or end says nothing.
    heard = beeps(options.clip)[1:-1]
    first, last = (heard[0].start, heard[-1].start) if heard else (0, 0)
    seen = [flash for flash in flashes(options.clip, *GAME_SIZE) if first - 0.5 < flash < last + 0.5]
    matches = match([beep.start for beep in heard], seen)
    if len(matches.pairs) < 5:
        sys.exit(f"bench: {len(heard)} beeps and {len(seen)} flashes are too few")

    print(f"{time.strftime('%Y-%m-%d')}, {processor_name()}, {os.cpu_count()} processors; load at the"
          f" recording's end {load[0]:.1f}, in the five minutes before {load[1]:.1f}.")
    print("\n| What | Figure (least to most) | Limit | Holds | |\n|---|---|---|---|---|")
    table = Table()
    sizes = [abs(offset) * 1000 for _, offset in matches.pairs]
    signed = [offset * 1000 for _, offset in matches.pairs]
    table.add("flash and beep apart, median", sizes, MEDIAN_MS, unit=" ms",
              note=f"{len(sizes)} pairs in {last - first:.0f} s; flashes come after their beeps by"
              f" {min(signed):.0f} to {max(signed):.0f} ms")
    table.add("flash and beep apart, worst", sizes, WORST_MS, unit=" ms", chosen=max(sizes))
    gained, noise = drift(matches.pairs)
    table.add("drift from beginning to end, beyond twice its standard error", [abs(gained)], DRIFT_MS,
              unit=" ms", chosen=max(abs(gained) - 2 * noise, 0),
              note=f"{gained:+.1f} ms, standard error {noise:.1f} ms")
    missing = len(matches.without_flash) + len(matches.without_beep) + len(matches.without_both)
    table.add("missing", [missing], 0,
              note=f"beeps {len(matches.without_beep)}, flashes {len(matches.without_flash)}, both"
              f" {len(matches.without_both)}")
    broken = [beep for beep in heard if not beep.is_whole()]
    table.add("beeps that falter", [len(broken)], 0,
              note="at " + ", ".join(f"{beep.start:.0f} s" for beep in broken) if broken else "")
    if options.json:
        with open(options.json, "w", encoding="utf-8") as file:
            json.dump({"load": load, "figures": table.rows, "pairs": matches.pairs,
                       "missing": matches[1:], "faltering": broken}, file, indent=1)
            file.write("\n")
    return 1 if table.missed() else 0


if __name__ == "__main__":
    sys.exit(main())
