#!/usr/bin/python3
"""What scripts/bench prints and writes, in its quick mode, and how it compares two runs. No figure is
judged here.

    bench_test.py PROJECT_FOLDER PROGRAMS CORE_BENCH LINKER_MAP
"""

import contextlib
import io
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

project, programs, core_bench, linker_map = sys.argv[1:5]
sys.path.insert(0, os.path.join(project, "bench"))
import against  # noqa: E402
from table import Table  # noqa: E402

# Each row with its limit.
ROWS = {
    "packet callback, watchdog waiting, 1 thread / floor": 1.10,
    "packet callback, watchdog waiting, 4 threads / floor": 1.10,
    "log line of the library to the queue / floor": 1.25,
    "message with all settings to the queued command / floor": 1.5,
    "message with a restart to the queued command / floor": 1.5,
    "allocations of the packet callback": 0,
    "frames of 64 bytes a second from the pipe to the main loop / floor": 0.9,
    "frames of 4096 bytes a second from the pipe to the main loop / floor": 0.9,
    "clip request to answer, instant dump, time in which half are answered / floor": 1.5,
    "clip request to answer, instant dump, time in which 99 of 100 are answered / floor": 2,
    "start until the pipe is open / floor": 1.5,
    'end after "die", more than the floor': 3,
    "frames of 64 bytes a second from the pipe to the main loop, all on one processor / floor": None,
    "frames of 4096 bytes a second from the pipe to the main loop, all on one processor / floor":
        None,
    "wake-ups a second of all threads": None,
    "processor share, of one processor": None,
    "private memory": None,
    "the program": None,
    "an empty program, linked alike": None,
}


def row(value, rounds=None, at_least=False, what="a row"):
    table = Table()
    with contextlib.redirect_stdout(io.StringIO()):
        table.add(what, rounds or [value], limit=1, at_least=at_least, chosen=value)
    return table.rows[0]


class Quick(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory() as scratch:
            path = os.path.join(scratch, "figures.json")
            # A file: Wine's services would hold a pipe open.
            with open(os.path.join(scratch, "said"), "w+", encoding="utf-8") as said:
                cls.status = subprocess.run(
                    [sys.executable, "-B", os.path.join(project, "bench", "measure.py"), "--quick",
                     "--only", "service", "--programs", programs, "--core", core_bench, "--map",
                     linker_map, "--ffmpeg", "", "--newer-ffmpeg", "", "--scratch", scratch,
                     "--json", path],
                    stdin=subprocess.DEVNULL, stdout=said, stderr=said, timeout=170,
                    check=False).returncode
                said.seek(0)
                cls.said = said.read()
            with open(path, encoding="utf-8") as file:
                cls.figures = json.load(file)

    def test_prints_every_row(self):
        printed = re.findall(r"^\| (.+?) \|", self.said, re.M)
        self.assertEqual([what for what in printed if what != "What" and what in ROWS], list(ROWS))

    def test_writes_every_row_with_its_limit(self):
        self.assertEqual({measured["what"]: measured["limit"]
                          for measured in self.figures["rows"]}, ROWS)

    def test_writes_values_that_were_measured(self):
        for measured in self.figures["rows"]:
            self.assertTrue(measured["rounds"], measured["what"])
            if measured["what"] != "allocations of the packet callback":
                self.assertNotEqual(measured["value"], 0, measured["what"])

    def test_no_packet_is_allocated_for(self):
        counts = [measured["rounds"] for measured in self.figures["rows"]
                  if measured["what"] == "allocations of the packet callback"]
        self.assertEqual([set(count) for count in counts], [{0}])

    def test_ends_with_1_when_and_only_when_a_limit_is_missed(self):
        missed = [measured["what"] for measured in self.figures["rows"]
                  if not measured["holds"]]
        self.assertEqual(re.findall(r"^MISSED: (.*)$", self.said, re.M), missed)
        self.assertEqual(self.status, 1 if missed else 0, self.said)

    def test_says_when_and_where_it_was_measured(self):
        self.assertEqual(set(self.figures["about"]), {
            "date", "commit", "processor", "processors", "quick", "busy", "seconds"})


class Limits(unittest.TestCase):
    def test_a_value_at_its_limit_holds(self):
        self.assertTrue(row(1)["holds"])
        self.assertTrue(row(1, at_least=True)["holds"])

    def test_a_value_beyond_its_limit_does_not(self):
        self.assertFalse(row(1.01)["holds"])
        self.assertFalse(row(0.99, at_least=True)["holds"])


class Against(unittest.TestCase):
    def test_what_is_beyond_both_spreads_got_worse_or_better(self):
        then = row(1.0, [0.9, 1.0, 1.1])
        self.assertEqual(against.verdict(then, row(1.3, [1.2, 1.3, 1.4])), "worse")
        self.assertEqual(against.verdict(then, row(0.7, [0.6, 0.7, 0.8])), "better")

    def test_more_is_better_where_the_limit_is_a_least_value(self):
        then = row(1.0, [0.9, 1.0, 1.1], at_least=True)
        self.assertEqual(against.verdict(then, row(1.3, [1.2, 1.4], at_least=True)), "better")
        self.assertEqual(against.verdict(then, row(0.7, [0.6, 0.8], at_least=True)), "worse")

    def test_what_is_within_the_spread_did_not_change(self):
        then = row(1.0, [0.9, 1.0, 1.25])
        self.assertEqual(against.verdict(then, row(1.3, [1.2, 1.3, 1.4])), "")

    def test_a_slight_change_of_what_has_no_spread_is_none(self):
        self.assertEqual(against.verdict(row(1000), row(1049)), "")
        self.assertEqual(against.verdict(row(1000), row(1051)), "worse")

    def test_names_what_got_worse_and_says_what_is_new_or_gone(self):
        with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
            json.dump({"about": {"date": "then"}, "rows": [
                row(1.0, what="slower"), row(1.0, what="gone")]}, file)
            file.flush()
            said = io.StringIO()
            with contextlib.redirect_stdout(said):
                worse = against.compare([row(2.0, what="slower"), row(1.0, what="added")],
                                        file.name)
        self.assertEqual(worse, ["slower"])
        self.assertIn("| slower | 2.00 | 1 | 2 | worse |", said.getvalue())
        self.assertIn("| added | | | 1 | new |", said.getvalue())
        self.assertIn("| gone | | 1 | | not measured now |", said.getvalue())


if __name__ == "__main__":
    if not os.path.exists(core_bench):
        print("skipped: there is no", core_bench)
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
