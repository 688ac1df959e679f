"""The portable core, by core_bench, which is built for this machine. Each of its benchmarks measures
what runs and its floor in turn."""

import collections
import json
import os
import subprocess

from table import ratios

CALLBACK, MESSAGE = 10_000, 7  # calls in one round of one thread

ROWS = [
    ("packet callback, watchdog waiting, 1 thread", "PacketCallback/threads:1/real_time", CALLBACK, 1.10),
    ("packet callback, watchdog waiting, 4 threads", "PacketCallback/threads:4/real_time", 4 * CALLBACK, 1.10),
    ("log line of the library to the queue", "LogLine", MESSAGE, 1.25),
    ("message with all settings to the queued command", "SettingsMessage", MESSAGE, 1.5),
    ("message with a restart to the queued command", "RestartMessage", MESSAGE, 1.5),
]


def run(program, benchmarks, processors, quick):
    """The results of each repetition, by the benchmark's name."""
    said = subprocess.run(
        [program, f"--benchmark_filter={benchmarks}",
         f"--benchmark_repetitions={3 if quick else 41}",
         f"--benchmark_min_time={0.01 if quick else 0.05}",
         "--benchmark_enable_random_interleaving=true", "--benchmark_format=json"],
        preexec_fn=lambda: os.sched_setaffinity(0, processors),
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True, text=True, timeout=300).stdout
    results = collections.defaultdict(list)
    for result in json.loads(said)["benchmarks"]:
        if result["run_type"] == "iteration":
            results[result["run_name"]].append(result)
    return results


def measure(table, program, quick):
    processors = os.sched_getaffinity(0)
    # One thread and the watchdog that it wakes share a processor: on two, the rate changes threefold
    # with how they happen to meet at the lock. Four threads are to meet.
    results = run(program, "^(PacketCallback/threads:1/|LogLine|SettingsMessage|RestartMessage)",
                  {max(processors)}, quick)
    results |= run(program, "^PacketCallback/threads:4/", processors, quick)
    table.heading("The core, natively")
    for what, name, calls, limit in ROWS:
        ours = [result["ours"] for result in results[name]]
        floor = [result["floor"] for result in results[name]]
        table.add(f"{what} / floor", ratios(ours, floor), limit,
                  note=f"{min(ours) / calls:.0f} ns against {min(floor) / calls:.0f} ns at best")
    table.add("allocations of the packet callback",
              [result["allocations"] for rounds in results.values() for result in rounds
               if "allocations" in result], 0, digits=0)
