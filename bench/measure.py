#!/usr/bin/python3
"""Measures everything, prints the tables and writes the JSON file; scripts/bench starts this with a
display and a Wine prefix. Ends with 1 when a limit is missed or, against an earlier run, a row got
worse."""

import argparse
import json
import os
import statistics
import subprocess
import sys
import time

import against
import capture_bench
import core_rows
import service_rows
import size_rows
from load import QUIET, busy_share, processor_name
from table import Table

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")


def commit():
    return subprocess.run(["git", "-C", ROOT, "describe", "--always", "--dirty"],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                          check=False).stdout.strip()


def read_options():
    parser = argparse.ArgumentParser()
    for name in ("--programs", "--core", "--map", "--ffmpeg", "--newer-ffmpeg", "--scratch"):
        parser.add_argument(name, required=True)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--json")
    parser.add_argument("--against")
    parser.add_argument("--only", choices=("service", "recorder"))
    return parser.parse_args()


def measure_service(table, options):
    core_rows.measure(table, options.core, options.quick)
    service_rows.measure(table, options.programs, options.quick)
    service_rows.measure_rest(table, options.programs, options.quick)
    size_rows.measure(table, options.programs, options.map, options.scratch)


def measure_recorder(table, options):
    machine = capture_bench.Machine(options)
    recordings = capture_bench.measure_pictures(machine, table)
    notes = capture_bench.measure_replay_buffer(machine, table)
    print("\n" + "\n".join(notes))
    return machine.busy, {"recordings": recordings, "replay_buffer": notes}


def main():
    options = read_options()
    began = time.monotonic()
    busy, more, table = [busy_share(1)], {}, Table()
    about = {
        "date": time.strftime("%Y-%m-%d"), "commit": commit(), "processor": processor_name(),
        "processors": os.cpu_count(), "quick": options.quick}
    print(f"{about['date']}, {about['commit']}, {about['processor']},"
          f" {about['processors']} processors")
    if options.only != "recorder":
        measure_service(table, options)
    busy.append(busy_share(1))
    if options.only != "service":
        busy_recorder, more = measure_recorder(table, options)
        busy += busy_recorder + [busy_share(1)]

    about["busy"], about["seconds"] = busy, time.monotonic() - began
    print(f"\n{about['seconds']:.0f} s. Other work took"
          f" {', '.join(f'{share:.0%}' for share in busy)} of the processors.")
    if statistics.median(busy) > QUIET:
        print("THE MACHINE IS BUSY: what is to be measured on a quiet one was not.")
    worse = against.compare(table.rows, options.against) if options.against else []
    if options.json:
        with open(options.json, "w", encoding="utf-8") as file:
            json.dump({"about": about, "rows": table.rows, **more}, file, indent=1)
            file.write("\n")
    for what in table.missed():
        print(f"MISSED: {what}")
    for what in worse:
        print(f"WORSE: {what}")
    return 1 if table.missed() or worse else 0


if __name__ == "__main__":
    sys.exit(main())
